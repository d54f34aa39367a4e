#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "backends/queues/EventLoop.h"
#include "platform/Dispatch.h"

namespace velmaro {

/// A concurrent queue in which work may block. It starts without threads and makes one more
/// whenever all are busy, up to a bound; beyond that, work waits. Threads stay until the end.
class AsioThreadPool : public DispatchQueue {
public:
    /// `name` is what its threads are called; `mostThreads` is at least 1.
    AsioThreadPool(std::string name, std::size_t mostThreads);
    /// Waits for the work that is running. Not on one of its own threads.
    ~AsioThreadPool() override;
    AsioThreadPool(const AsioThreadPool&) = delete;
    AsioThreadPool& operator=(const AsioThreadPool&) = delete;

    void async(Work work) override;
    void asyncAfter(std::chrono::duration<double> delay, Work work) override;
    [[nodiscard]] bool isCurrent() const override;

private:
    void perform(const Work& work);
    void startFirstThread();
    void addThread();

    const std::string name_;
    const std::size_t mostThreads_;
    EventLoop loop_{EventLoop::Threads::many};

    std::mutex mutex_;
    std::vector<std::thread> threads_;
    std::size_t busyThreads_ = 0;
    bool isEnding_ = false;
};

}  // namespace velmaro
