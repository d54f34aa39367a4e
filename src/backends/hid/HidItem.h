#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace velmaro {

/// The items that matter here: a prefix byte without the two bits of its size.
enum class HidTag : std::uint8_t {
    input = 0x80,
    output = 0x90,
    collection = 0xA0,
    feature = 0xB0,
    endCollection = 0xC0,
    usagePage = 0x04,
    logicalMinimum = 0x14,
    logicalMaximum = 0x24,
    physicalMinimum = 0x34,
    physicalMaximum = 0x44,
    unitExponent = 0x54,
    reportSize = 0x74,
    reportID = 0x84,
    reportCount = 0x94,
    push = 0xA4,
    pop = 0xB4,
    usage = 0x08,
    usageMinimum = 0x18,
    usageMaximum = 0x28,
};

enum class HidItemType { main, global, local, reserved };

/// The data of a short item, whose sign only its meaning tells.
struct HidItemData {
    std::uint32_t bits = 0;
    unsigned size = 0;

    [[nodiscard]] std::int64_t asSigned() const;
};

/// One item of a report descriptor.
struct HidItem {
    HidTag tag{};
    HidItemData data;

    [[nodiscard]] HidItemType type() const;
};

/// Takes the items of a report descriptor one after the other.
class HidItemReader {
public:
    explicit HidItemReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

    /// False if the bytes end within an item. A long item, of which none is defined, passes as a
    /// reserved one.
    [[nodiscard]] bool take(HidItem& item);

private:
    std::span<const std::uint8_t> rest_;
};

}  // namespace velmaro
