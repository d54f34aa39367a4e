#pragma once

#include <memory>
#include <vector>

#include "platform/Capture.h"

namespace velmaro::gstreamer {

/// Knows the cameras of this computer. Main thread.
class DeviceProvider {
public:
    virtual ~DeviceProvider() = default;
    /// Those that are there now, external ones, each always the same object.
    [[nodiscard]] virtual std::vector<std::shared_ptr<CaptureDevice>> devices() = 0;
    /// True if it has no device because this user may not open any.
    [[nodiscard]] virtual bool isForbidden() const = 0;
};

}  // namespace velmaro::gstreamer
