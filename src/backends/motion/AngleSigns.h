#pragma once

#include <optional>
#include <string_view>

#include "platform/Diagnostics.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// The attitude after a turn of `yaw` degrees to the right, then `pitch` up, then `roll` to the
/// right shoulder: qz(-yaw) qx(pitch) qy(roll). Without a rest pose these angles come out of the
/// tracker as pan, tilt and roll.
[[nodiscard]] CMQuaternion attitudeFromAngles(double yaw, double pitch, double roll);

/// For sources that nobody has told the direction of their angles: 1, or -1 to reverse.
struct AngleSigns {
    double yaw = 1;
    double pitch = 1;
    double roll = 1;

    bool operator==(const AngleSigns&) const = default;

    /// The signs that reverse the angles listed in `text`, separated by commas ("yaw,roll");
    /// nothing if one of them is none of yaw, pitch, roll.
    [[nodiscard]] static std::optional<AngleSigns> reversing(std::string_view text);

    /// The same from an environment variable. Unset leaves all as they are; so does a mistake,
    /// which is reported.
    [[nodiscard]] static AngleSigns fromEnvironment(const char* variable, Diagnostics& diagnostics);
};

}  // namespace velmaro
