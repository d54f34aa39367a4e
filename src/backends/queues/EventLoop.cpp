#include "backends/queues/EventLoop.h"

#include <pthread.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <utility>

namespace velmaro {

namespace {

std::chrono::steady_clock::duration representable(std::chrono::duration<double> delay) {
    constexpr std::chrono::duration<double> kCentury{100.0 * 365 * 24 * 3600};
    if (!(delay.count() > 0)) {
        return {};
    }
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::min(delay, kCentury));
}

}  // namespace

EventLoop::EventLoop(Threads threads)
    : context_(threads == Threads::one ? 1 : ASIO_CONCURRENCY_HINT_DEFAULT),
      keepRunning_(context_.get_executor()) {}

void EventLoop::run() {
    ++threadsInside_;
    context_.run();
    --threadsInside_;
    threadsInside_.notify_all();
}

void EventLoop::rearm() {
    context_.restart();
}

void EventLoop::stop() {
    context_.stop();
}

void EventLoop::finish() {
    stop();
    if (isCurrent()) {
        return;
    }
    for (int inside = threadsInside_; inside != 0; inside = threadsInside_) {
        threadsInside_.wait(inside);
    }
}

void EventLoop::post(Work work) {
    asio::post(context_, std::move(work));
}

void EventLoop::postAfter(std::chrono::duration<double> delay, Work work) {
    const auto timer = std::make_shared<asio::steady_timer>(context_, representable(delay));
    timer->async_wait([timer, work = std::move(work)](const asio::error_code& error) {
        if (!error) {
            work();
        }
    });
}

bool EventLoop::isCurrent() const {
    return const_cast<asio::io_context&>(context_).get_executor().running_in_this_thread();
}

void nameCurrentThread(const std::string& name) {
    constexpr std::size_t kLongest = 15;
    pthread_setname_np(pthread_self(), name.substr(0, kLongest).c_str());
}

}  // namespace velmaro
