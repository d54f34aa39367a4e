#pragma once

#include <deque>
#include <memory>
#include <mutex>

#include "platform/Dispatch.h"

namespace velmaro {

/// Runs callbacks on a queue one at a time and in order, even if the queue is concurrent.
class CallbackSequence : public std::enable_shared_from_this<CallbackSequence> {
public:
    /// Owned by a shared pointer. The queue outlives the last `post`.
    explicit CallbackSequence(DispatchQueue& queue);

    /// Any thread; never runs the callback itself.
    void post(Work callback);

private:
    void drain();

    DispatchQueue& queue_;
    std::mutex mutex_;
    std::deque<Work> pending_;
    bool isDraining_ = false;
};

}  // namespace velmaro
