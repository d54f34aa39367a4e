#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace velmaro {

using Bytes = std::vector<std::uint8_t>;

/// From hexadecimal digits, blanks between bytes.
inline Bytes fromHex(std::string_view text) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size();) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        bytes.push_back(static_cast<std::uint8_t>(digit(text[i]) << 4 | digit(text[i + 1])));
        i += 2;
    }
    return bytes;
}

/// A head tracker of version 1; a Linux kernel accepted it.
inline Bytes trackerDescriptor() {
    return fromHex(
        "05 20 09 E1 A1 01 85 02 "
        "0A 08 03 15 00 26 FF 00 75 08 95 17 B1 03 "
        "0A 02 03 15 00 26 FF 00 75 08 95 10 B1 03 "
        "85 01 0A 16 03 15 00 25 01 75 01 95 01 A1 02 0A 40 08 0A 41 08 B1 00 C0 "
        "0A 19 03 15 00 25 01 75 01 95 01 A1 02 0A 55 08 0A 51 08 B1 00 C0 "
        "0A 0E 03 15 00 25 3F 35 0A 45 64 75 06 95 01 66 01 10 55 0D B1 02 "
        "0A 44 05 16 01 80 26 FF 7F 37 60 4F 46 ED 47 A1 B0 B9 12 55 08 75 10 95 03 81 02 "
        "0A 45 05 16 01 80 26 FF 7F 35 E0 45 20 55 00 75 10 95 03 81 02 "
        "0A 46 05 15 00 26 FF 00 35 00 46 FF 00 55 00 75 08 95 01 81 02 C0");
}

/// A head tracker of version 2: transports besides, one-byte maxima of 255, a field without usage,
/// other report ids.
inline Bytes secondTrackerDescriptor() {
    return fromHex(
        "05 20 09 E1 A1 01 85 07 "
        "0A 08 03 15 00 25 FF 75 08 95 19 B1 03 "
        "0A 02 03 15 00 25 FF 75 08 95 10 B1 03 "
        "85 05 0A 16 03 15 00 25 01 75 01 95 01 A1 02 0A 40 08 0A 41 08 B1 00 C0 "
        "0A 19 03 15 00 25 01 75 01 95 01 A1 02 0A 55 08 0A 51 08 B1 00 C0 "
        "0A 0E 03 15 00 25 3F 35 0A 45 64 75 06 95 01 66 01 10 55 0D B1 02 "
        "0A 10 F4 15 00 25 01 75 01 95 01 A1 02 0A 00 F8 0A 01 F8 B1 00 C0 B1 02 "
        "0A 44 05 16 01 80 26 FF 7F 37 60 4F 46 ED 47 A1 B0 B9 12 55 08 75 10 95 03 81 02 "
        "0A 46 05 15 00 25 FF 35 00 45 FF 55 00 75 08 95 01 81 02 C0");
}

/// A report of `trackerDescriptor` with a rotation.
inline const Bytes kTurned = fromHex("01 00 00 00 00 1C 07 00 00 00 00 00 00 00");

inline Bytes markerReport(std::uint8_t id, std::string_view marker, std::size_t size) {
    Bytes report(size);
    report.at(0) = id;
    std::copy_n(marker.begin(), std::min(marker.size(), size - 1), report.begin() + 1);
    return report;
}

}  // namespace velmaro
