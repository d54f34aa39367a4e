#include "backends/gstreamer/FileDevice.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "backends/gstreamer/FileHead.h"
#include "backends/gstreamer/FileSource.h"
#include "backends/gstreamer/Handles.h"
#include "backends/gstreamer/Library.h"
#include "backends/gstreamer/PlayableDevice.h"

namespace velmaro::gstreamer {

namespace {

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

bool isInstalled(const char* element) {
    return ObjectHandle<GstElementFactory>(gst_element_factory_find(element)) != nullptr;
}

/// Why a file that begins so cannot be played, as far as that shows without decoding it: the window
/// waits for the answer.
std::optional<std::string> whyUnplayable(const FileHead& head) {
    if (head.mediaType.starts_with("text/") || (head.mediaType.empty() && head.isWhole)) {
        return "it is not a video or picture that can be played";
    }
    // Without it libav's reader of these files is taken, which loses frames and never ends.
    if (head.mediaType == "video/x-ivf" && !isInstalled("ivfparse")) {
        return "no decoder for IVF files is installed";
    }
    return whyTooLarge(head.width, head.height);
}

bool isSame(const FileCamera& one, const FileCamera& other) {
    std::error_code ignored;
    return one.uniqueID == other.uniqueID ||
           std::filesystem::equivalent(one.path, other.path, ignored);
}

/// On one line: control characters become \x and their code.
std::string printable(const std::string& text) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string line;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x20 || code == 0x7f) {
            line.append("\\x").push_back(kDigits[code >> 4U]);
            line.push_back(kDigits[code & 15U]);
        } else {
            line.push_back(character);
        }
    }
    return line;
}

class FileDevice : public PlayableDevice {
public:
    FileDevice(FileCamera camera, Playback playback)
        : camera_(std::move(camera)), playback_(playback) {}

    [[nodiscard]] const std::string& uniqueID() const override { return camera_.uniqueID; }
    [[nodiscard]] const std::string& localizedName() const override {
        return camera_.localizedName;
    }

    [[nodiscard]] Result<std::shared_ptr<CaptureDeviceInput>> makeInput() const override {
        if (auto error = ensureLibrary()) {
            return tl::unexpected(*std::move(error));
        }
        if (const auto reason = whyUnreadable(camera_.path)) {
            return tl::unexpected(FileSource::cannotPlay(camera_.path, *reason));
        }
        const FileHead head = FileHead::read(camera_.path);
        if (const auto reason = whyUnplayable(head)) {
            return tl::unexpected(FileSource::cannotPlay(camera_.path, *reason));
        }
        return std::make_shared<DeviceInput>([path = camera_.path, playback = playback_, head] {
            return std::make_unique<FileSource>(path, playback, head);
        });
    }

private:
    const FileCamera camera_;
    const Playback playback_;
};

}  // namespace

FileCamera FileCamera::fromPath(const std::string& path) {
    return {path, "file:" + printable(path),
            printable(std::filesystem::path(path).filename().string())};
}

std::vector<std::shared_ptr<CaptureDevice>> makeFileDevices(const std::vector<FileCamera>& files,
                                                            Playback playback) {
    std::vector<std::shared_ptr<CaptureDevice>> devices;
    for (auto file = files.begin(); file != files.end(); ++file) {
        if (std::any_of(files.begin(), file,
                        [&](const FileCamera& earlier) { return isSame(earlier, *file); })) {
            continue;
        }
        devices.push_back(std::make_shared<FileDevice>(*file, playback));
    }
    return devices;
}

}  // namespace velmaro::gstreamer
