#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <atomic>
#include <chrono>
#include <string>

#include "platform/Dispatch.h"

namespace velmaro {

/// Work that one or more threads run: what every queue here is built on. Work left over when the
/// loop is destroyed is destroyed without running.
class EventLoop {
public:
    enum class Threads { one, many };

    explicit EventLoop(Threads threads);

    /// Runs work on the current thread until stopped; does not end for want of work.
    void run();
    /// Makes every `run` return after the work that it is at. Any thread.
    void stop();
    /// Stops, and waits for the work that runs unless it is that work which calls. Any thread.
    void finish();

    /// Lets `run` be called again after a stop, once no thread is inside it.
    void rearm();

    /// Any thread.
    void post(Work work);
    /// A delay that is not a number, or negative, is none; a huge one is cut to a century.
    void postAfter(std::chrono::duration<double> delay, Work work);

    /// True on a thread inside `run`.
    [[nodiscard]] bool isCurrent() const;

private:
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> keepRunning_;
    std::atomic<int> threadsInside_ = 0;
};

/// Names the current thread for debuggers and `top`, which show the first 15 bytes.
void nameCurrentThread(const std::string& name);

}  // namespace velmaro
