#include "backends/queues/AsioMainQueue.h"

#include <cassert>
#include <utility>

#include "backends/queues/EventLoop.h"

namespace velmaro {

AsioMainQueue::AsioMainQueue() : loop_(std::make_shared<EventLoop>(EventLoop::Threads::one)) {}
AsioMainQueue::~AsioMainQueue() = default;

void AsioMainQueue::run() {
    assert(isCurrent());
    if (const auto loop = loop_.load()) {
        loop->run();
        loop->rearm();
    }
}

void AsioMainQueue::stop() {
    if (const auto loop = loop_.load()) {
        loop->stop();
    }
}

void AsioMainQueue::close() {
    assert(isCurrent());
    loop_.exchange(nullptr);
}

void AsioMainQueue::async(Work work) {
    if (const auto loop = loop_.load()) {
        loop->post(std::move(work));
    }
}

void AsioMainQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    if (const auto loop = loop_.load()) {
        loop->postAfter(delay, std::move(work));
    }
}

bool AsioMainQueue::isCurrent() const {
    return std::this_thread::get_id() == mainThread_;
}

}  // namespace velmaro
