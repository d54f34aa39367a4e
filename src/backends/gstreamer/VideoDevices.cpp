#include "backends/gstreamer/VideoDevices.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

namespace velmaro::gstreamer {

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

bool videoDevicesAreForbidden(const std::filesystem::path& folder, const TryOpen& open) {
    bool forbidden = false;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (!isVideoDevice(entry->path().filename())) {
            continue;
        }
        if (open(entry->path()) != EACCES) {
            return false;
        }
        forbidden = true;
    }
    return forbidden;
}

}  // namespace velmaro::gstreamer
