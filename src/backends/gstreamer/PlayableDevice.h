#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "backends/gstreamer/Source.h"
#include "platform/Capture.h"

namespace velmaro::gstreamer {

/// A device's way into a session.
struct DeviceInput : CaptureDeviceInput {
    using MakeSource = std::function<std::unique_ptr<Source>()>;

    explicit DeviceInput(MakeSource make) : makeSource(std::move(make)) {}

    /// The source of one start. Any thread.
    const MakeSource makeSource;
};

/// A device of this backend. Main thread.
class PlayableDevice : public CaptureDevice {
public:
    /// The input, or why the device cannot be used as far as that can be told at once. The rest is
    /// told when the session starts.
    [[nodiscard]] virtual Result<std::shared_ptr<CaptureDeviceInput>> makeInput() const = 0;
};

}  // namespace velmaro::gstreamer
