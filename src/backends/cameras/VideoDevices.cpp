#include "backends/cameras/VideoDevices.h"

#include <fcntl.h>
#include <libudev.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
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
    const std::unique_ptr<udev, decltype(&udev_unref)> manager(udev_new(), udev_unref);
    std::vector<CameraDescription> cameras;
    for (const std::filesystem::path& device : devices) {
        struct stat status {};
        if (!manager || ::stat(device.c_str(), &status) != 0) {
            continue;
        }
        const std::unique_ptr<udev_device, decltype(&udev_device_unref)> record(
            udev_device_new_from_devnum(manager.get(), 'c', status.st_rdev), udev_device_unref);
        if (!record) {
            continue;
        }
        auto camera = describeProperties([&record](const char* name) {
            return udev_device_get_property_value(record.get(), name);
        });
        // A camera often has several devices.
        if (camera && std::ranges::none_of(cameras, [&](const CameraDescription& known) {
                return known.uniqueID == camera->uniqueID;
            })) {
            cameras.push_back(*std::move(camera));
        }
    }
    return cameras;
}

std::optional<CameraDescription> describeProperties(const Property& property) {
    const auto text = [&property](const char* name) {
        const char* const value = property(name);
        return std::string(value == nullptr ? "" : value);
    };
    const std::string place = text("ID_PATH");
    const bool captures = text("ID_V4L_CAPABILITIES").find(":capture:") != std::string::npos;
    if (!captures || place.empty()) {
        return std::nullopt;
    }
    const std::string name = text("ID_V4L_PRODUCT");
    return CameraDescription{place, name.empty() ? place : name};
}

}  // namespace velmaro::cameras
