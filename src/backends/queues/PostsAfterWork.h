#pragma once

#include <utility>
#include <vector>

#include "platform/Dispatch.h"

namespace velmaro {

/// Holds back what a piece of work posts to the main queue until the work has ended. The main
/// thread would otherwise now and then overtake the rest of the work: of the angles of a frame some
/// were sent with it and others with the next one, so that one angle was sent twice and another
/// never.
class PostsAfterWork {
public:
    /// Around a piece of work on its thread, one at a time.
    PostsAfterWork();
    ~PostsAfterWork();
    PostsAfterWork(const PostsAfterWork&) = delete;
    PostsAfterWork& operator=(const PostsAfterWork&) = delete;

private:
    friend class MainQueueAfterWork;
    static thread_local PostsAfterWork* current;

    std::vector<std::pair<DispatchQueue*, Work>> posts_;
};

/// The main queue for those whose posts may be held back. Delayed work is not: nobody relies on
/// when exactly its delay begins.
class MainQueueAfterWork : public DispatchQueue {
public:
    /// `mainQueue` outlives this and the work that posts to it.
    explicit MainQueueAfterWork(DispatchQueue& mainQueue) : mainQueue_(mainQueue) {}

    void async(Work work) override;
    void asyncAfter(std::chrono::duration<double> delay, Work work) override;
    [[nodiscard]] bool isCurrent() const override;

private:
    DispatchQueue& mainQueue_;
};

}  // namespace velmaro
