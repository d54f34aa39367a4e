#pragma once

#include <memory>
#include <vector>

#include "backends/gstreamer/FileCamera.h"
#include "platform/Capture.h"

namespace velmaro::gstreamer {

/// Files as cameras, in the order given, each once. Main thread.
[[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> makeFileDevices(
    const std::vector<FileCamera>& files, Playback playback);

}  // namespace velmaro::gstreamer
