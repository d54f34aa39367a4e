#include <algorithm>
#include <cmath>

#include "backends/hid/HidReportDescriptor.h"

namespace velmaro {
namespace {

constexpr std::uint32_t kWidestValue = 32;

}  // namespace

std::optional<std::uint32_t> HidField::indexOf(HidUsage usage) const {
    std::uint64_t before = 0;
    for (const HidUsageRange& range : usages) {
        if (usage >= range.first && usage <= range.last) {
            return static_cast<std::uint32_t>(before + (usage - range.first));
        }
        before += range.last >= range.first ? std::uint64_t{range.last} - range.first + 1 : 0;
        if (before > UINT32_MAX) {
            break;
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> HidField::read(std::span<const std::uint8_t> report,
                                           std::uint32_t index) const {
    const std::size_t begin = bitOffset + std::size_t{index} * bitSize;
    if (bitSize == 0 || bitSize > kWidestValue || index >= count ||
        begin + bitSize > report.size() * 8) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    for (std::uint32_t i = 0; i < bitSize; ++i) {
        const std::size_t bit = begin + i;
        value |= std::int64_t{report[bit / 8] >> (bit % 8) & 1} << i;
    }
    const bool negative = logicalMinimum < 0 && (value >> (bitSize - 1)) != 0;
    return negative ? value - (std::int64_t{1} << bitSize) : value;
}

bool HidField::write(std::span<std::uint8_t> report, std::uint32_t index,
                     std::int64_t value) const {
    const std::size_t begin = bitOffset + std::size_t{index} * bitSize;
    if (bitSize == 0 || bitSize > kWidestValue || index >= count ||
        begin + bitSize > report.size() * 8) {
        return false;
    }
    const auto bits = static_cast<std::uint64_t>(value);
    for (std::uint32_t i = 0; i < bitSize; ++i) {
        const std::size_t bit = begin + i;
        const auto mask = static_cast<std::uint8_t>(1U << (bit % 8));
        if ((bits >> i & 1U) != 0) {
            report[bit / 8] |= mask;
        } else {
            report[bit / 8] &= static_cast<std::uint8_t>(~mask);
        }
    }
    return true;
}

double HidField::toPhysical(std::int64_t logical) const {
    const double power = std::pow(10.0, unitExponent);
    const auto value = static_cast<double>(logical);
    if (physicalMinimum == physicalMaximum || logicalMinimum == logicalMaximum) {
        return value * power;
    }
    const double scale = static_cast<double>(physicalMaximum - physicalMinimum) /
                         static_cast<double>(logicalMaximum - logicalMinimum);
    return ((value - static_cast<double>(logicalMinimum)) * scale +
            static_cast<double>(physicalMinimum)) *
           power;
}

std::int64_t HidField::toLogical(double physical) const {
    double value = physical / std::pow(10.0, unitExponent);
    if (physicalMinimum != physicalMaximum && logicalMinimum != logicalMaximum) {
        const double scale = static_cast<double>(logicalMaximum - logicalMinimum) /
                             static_cast<double>(physicalMaximum - physicalMinimum);
        value = (value - static_cast<double>(physicalMinimum)) * scale +
                static_cast<double>(logicalMinimum);
    }
    if (logicalMaximum < logicalMinimum) {
        return logicalMinimum;
    }
    return std::llround(std::clamp(value, static_cast<double>(logicalMinimum),
                                   static_cast<double>(logicalMaximum)));
}

}  // namespace velmaro
