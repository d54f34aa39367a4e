#pragma once

#include <memory>
#include <string>

#include "platform/Dispatch.h"

namespace velmaro {

/// The process's queues. Each global queue grows to at most 16 threads; each serial queue has one.
/// The quality of service only tells the global queues apart: ordinary Linux users may not raise a
/// thread's priority.
class AsioDispatch : public Dispatch {
public:
    /// The entry brings the main queue, an `AsioMainQueue` or that of a window; it outlives this.
    explicit AsioDispatch(DispatchQueue& mainQueue);
    /// Waits for running work of the global queues; what is still queued there never runs.
    ~AsioDispatch() override;

    DispatchQueue& mainQueue() override;
    DispatchQueue& globalQueue(QualityOfService quality) override;
    std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label,
                                                   QualityOfService quality) override;

private:
    DispatchQueue& mainQueue_;
    const std::unique_ptr<DispatchQueue> userInitiated_;
    const std::unique_ptr<DispatchQueue> standard_;
};

}  // namespace velmaro
