#include "backends/queues/AsioSerialQueue.h"

#include <system_error>
#include <utility>

namespace velmaro {

AsioSerialQueue::AsioSerialQueue(const std::string& label)
    : label_(label), loop_(std::make_shared<EventLoop>(EventLoop::Threads::one)) {
    startThread();
}

AsioSerialQueue::~AsioSerialQueue() {
    loop_->stop();
    if (isCurrent()) {
        thread_.detach();
    } else if (thread_.joinable()) {
        thread_.join();
    }
}

void AsioSerialQueue::async(Work work) {
    loop_->post(std::move(work));
    startThread();
}

void AsioSerialQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    loop_->postAfter(delay, std::move(work));
    startThread();
}

bool AsioSerialQueue::isCurrent() const {
    return loop_->isCurrent();
}

void AsioSerialQueue::startThread() {
    const std::lock_guard lock(mutex_);
    if (thread_.joinable()) {
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
