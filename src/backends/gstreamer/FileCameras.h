#pragma once

#include <memory>
#include <vector>

#include "backends/gstreamer/Device.h"
#include "backends/gstreamer/FileCamera.h"

namespace velmaro::gstreamer {

/// The files of the command line, as external cameras in the order given.
class FileCameras : public DeviceProvider {
public:
    FileCameras(const std::vector<FileCamera>& files, Playback playback);

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> devices(
        std::span<const CaptureDeviceType> types) override;

private:
    std::vector<std::shared_ptr<CaptureDevice>> devices_;
};

}  // namespace velmaro::gstreamer
