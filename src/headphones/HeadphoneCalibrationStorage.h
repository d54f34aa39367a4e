#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmaro {

/// The stored form of a headphone calibration: a JSON object with one number per member, keyed by
/// the member's name. Unlike a quaternion in memory, w comes first. Users have such records: their
/// form is fixed, see docs/behaviour.md.
struct HeadphoneCalibrationStorage {
    double calibrationW = 1;
    double calibrationX = 0;
    double calibrationY = 0;
    double calibrationZ = 0;
    double idleW = 1;
    double idleX = 0;
    double idleY = 0;
    double idleZ = 0;

    bool operator==(const HeadphoneCalibrationStorage&) const = default;
};

/// The record as JSON text, each number in its shortest form that reads back the same; nothing if a
/// number is NaN or infinite, which JSON cannot say.
[[nodiscard]] std::optional<std::string> encode(const HeadphoneCalibrationStorage& record);

/// The record in `json`, its members in any order among any others; nothing unless it is one valid
/// JSON object in UTF-8, without duplicate keys, that holds all eight as numbers within the range
/// of double.
[[nodiscard]] std::optional<HeadphoneCalibrationStorage> decodeHeadphoneCalibrationStorage(
    std::string_view json);

}  // namespace velmaro
