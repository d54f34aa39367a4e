#include "backends/gstreamer/FileDevice.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "backends/gstreamer/FileSource.h"
#include "backends/gstreamer/Library.h"
#include "backends/gstreamer/PlayableDevice.h"

namespace velmaro::gstreamer {

namespace {

/// Opening a file takes milliseconds; a network drive gets more patience, but the window waits.
constexpr std::chrono::milliseconds kOpenLimit{5000};

/// Why a file cannot even be read, in the system's words where it has some.
std::optional<std::string> whyUnreadable(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::generic_category().message(errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return std::generic_category().message(EISDIR);
    }
    // A pipe or a device could block for ever, and none can be looped.
    if (!S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    if (::access(path.c_str(), R_OK) != 0) {
        return std::generic_category().message(errno);
    }
    if (status.st_size == 0) {
        return "it is empty";
    }
    return std::nullopt;
}

class FileDevice : public PlayableDevice {
public:
    FileDevice(FileCamera camera, Playback playback)
        : camera_(std::move(camera)), playback_(playback) {}

    [[nodiscard]] const std::string& uniqueID() const override { return camera_.uniqueID; }
    [[nodiscard]] const std::string& localizedName() const override {
        return camera_.localizedName;
    }

    Result<std::shared_ptr<CaptureDeviceInput>> open(
        const std::shared_ptr<Workers>& workers) override {
        if (auto error = ensureLibrary()) {
            return tl::unexpected(*std::move(error));
        }
        if (const auto reason = whyUnreadable(camera_.path)) {
            return error(*reason);
        }
        const auto makeSource = [path = camera_.path, playback = playback_] {
            return std::make_unique<FileSource>(path, playback);
        };
        // Only decoding its first frame shows that a file can be played; the work is not lost, the
        // pipeline waits with that frame for the start.
        auto pipeline = Pipeline::open(makeSource(), workers);
        if (const auto failure = pipeline->waitUntilReady(kOpenLimit)) {
            pipeline->close();
            return error(failure->localizedDescription);
        }
        return std::make_shared<DeviceInput>(makeSource, workers, std::move(pipeline));
    }

private:
    [[nodiscard]] tl::unexpected<Error> error(const std::string& reason) const {
        return tl::unexpected(Error{"cannot play \"" + camera_.path + "\": " + reason, reason});
    }

    const FileCamera camera_;
    const Playback playback_;
};

}  // namespace

FileCamera FileCamera::fromPath(const std::string& path) {
    return {path, "file:" + path, std::filesystem::path(path).filename().string()};
}

std::vector<std::shared_ptr<CaptureDevice>> makeFileDevices(const std::vector<FileCamera>& files,
                                                            Playback playback) {
    std::vector<std::shared_ptr<CaptureDevice>> devices;
    for (const FileCamera& file : files) {
        devices.push_back(std::make_shared<FileDevice>(file, playback));
    }
    return devices;
}

}  // namespace velmaro::gstreamer
