#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/Result.h"

namespace velmaro {

enum class HidReportKind { input, output, feature };

/// The usage page in the upper 16 bits, the usage in the lower.
using HidUsage = std::uint32_t;

struct HidUsageRange {
    HidUsage first = 0;
    HidUsage last = 0;
};

/// What one main item of a report descriptor describes: `count` values of `bitSize` bits.
struct HidField {
    HidReportKind kind = HidReportKind::input;
    /// 0 in a device without report ids.
    std::uint8_t reportID = 0;
    /// From the beginning of the report, the id's byte included if there are ids.
    std::size_t bitOffset = 0;
    std::uint32_t bitSize = 0;
    std::uint32_t count = 0;
    /// False for an array, whose value is the place of the chosen usage.
    bool isVariable = false;
    bool isConstant = false;
    /// Of the enclosing application collection.
    HidUsage application = 0;
    std::vector<HidUsageRange> usages;
    std::int64_t logicalMinimum = 0;
    std::int64_t logicalMaximum = 0;
    std::int64_t physicalMinimum = 0;
    std::int64_t physicalMaximum = 0;
    /// Physical values are times ten to this power, -8 to 7.
    int unitExponent = 0;

    /// Where `usage` stands among the field's usages, from 0.
    [[nodiscard]] std::optional<std::uint32_t> indexOf(HidUsage usage) const;

    /// The value of element `index`, not scaled: signed if the logical minimum is negative. Nothing
    /// if it lies outside `report` or is wider than 32 bits.
    [[nodiscard]] std::optional<std::int64_t> read(std::span<const std::uint8_t> report,
                                                   std::uint32_t index) const;
    /// Sets element `index`; false if it lies outside `report` or is wider than 32 bits.
    bool write(std::span<std::uint8_t> report, std::uint32_t index, std::int64_t value) const;

    /// From a logical value to the unit. A field without physical limits has the logical ones.
    [[nodiscard]] double toPhysical(std::int64_t logical) const;
    /// From the unit to the nearest logical value within the limits.
    [[nodiscard]] std::int64_t toLogical(double physical) const;
};

/// The fields of a device's reports, in the order of the descriptor. Parsed after "Device Class
/// Definition for Human Interface Devices" 1.11, section 6.2.2.
struct HidReportDescriptor {
    std::vector<HidField> fields;
    bool hasReportIDs = false;

    /// Bytes of a report, its id included; 0 if there is none.
    [[nodiscard]] std::size_t reportSize(HidReportKind kind, std::uint8_t reportID) const;

    /// The first field of that kind with that usage, within that application.
    [[nodiscard]] const HidField* find(HidReportKind kind, HidUsage usage,
                                       HidUsage application) const;
};

/// The descriptor in `bytes`, or what is wrong with it. Work and memory are bounded by its length.
[[nodiscard]] Result<HidReportDescriptor> parseHidReportDescriptor(
    std::span<const std::uint8_t> bytes);

}  // namespace velmaro
