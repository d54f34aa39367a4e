#pragma once

#include "backends/hid/HidSystem.h"

namespace velmaro {

/// Linux hidraw: nodes in /dev, descriptors and identities in sysfs. By system calls of its own: a
/// HID library would bring a second way to find devices, and reads neither the report descriptor
/// of a node that may not be opened nor says when the user's access to it comes.
class HidrawSystem : public HidSystem {
public:
    [[nodiscard]] std::filesystem::path folder() const override;
    [[nodiscard]] bool isNode(const std::string& name) const override;
    [[nodiscard]] std::vector<std::uint8_t> reportDescriptor(
        const std::string& name) const override;
    [[nodiscard]] HidIdentity identity(const std::string& name) const override;
    [[nodiscard]] tl::expected<std::unique_ptr<HidDevice>, int> open(
        const std::string& name) const override;
};

/// The identity in a device's `uevent` file of sysfs, such as "HID_ID=0005:0000054C:00000DF0" and
/// "HID_NAME=...".
[[nodiscard]] HidIdentity parseHidUevent(std::string_view text);

}  // namespace velmaro
