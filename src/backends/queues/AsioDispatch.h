#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Dispatch.h"

namespace velmaro {

class AsioSerialQueue;
class AsioThreadPool;
class EventLoop;
class GlobalQueue;

/// The process's queues. The global queues share threads, each at most 16 at once; each serial
/// queue has one of its own. The quality of service only tells the global queues apart: ordinary
/// Linux users may not raise a thread's priority.
class AsioDispatch : public Dispatch {
public:
    /// The entry brings the main queue, an `AsioMainQueue` or that of a window; it outlives this.
    /// Throws std::system_error if the system has no thread to give. Later, work waits for one.
    explicit AsioDispatch(DispatchQueue& mainQueue);
    /// Waits for the work that runs on its queues, even on a serial one that this work has
    /// released; none runs later, also on serial queues that somebody keeps.
    ~AsioDispatch() override;

    DispatchQueue& mainQueue() override;
    DispatchQueue& globalQueue(QualityOfService quality) override;
    std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label,
                                                   QualityOfService quality) override;

private:
    DispatchQueue& mainQueue_;
    const std::unique_ptr<AsioThreadPool> threads_;
    const std::unique_ptr<GlobalQueue> userInitiated_;
    const std::unique_ptr<GlobalQueue> standard_;

    std::mutex mutex_;
    struct Serial {
        std::weak_ptr<AsioSerialQueue> queue;
        /// Outlives a queue that its own work has released.
        std::weak_ptr<EventLoop> loop;
    };
    std::vector<Serial> serialQueues_;
};

}  // namespace velmaro
