#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "backends/gstreamer/Pipeline.h"
#include "platform/Capture.h"

namespace velmaro::gstreamer {

/// A device's way into a session: makes one pipeline per start.
class DeviceInput : public CaptureDeviceInput {
public:
    using MakeSource = std::function<std::unique_ptr<Source>()>;

    /// `opened`, if there is one, serves the first start.
    DeviceInput(MakeSource makeSource, std::shared_ptr<Workers> workers,
                std::shared_ptr<Pipeline> opened = nullptr)
        : makeSource_(std::move(makeSource)),
          workers_(std::move(workers)),
          opened_(std::move(opened)) {}
    DeviceInput(const DeviceInput&) = delete;
    DeviceInput& operator=(const DeviceInput&) = delete;
    ~DeviceInput() override {
        if (opened_) {
            opened_->close();
        }
    }

    /// A pipeline that is open or opening, which the caller must close. Any thread.
    [[nodiscard]] std::shared_ptr<Pipeline> takePipeline() {
        {
            const std::lock_guard lock(mutex_);
            if (opened_) {
                return std::exchange(opened_, nullptr);
            }
        }
        return Pipeline::open(makeSource_(), workers_);
    }

private:
    const MakeSource makeSource_;
    const std::shared_ptr<Workers> workers_;
    std::mutex mutex_;
    std::shared_ptr<Pipeline> opened_;
};

/// A device of this backend. Main thread.
class PlayableDevice : public CaptureDevice {
public:
    /// The input, or why the device cannot be used. Returns within a few seconds.
    virtual Result<std::shared_ptr<CaptureDeviceInput>> open(
        const std::shared_ptr<Workers>& workers) = 0;
};

}  // namespace velmaro::gstreamer
