#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <vector>

#include "platform/HeadphoneMotion.h"
#include "platform/Result.h"

namespace velmaro {

/// One sample of a motion file.
struct TimedAttitude {
    /// Seconds from a beginning of the file's choosing.
    double time = 0;
    CMQuaternion attitude;
};

/// At least one sample, their times strictly increasing.
using MotionTrack = std::vector<TimedAttitude>;

/// Where and why a text is not a motion file.
struct MotionFileError {
    /// Counted from 1.
    std::size_t line = 0;
    std::string message;
};

/// The samples in `text`, whose format docs/motion-files.md describes, or the first mistake in it.
[[nodiscard]] tl::expected<MotionTrack, MotionFileError> parseMotionFile(std::string_view text);

/// The samples in the file at `path`, or why there are none. Files above 64 MiB are refused.
[[nodiscard]] Result<MotionTrack> readMotionFile(const std::filesystem::path& path);

/// What a motion file of quaternions begins with.
[[nodiscard]] std::string_view motionFileBeginning();

/// The line of one sample, or a comment in its place when `attitude` is not a rotation. Times keep
/// six decimals, the quaternion every bit.
[[nodiscard]] std::string motionFileLine(const TimedAttitude& sample);

}  // namespace velmaro
