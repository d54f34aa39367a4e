#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace velmaro {

/// The head's own angles, in the order in which the sender gives them: pan to the right, tilt
/// upward, roll to the right shoulder.
enum class Axis { pan, tilt, roll };

inline constexpr std::size_t kAxes = 3;

/// How a receiver counts the head's angles. By default as they are sent: degrees, in their order,
/// in one message.
///
/// A receiver of angles turns the field by the first, then the second, then the third axis of the
/// head. Every receiver of angles in the table does so; one that does not takes the quaternion.
struct Conversion {
    enum class Form {
        /// Three values in one message.
        angles,
        /// Three messages of one value each.
        split,
        /// w, x, y, z of the turn of the field, which is the opposite of the head's, about axes to
        /// the front, to the left and upward.
        quaternion,
    };

    Form form = Form::angles;
    /// The axes that count the other way round, by `Axis`.
    std::array<bool, kAxes> flipped{};
    /// Which axis each value is. Not for the quaternion.
    std::array<Axis, kAxes> order{Axis::pan, Axis::tilt, Axis::roll};
    /// Radians instead of degrees. Not for the quaternion.
    bool radians = false;

    bool operator==(const Conversion&) const = default;

    /// Turns one axis round, whatever it was.
    void flip(Axis axis) {
        bool& flippedAxis = flipped[static_cast<std::size_t>(axis)];
        flippedAxis = !flippedAxis;
    }
};

/// Three angles or four parts of a quaternion.
struct ConvertedValues {
    std::array<float, 4> numbers{};
    std::size_t count = 0;

    [[nodiscard]] std::span<const float> span() const { return {numbers.data(), count}; }
};

/// What a receiver is to be sent for pan, tilt and roll in degrees. Angles that are neither flipped
/// nor changed in their unit keep every bit. Pure; any thread.
[[nodiscard]] ConvertedValues convert(std::span<const float, kAxes> angles,
                                      const Conversion& conversion);

}  // namespace velmaro
