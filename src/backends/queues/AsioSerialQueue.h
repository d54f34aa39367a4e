#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "backends/queues/EventLoop.h"
#include "platform/Dispatch.h"

namespace velmaro {

/// A serial queue with a thread of its own. Where the system has none to give, work waits until it
/// has, which is tried with each piece. Its release waits for the work that is running, unless it
/// is that work which releases it; later work is destroyed without running. What its work posts to
/// a MainQueueAfterWork goes on when that work has ended.
class AsioSerialQueue : public DispatchQueue {
public:
    explicit AsioSerialQueue(const std::string& label);
    ~AsioSerialQueue() override;
    AsioSerialQueue(const AsioSerialQueue&) = delete;
    AsioSerialQueue& operator=(const AsioSerialQueue&) = delete;

    void async(Work work) override;
    void asyncAfter(std::chrono::duration<double> delay, Work work) override;
    [[nodiscard]] bool isCurrent() const override;

    /// As the release, for a queue that somebody keeps. Any thread.
    void end();

    [[nodiscard]] const std::shared_ptr<EventLoop>& loop() const { return loop_; }

private:
    void startThread();

    const std::string label_;
    /// Shared with the thread, which goes on for a moment when the queue is released on it.
    const std::shared_ptr<EventLoop> loop_;
    std::mutex mutex_;
    bool hasEnded_ = false;
    std::thread thread_;
};

}  // namespace velmaro
