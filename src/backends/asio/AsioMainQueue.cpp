#include "backends/asio/AsioMainQueue.h"

#include <cassert>
#include <utility>

#include "backends/asio/EventLoop.h"

namespace velmaro {

AsioMainQueue::AsioMainQueue() : loop_(std::make_unique<EventLoop>(EventLoop::Threads::one)) {}
AsioMainQueue::~AsioMainQueue() = default;

void AsioMainQueue::run() {
    assert(isCurrent());
    loop_->run();
    loop_->rearm();
}

void AsioMainQueue::stop() {
    loop_->stop();
}

void AsioMainQueue::async(Work work) {
    loop_->post(std::move(work));
}

void AsioMainQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    loop_->postAfter(delay, std::move(work));
}

bool AsioMainQueue::isCurrent() const {
    return std::this_thread::get_id() == mainThread_;
}

}  // namespace velmaro
