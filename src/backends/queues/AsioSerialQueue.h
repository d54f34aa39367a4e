#pragma once

#include <memory>
#include <string>
#include <thread>

#include "backends/queues/EventLoop.h"
#include "platform/Dispatch.h"

namespace velmaro {

/// A serial queue with a thread of its own. Its release waits for the work that is running, unless
/// it is that work which releases it; later work is destroyed without running.
class AsioSerialQueue : public DispatchQueue {
public:
    explicit AsioSerialQueue(const std::string& label);
    ~AsioSerialQueue() override;
    AsioSerialQueue(const AsioSerialQueue&) = delete;
    AsioSerialQueue& operator=(const AsioSerialQueue&) = delete;

    void async(Work work) override;
    void asyncAfter(std::chrono::duration<double> delay, Work work) override;
    [[nodiscard]] bool isCurrent() const override;

private:
    /// Shared with the thread, which goes on for a moment when the queue is released on it.
    const std::shared_ptr<EventLoop> loop_;
    std::thread thread_;
};

}  // namespace velmaro
