#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

#include "platform/Dispatch.h"

namespace velmaro {

class AsioThreadPool;

/// A concurrent queue on threads that it shares with others. So that it can never take them all, a
/// bounded number of its works runs at once; the others wait.
class GlobalQueue : public DispatchQueue {
public:
    /// A thread is called `name` while it runs work of this queue. `threads` outlives this.
    GlobalQueue(std::string name, AsioThreadPool& threads, std::size_t mostAtOnce);

    void async(Work work) override;
    void asyncAfter(std::chrono::duration<double> delay, Work work) override;
    [[nodiscard]] bool isCurrent() const override;

private:
    void perform(Work work);

    const std::string name_;
    AsioThreadPool& threads_;
    const std::size_t mostAtOnce_;

    std::mutex mutex_;
    std::size_t running_ = 0;
    std::deque<Work> waiting_;
};

}  // namespace velmaro
