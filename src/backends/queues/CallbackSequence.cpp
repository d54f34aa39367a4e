#include "backends/queues/CallbackSequence.h"

#include <utility>

namespace velmaro {

CallbackSequence::CallbackSequence(DispatchQueue& queue) : queue_(queue) {}

void CallbackSequence::post(Work callback) {
    {
        const std::lock_guard lock(mutex_);
        pending_.push_back(std::move(callback));
        if (isDraining_) {
            return;
        }
        isDraining_ = true;
    }
    queue_.async([self = shared_from_this()] { self->drain(); });
}

void CallbackSequence::drain() {
    for (;;) {
        Work callback;
        {
            const std::lock_guard lock(mutex_);
            if (pending_.empty()) {
                isDraining_ = false;
                return;
            }
            callback = std::move(pending_.front());
            pending_.pop_front();
        }
        callback();
    }
}

}  // namespace velmaro
