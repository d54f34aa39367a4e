#include "backends/hid/HidrawSystem.h"

#include <fcntl.h>
#include <linux/hidraw.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>

#include "backends/posix/FileDescriptor.h"

namespace velmaro {
namespace {

constexpr std::string_view kPrefix = "hidraw";

std::string content(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path device(const std::string& name) {
    return std::filesystem::path("/sys/class/hidraw") / name / "device";
}

class HidrawDevice : public HidDevice {
public:
    explicit HidrawDevice(FileDescriptor file) : file_(std::move(file)) {}

    [[nodiscard]] int descriptor() const override { return file_.get(); }

    std::optional<std::size_t> read(std::span<std::uint8_t> buffer) override {
        const ssize_t size = ::read(file_.get(), buffer.data(), buffer.size());
        if (size > 0) {
            return static_cast<std::size_t>(size);
        }
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
            return 0;
        }
        return std::nullopt;
    }

    std::optional<std::vector<std::uint8_t>> feature(std::uint8_t id, std::size_t size) override {
        std::vector<std::uint8_t> report(std::max<std::size_t>(size, 1));
        report[0] = id;
        const int length = ::ioctl(file_.get(), HIDIOCGFEATURE(report.size()), report.data());
        if (length <= 0 || static_cast<std::size_t>(length) > report.size()) {
            return std::nullopt;
        }
        report.resize(static_cast<std::size_t>(length));
        return report;
    }

    bool setFeature(std::span<const std::uint8_t> report) override {
        std::vector<std::uint8_t> copy(report.begin(), report.end());
        return ::ioctl(file_.get(), HIDIOCSFEATURE(copy.size()), copy.data()) >= 0;
    }

private:
    FileDescriptor file_;
};

/// Takes what stands before the next `separator`.
std::string_view take(std::string_view& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

std::uint32_t hexadecimal(std::string_view text) {
    std::uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, 16);
    return value;
}

}  // namespace

HidIdentity parseHidUevent(std::string_view text) {
    HidIdentity identity;
    while (!text.empty()) {
        std::string_view value = take(text, '\n');
        const std::string_view key = take(value, '=');
        if (key == "HID_NAME") {
            identity.name = value;
        } else if (key == "HID_ID") {
            take(value, ':');
            identity.vendor = hexadecimal(take(value, ':'));
            identity.product = hexadecimal(value);
        }
    }
    return identity;
}

std::filesystem::path HidrawSystem::folder() const {
    return "/dev";
}

bool HidrawSystem::isNode(const std::string& name) const {
    return name.starts_with(kPrefix);
}

std::vector<std::uint8_t> HidrawSystem::reportDescriptor(const std::string& name) const {
    const std::string bytes = content(device(name) / "report_descriptor");
    return {bytes.begin(), bytes.end()};
}

HidIdentity HidrawSystem::identity(const std::string& name) const {
    return parseHidUevent(content(device(name) / "uevent"));
}

tl::expected<std::unique_ptr<HidDevice>, int> HidrawSystem::open(const std::string& name) const {
    FileDescriptor file(::open((folder() / name).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (file.get() < 0) {
        return tl::unexpected(errno);
    }
    return std::make_unique<HidrawDevice>(std::move(file));
}

}  // namespace velmaro
