#pragma once

#include <memory>
#include <string>
#include <vector>

#include "backends/gstreamer/Device.h"
#include "backends/gstreamer/FileSource.h"

namespace velmaro::gstreamer {

/// A video or picture that plays a camera.
struct FileCamera {
    std::string path;
    std::string uniqueID;
    std::string localizedName;

    /// Called by its path as the user wrote it: "file:" and the path; its name is the file's own.
    static FileCamera fromPath(const std::string& path);
};

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
