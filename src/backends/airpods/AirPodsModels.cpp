#include "backends/airpods/AirPodsModels.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

namespace velmaro {
namespace {

constexpr std::uint16_t kVendor = 0x004C;

/// From public notes. The first two models have no head tracking and are left out.
constexpr std::array<std::uint16_t, 9> kProducts{
    0x200A,  // Max
    0x200E,  // Pro
    0x2013,  // third
    0x2014,  // Pro, second
    0x2019,  // fourth
    0x201B,  // fourth, with noise cancellation
    0x201F,  // Max, USB-C
    0x2024,  // Pro, second, USB-C
    0x2027,  // Pro, third
};

/// Takes `prefix` and four hexadecimal digits off the front of `text`.
std::optional<std::uint16_t> takeNumber(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return std::nullopt;
    }
    const std::string_view digits = text.substr(prefix.size(), 4);
    std::uint16_t number = 0;
    const char* const end = digits.data() + digits.size();
    if (digits.size() < 4 || std::from_chars(digits.data(), end, number, 16).ptr != end) {
        return std::nullopt;
    }
    text.remove_prefix(prefix.size() + digits.size());
    return number;
}

}  // namespace

bool areHeadTrackingAirPods(std::string_view modalias) {
    const auto vendor = takeNumber(modalias, "bluetooth:v");
    const auto product = takeNumber(modalias, "p");
    return vendor == kVendor && product &&
           std::find(kProducts.begin(), kProducts.end(), *product) != kProducts.end();
}

}  // namespace velmaro
