#include "backends/motion/AngleSigns.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string>

#include "headphones/Quaternion.h"

namespace velmaro {

CMQuaternion attitudeFromAngles(double yaw, double pitch, double roll) {
    constexpr double kHalfRadian = std::numbers::pi / 360;
    const double y = -yaw * kHalfRadian;
    const double p = pitch * kHalfRadian;
    const double r = roll * kHalfRadian;
    return CMQuaternion{0, 0, std::sin(y), std::cos(y)} *
           CMQuaternion{std::sin(p), 0, 0, std::cos(p)} *
           CMQuaternion{0, std::sin(r), 0, std::cos(r)};
}

std::optional<AngleSigns> AngleSigns::reversing(std::string_view text) {
    AngleSigns signs;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(','), text.size());
        const std::string_view name = text.substr(0, end);
        if (name == "yaw") {
            signs.yaw = -1;
        } else if (name == "pitch") {
            signs.pitch = -1;
        } else if (name == "roll") {
            signs.roll = -1;
        } else {
            return std::nullopt;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return signs;
}

AngleSigns AngleSigns::fromEnvironment(const char* variable, Diagnostics& diagnostics) {
    const char* const text = std::getenv(variable);
    if (text == nullptr) {
        return {};
    }
    if (const auto signs = reversing(text)) {
        return *signs;
    }
    diagnostics.report({.kind = Diagnostic::Kind::warning,
                        .subject = Diagnostic::Subject::headphones,
                        .text = std::string(variable) + " is ignored",
                        .advice = "give some of yaw, pitch, roll, separated by commas"});
    return {};
}

}  // namespace velmaro
