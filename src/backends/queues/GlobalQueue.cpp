#include "backends/queues/GlobalQueue.h"

#include <utility>

#include "backends/queues/AsioThreadPool.h"
#include "backends/queues/EventLoop.h"

namespace velmaro {

namespace {
thread_local const GlobalQueue* currentQueue = nullptr;
}

GlobalQueue::GlobalQueue(std::string name, AsioThreadPool& threads, std::size_t mostAtOnce)
    : name_(std::move(name)), threads_(threads), mostAtOnce_(mostAtOnce) {}

void GlobalQueue::async(Work work) {
    {
        const std::lock_guard lock(mutex_);
        if (running_ == mostAtOnce_) {
            waiting_.push_back(std::move(work));
            return;
        }
        ++running_;
    }
    threads_.post([this, work = std::move(work)] { perform(work); });
}

void GlobalQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    threads_.postAfter(delay, [this, work = std::move(work)] { async(work); });
}

bool GlobalQueue::isCurrent() const {
    return currentQueue == this;
}

void GlobalQueue::perform(Work work) {
    nameCurrentThread(name_);
    currentQueue = this;
    work();
    // Its closure goes before the thread counts as free.
    work = nullptr;
    currentQueue = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.empty()) {
            --running_;
            return;
        }
        work = std::move(waiting_.front());
        waiting_.pop_front();
    }
    threads_.post([this, work = std::move(work)] { perform(work); });
}

}  // namespace velmaro
