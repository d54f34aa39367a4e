#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace velmaro {

/// An open HID device. All calls may wait for the device.
class HidDevice {
public:
    virtual ~HidDevice() = default;

    /// Ready for reading when a report has come; reports an error once the device has gone.
    [[nodiscard]] virtual int descriptor() const = 0;
    /// The next input report into `buffer`: its size, 0 if there is none, nothing if the device has
    /// gone.
    virtual std::optional<std::size_t> read(std::span<std::uint8_t> buffer) = 0;
    /// Feature report `id`, its id (or 0) first, at most `size` bytes; nothing if the device
    /// refuses.
    virtual std::optional<std::vector<std::uint8_t>> feature(std::uint8_t id, std::size_t size) = 0;
    /// Writes a feature report, its id (or 0) first; false if the device refuses.
    virtual bool setFeature(std::span<const std::uint8_t> report) = 0;
};

/// What is known of a device without opening it.
struct HidIdentity {
    std::uint32_t vendor = 0;
    std::uint32_t product = 0;
    std::string name;
};

/// The system's raw HID devices, each by the name of its node.
class HidSystem {
public:
    virtual ~HidSystem() = default;

    /// The folder in which nodes come and go.
    [[nodiscard]] virtual std::filesystem::path folder() const = 0;
    [[nodiscard]] virtual bool isNode(const std::string& name) const = 0;
    /// Empty if the device has gone.
    [[nodiscard]] virtual std::vector<std::uint8_t> reportDescriptor(
        const std::string& name) const = 0;
    [[nodiscard]] virtual HidIdentity identity(const std::string& name) const = 0;
    /// The device, or the `errno` of the refusal.
    [[nodiscard]] virtual tl::expected<std::unique_ptr<HidDevice>, int> open(
        const std::string& name) const = 0;
};

}  // namespace velmaro
