#pragma once

#include <memory>
#include <string>

#include "platform/Dispatch.h"

namespace velmaro {

class AsioThreadPool;
class GlobalQueue;

/// The process's queues. The global queues share threads, each at most 16 at once; each serial
/// queue has one of its own. The quality of service only tells the global queues apart: ordinary
/// Linux users may not raise a thread's priority.
class AsioDispatch : public Dispatch {
public:
    /// The entry brings the main queue, an `AsioMainQueue` or that of a window; it outlives this.
    /// Throws std::system_error if the system has no thread to give. Later, work waits for one.
    explicit AsioDispatch(DispatchQueue& mainQueue);
    /// Waits for running work of the global queues; what is still queued there never runs.
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
};

}  // namespace velmaro
