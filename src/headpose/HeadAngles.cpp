#include "headpose/HeadAngles.h"

#include <array>
#include <charconv>
#include <cmath>
#include <span>

namespace velmaro {
namespace {

// 180 divided by the single-precision 3.1415925: one unit in the last place above the value
// nearest to 180/pi.
constexpr float kDegreesPerRadian = 57.295784F;

Point mean(std::span<const Point> points) {
    Point sum;
    for (const Point& point : points) {
        sum.x += point.x;
        sum.y += point.y;
    }
    const auto count = static_cast<double>(points.size());
    return {sum.x / count, sum.y / count};
}

float yawTerm(const std::optional<double>& yaw, const Point& nose, const Point& left,
              const Point& right, double eyeDistance) {
    if (yaw) {
        return static_cast<float>(*yaw) * kDegreesPerRadian;
    }
    return static_cast<float>(((nose.x - (left.x + right.x) * 0.5) / eyeDistance) * 90.0);
}

/// The eyes of a turned head look closer together; the correction at most doubles their distance.
double foreshortening(const std::optional<double>& yaw) {
    if (!yaw) {
        return 1.0;
    }
    const double cosine = std::cos(*yaw);
    return cosine > 0.5 ? cosine : 0.5;
}

}  // namespace

float clampAngle(float value, float limit) {
    return std::fmax(std::fmin(value, limit), -limit);
}

std::optional<HeadAngles> rawHeadAngles(const FaceObservation& face, const FaceRegions& regions,
                                        int width, int height) {
    if (!regions.noseCrest || !regions.leftEye || !regions.rightEye) {
        return HeadAngles{};
    }
    const std::span<const Point> noseCrest = *regions.noseCrest;
    if (noseCrest.empty() || regions.leftEye->empty() || regions.rightEye->empty()) {
        return std::nullopt;
    }

    const Point nose = noseCrest[noseCrest.size() / 2];
    const Point left = mean(*regions.leftEye);
    const Point right = mean(*regions.rightEye);
    const double dx = right.x - left.x;
    const double dy = right.y - left.y;
    const double eyeDistance = std::sqrt(dx * dx + dy * dy);

    const double imageWidth = width;
    const double imageHeight = height;
    const double midX = face.boundingBox.x * imageWidth + face.boundingBox.width * imageWidth / 2;
    const double midY =
        face.boundingBox.y * imageHeight + face.boundingBox.height * imageHeight / 2;
    const double horizontal = (midX - imageWidth * 0.5) / (imageWidth * 0.5);
    const double vertical = (midY - imageHeight * 0.5) / (imageHeight * 0.5);

    const float pan =
        yawTerm(face.yaw, nose, left, right, eyeDistance) + static_cast<float>(horizontal * 20.0);

    const double correctedDistance = eyeDistance / foreshortening(face.yaw);
    const double eyeLine = (left.y + right.y) * 0.5;
    const auto noseTerm = static_cast<float>(((nose.y - eyeLine) / correctedDistance) * -180.0);
    const auto positionTerm = static_cast<float>(vertical * 30.0);
    return HeadAngles{pan, (positionTerm + noseTerm) + -90.0F};
}

float applyTiltDeadZone(float smoothedTilt) {
    const float magnitude = std::fabs(smoothedTilt);
    if (magnitude < kTiltDeadZone) {
        return 0.0F;
    }
    return smoothedTilt > 0 ? magnitude - kTiltDeadZone : -(magnitude - kTiltDeadZone);
}

std::string shortestDecimal(float value) {
    // The longest: a sign and the 39 digits of the largest value, or the 45 decimals of the
    // smallest.
    std::array<char, 64> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    std::string decimal(text.data(), result.ptr);
    if (decimal.find_first_of(".in") == std::string::npos) {
        decimal += ".0";
    }
    return decimal;
}

}  // namespace velmaro
