#include "backends/replay/MotionFile.h"

#include <array>
#include <charconv>
#include <cmath>
#include <fstream>
#include <optional>
#include <span>
#include <system_error>

#include "backends/motion/AngleSigns.h"

namespace velmaro {
namespace {

constexpr std::string_view kMark = "# velmaro motion 1";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLargestFile = 64 << 20;
/// About thirty years.
constexpr double kLargestTime = 1e9;
constexpr double kLargestAngle = 360;
/// What rounding and a careless source may do to the unit length; more is not a rotation.
constexpr double kLeastSquaredLength = 0.9;
constexpr double kGreatestSquaredLength = 1.1;

using Fields = std::vector<std::string_view>;
using Columns = std::span<const std::string_view>;

constexpr std::array<std::string_view, 5> kQuaternionColumns{"time", "x", "y", "z", "w"};
constexpr std::array<std::string_view, 4> kAngleColumns{"time", "yaw", "pitch", "roll"};

bool isRotation(const CMQuaternion& q) {
    const double squaredLength = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
    return squaredLength >= kLeastSquaredLength && squaredLength <= kGreatestSquaredLength;
}

/// The words of a line, up to one more than any line may have.
Fields split(std::string_view line) {
    constexpr std::string_view kSpace = " \t,\r";
    Fields fields;
    while (fields.size() <= kQuaternionColumns.size()) {
        const std::size_t begin = line.find_first_not_of(kSpace);
        if (begin == std::string_view::npos) {
            break;
        }
        line.remove_prefix(begin);
        const std::size_t end = std::min(line.find_first_of(kSpace), line.size());
        fields.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
    return fields;
}

std::optional<double> number(std::string_view field) {
    if (field.size() > 1 && field[0] == '+' && field[1] != '-') {
        field.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    if (error != std::errc() || end != field.data() + field.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

/// A field as it may be shown: short, and without bytes that a terminal obeys.
std::string shown(std::string_view field) {
    std::string text = "\"";
    for (const char c : field.substr(0, 20)) {
        text += c >= ' ' && c <= '~' ? c : '?';
    }
    return text + (field.size() > 20 ? "...\"" : "\"");
}

class MotionFileParser {
public:
    /// Why the line is wrong, or nothing.
    std::optional<std::string> take(std::string_view line) {
        if (!marked_) {
            marked_ = true;
            return mark(line);
        }
        const Fields fields = split(line);
        if (fields.empty() || fields[0].starts_with('#')) {
            return std::nullopt;
        }
        return columns_.empty() ? header(fields) : sample(fields);
    }

    MotionTrack track;

private:
    static std::optional<std::string> mark(std::string_view line) {
        if (line.starts_with(kByteOrderMark)) {
            line.remove_prefix(kByteOrderMark.size());
        }
        const std::size_t end = line.find_last_not_of(" \t\r");
        if (line.substr(0, end == std::string_view::npos ? 0 : end + 1) == kMark) {
            return std::nullopt;
        }
        return "not a motion file; the first line must be \"" + std::string(kMark) + "\"";
    }

    std::optional<std::string> header(const Fields& fields) {
        for (const Columns columns : {Columns(kQuaternionColumns), Columns(kAngleColumns)}) {
            if (std::equal(columns.begin(), columns.end(), fields.begin(), fields.end())) {
                columns_ = columns;
                return std::nullopt;
            }
        }
        return "the columns must be named \"time x y z w\" or \"time yaw pitch roll\"";
    }

    std::optional<std::string> sample(const Fields& fields) {
        if (fields.size() != columns_.size()) {
            return "expected " + std::to_string(columns_.size()) + " numbers, found " +
                   (fields.size() > kQuaternionColumns.size() ? "more"
                                                              : std::to_string(fields.size()));
        }
        std::array<double, kQuaternionColumns.size()> values{};
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const auto value = number(fields[i]);
            if (!value) {
                return std::string(columns_[i]) + " is not a number: " + shown(fields[i]);
            }
            values[i] = *value;
        }
        if (std::abs(values[0]) > kLargestTime) {
            return "time is out of range: " + shown(fields[0]);
        }
        if (!track.empty() && values[0] <= track.back().time) {
            return "time must increase from sample to sample";
        }
        if (columns_.size() == kQuaternionColumns.size()) {
            const CMQuaternion attitude{values[1], values[2], values[3], values[4]};
            if (!isRotation(attitude)) {
                return "x y z w is not a rotation; its length must be 1";
            }
            track.push_back({values[0], attitude});
            return std::nullopt;
        }
        for (std::size_t i = 1; i < columns_.size(); ++i) {
            if (std::abs(values[i]) > kLargestAngle) {
                return std::string(columns_[i]) +
                       " is out of range; angles are in degrees, -360 to 360";
            }
        }
        track.push_back({values[0], attitudeFromAngles(values[1], values[2], values[3])});
        return std::nullopt;
    }

    bool marked_ = false;
    Columns columns_;
};

}  // namespace

tl::expected<MotionTrack, MotionFileError> parseMotionFile(std::string_view text) {
    MotionFileParser parser;
    std::size_t line = 0;
    do {
        ++line;
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (auto message = parser.take(text.substr(0, end))) {
            return tl::unexpected(MotionFileError{line, std::move(*message)});
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    } while (!text.empty());
    if (parser.track.empty()) {
        return tl::unexpected(MotionFileError{line, "the file ends before the first sample"});
    }
    return std::move(parser.track);
}

Result<MotionTrack> readMotionFile(const std::filesystem::path& path) {
    const auto refusal = [&path](const std::string& where, const std::string& why) {
        return tl::unexpected(
            Error{.description = path.string() + where + ": " + why, .localizedDescription = why});
    };
    std::error_code status;
    if (std::filesystem::is_directory(path, status)) {
        return refusal("", "this is a folder; name a motion file");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return refusal("", std::generic_category().message(errno));
    }
    std::string text;
    std::array<char, 65'536> part{};
    while (file.read(part.data(), part.size()), file.gcount() > 0) {
        text.append(part.data(), static_cast<std::size_t>(file.gcount()));
        if (text.size() > kLargestFile) {
            return refusal("", "too large for a motion file; cut it to 64 MiB or less");
        }
    }
    if (file.bad()) {
        return refusal("", "it cannot be read to its end");
    }
    auto result = parseMotionFile(text);
    if (!result) {
        return refusal(":" + std::to_string(result.error().line), result.error().message);
    }
    return std::move(*result);
}

std::string_view motionFileBeginning() {
    return "# velmaro motion 1\ntime x y z w\n";
}

std::string motionFileLine(const TimedAttitude& sample) {
    std::array<char, 64> digits{};
    const auto time =
        std::to_chars(digits.begin(), digits.end(), sample.time, std::chars_format::fixed, 6);
    std::string line(digits.begin(), time.ptr);
    if (!isRotation(sample.attitude)) {
        return "# " + line + " left out: not a rotation\n";
    }
    for (const double value :
         {sample.attitude.x, sample.attitude.y, sample.attitude.z, sample.attitude.w}) {
        const auto end = std::to_chars(digits.begin(), digits.end(), value);
        line.append(" ").append(digits.begin(), end.ptr);
    }
    return line + '\n';
}

}  // namespace velmaro
