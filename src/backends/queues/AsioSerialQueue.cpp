#include "backends/queues/AsioSerialQueue.h"

#include <utility>

namespace velmaro {

AsioSerialQueue::AsioSerialQueue(const std::string& label)
    : loop_(std::make_shared<EventLoop>(EventLoop::Threads::one)), thread_([loop = loop_, label] {
          nameCurrentThread(label);
          loop->run();
      }) {}

AsioSerialQueue::~AsioSerialQueue() {
    loop_->stop();
    if (isCurrent()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

void AsioSerialQueue::async(Work work) {
    loop_->post(std::move(work));
}

void AsioSerialQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    loop_->postAfter(delay, std::move(work));
}

bool AsioSerialQueue::isCurrent() const {
    return std::this_thread::get_id() == thread_.get_id();
}

}  // namespace velmaro
