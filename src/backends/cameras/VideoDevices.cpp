#include "backends/cameras/VideoDevices.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace velmaro::cameras {

namespace {

bool isVideoDevice(const std::string& name) {
    constexpr std::string_view prefix = "video";
    return name.size() > prefix.size() && name.starts_with(prefix) &&
           std::all_of(name.begin() + prefix.size(), name.end(),
                       [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

int tryOpen(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    ::close(descriptor);
    return 0;
}

std::vector<std::filesystem::path> forbiddenVideoDevices(const std::filesystem::path& folder,
                                                         const TryOpen& open) {
    std::vector<std::filesystem::path> forbidden;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (!isVideoDevice(entry->path().filename())) {
            continue;
        }
        if (open(entry->path()) != EACCES) {
            return {};
        }
        forbidden.push_back(entry->path());
    }
    std::ranges::sort(forbidden);
    return forbidden;
}

std::vector<CameraDescription> describeVideoDevices(
    const std::vector<std::filesystem::path>& devices) {
    std::vector<CameraDescription> cameras;
    for (const std::filesystem::path& device : devices) {
        struct stat status {};
        if (::stat(device.c_str(), &status) != 0) {
            continue;
        }
        std::ifstream record("/run/udev/data/c" + std::to_string(major(status.st_rdev)) + ":" +
                             std::to_string(minor(status.st_rdev)));
        auto camera = describeRecord(record);
        // A camera often has several devices.
        if (camera && std::ranges::none_of(cameras, [&](const CameraDescription& known) {
                return known.uniqueID == camera->uniqueID;
            })) {
            cameras.push_back(*std::move(camera));
        }
    }
    return cameras;
}

std::optional<CameraDescription> describeRecord(std::istream& record) {
    CameraDescription camera;
    bool captures = false;
    for (std::string line; std::getline(record, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string name = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        if (name == "E:ID_PATH") {
            camera.uniqueID = value;
        } else if (name == "E:ID_V4L_PRODUCT") {
            camera.localizedName = value;
        } else if (name == "E:ID_V4L_CAPABILITIES") {
            captures = value.find(":capture:") != std::string::npos;
        }
    }
    if (!captures || camera.uniqueID.empty()) {
        return std::nullopt;
    }
    if (camera.localizedName.empty()) {
        camera.localizedName = camera.uniqueID;
    }
    return camera;
}

}  // namespace velmaro::cameras
