#include "backends/queues/AsioMainQueue.h"

#include <cassert>
#include <utility>

#include "backends/queues/EventLoop.h"

namespace velmaro {

AsioMainQueue::AsioMainQueue() : loop_(std::make_shared<EventLoop>(EventLoop::Threads::one)) {}
AsioMainQueue::~AsioMainQueue() = default;

void AsioMainQueue::run() {
    assert(isCurrent());
    if (const auto loop = std::atomic_load(&loop_)) {
        loop->run();
        loop->rearm();
    }
}

void AsioMainQueue::stop() {
    if (const auto loop = std::atomic_load(&loop_)) {
        loop->stop();
    }
}

void AsioMainQueue::close() {
    assert(isCurrent());
    std::atomic_exchange(&loop_, std::shared_ptr<EventLoop>());
}

void AsioMainQueue::async(Work work) {
    if (const auto loop = std::atomic_load(&loop_)) {
        loop->post(std::move(work));
    }
}

void AsioMainQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    if (const auto loop = std::atomic_load(&loop_)) {
        loop->postAfter(delay, std::move(work));
    }
}

bool AsioMainQueue::isCurrent() const {
    return std::this_thread::get_id() == mainThread_;
}

}  // namespace velmaro
