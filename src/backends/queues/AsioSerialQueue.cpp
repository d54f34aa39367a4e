#include "backends/queues/AsioSerialQueue.h"

#include <system_error>
#include <utility>

#include "backends/queues/PostsAfterWork.h"

namespace velmaro {

namespace {

Work withPostsAfterIt(Work work) {
    return [work = std::move(work)] {
        const PostsAfterWork after;
        work();
    };
}

}  // namespace

AsioSerialQueue::AsioSerialQueue(const std::string& label)
    : label_(label), loop_(std::make_shared<EventLoop>(EventLoop::Threads::one)) {
    startThread();
}

AsioSerialQueue::~AsioSerialQueue() {
    end();
    if (thread_.joinable()) {
        thread_.detach();
    }
}

void AsioSerialQueue::end() {
    loop_->stop();
    std::thread ending;
    {
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
        if (!loop_->isCurrent()) {
            ending.swap(thread_);
        }
    }
    // Without the lock, which the running work may want.
    if (ending.joinable()) {
        ending.join();
    }
}

void AsioSerialQueue::async(Work work) {
    loop_->post(withPostsAfterIt(std::move(work)));
    startThread();
}

void AsioSerialQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    loop_->postAfter(delay, withPostsAfterIt(std::move(work)));
    startThread();
}

bool AsioSerialQueue::isCurrent() const {
    return loop_->isCurrent();
}

void AsioSerialQueue::startThread() {
    const std::lock_guard lock(mutex_);
    if (hasEnded_ || thread_.joinable()) {
        return;
    }
    try {
        thread_ = std::thread([loop = loop_, label = label_] {
            nameCurrentThread(label);
            loop->run();
        });
    } catch (const std::system_error&) {
        // Tried again with the next piece of work.
    }
}

}  // namespace velmaro
