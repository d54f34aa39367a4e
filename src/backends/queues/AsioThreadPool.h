#pragma once

#include <mutex>
#include <thread>
#include <vector>

#include "backends/queues/EventLoop.h"
#include "platform/Dispatch.h"

namespace velmaro {

/// The threads of the global queues, in which work may block. There is one from the start, and one
/// more whenever all are busy, up to a bound; beyond that, and where the system has none to give,
/// work waits. Threads stay until the end.
class AsioThreadPool {
public:
    /// `mostThreads` is at least 1. Throws std::system_error if the system has not even one.
    explicit AsioThreadPool(std::size_t mostThreads);
    ~AsioThreadPool();
    AsioThreadPool(const AsioThreadPool&) = delete;
    AsioThreadPool& operator=(const AsioThreadPool&) = delete;

    /// Any thread.
    void post(Work work);
    void postAfter(std::chrono::duration<double> delay, Work work);

    /// Waits for the work that is running; none runs later. Not on one of its own threads.
    void shutDown();

private:
    void perform(const Work& work);
    void addThread();

    const std::size_t mostThreads_;
    EventLoop loop_{EventLoop::Threads::many};

    std::mutex mutex_;
    std::vector<std::thread> threads_;
    std::size_t busyThreads_ = 0;
};

}  // namespace velmaro
