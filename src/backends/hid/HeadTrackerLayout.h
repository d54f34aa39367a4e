#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "backends/hid/HeadTrackerAxes.h"
#include "backends/hid/HidReportDescriptor.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// What a head tracker says in one input report.
struct HeadTrackerReport {
    RotationVector rotation{};
    /// A change means that the device began a new frame of reference.
    std::optional<std::uint8_t> resetCounter;
};

/// Where a device of the Android Head Tracker HID protocol, version 1 or 2, keeps what. All of it
/// comes from the report descriptor; ids, sizes and offsets differ between devices.
class HeadTrackerLayout {
public:
    /// Nothing if the device does not describe itself as a head tracker.
    static std::optional<HeadTrackerLayout> of(HidReportDescriptor descriptor);

    struct FeatureReport {
        std::uint8_t id = 0;
        /// Bytes, the id (or the 0 in its place) included.
        std::size_t size = 0;
    };

    /// The feature report that holds the protocol's marker.
    [[nodiscard]] FeatureReport description() const;
    /// Checks the marker in that report, as the system gives it: with the id, or 0 in its place.
    [[nodiscard]] bool isHeadTracker(std::span<const std::uint8_t> description) const;

    /// The feature reports that start and stop the motion, in the order of the descriptor.
    [[nodiscard]] std::vector<FeatureReport> controls() const;
    /// Changes such a report, which begins with the id or 0, so that motion starts, at about
    /// `interval` seconds. `description` tells the transports of version 2. False if it is shorter
    /// than the descriptor says.
    [[nodiscard]] bool setStart(std::span<std::uint8_t> control, double interval,
                                std::span<const std::uint8_t> description) const;
    [[nodiscard]] bool setStop(std::span<std::uint8_t> control) const;

    /// The motion in an input report as read; nothing if it is another report, too short, or its
    /// rotation is outside the limits, by which a device says that it has none.
    [[nodiscard]] std::optional<HeadTrackerReport> decode(
        std::span<const std::uint8_t> report) const;

private:
    HeadTrackerLayout() = default;

    [[nodiscard]] FeatureReport featureReport(std::uint8_t id) const;
    [[nodiscard]] bool choose(std::span<std::uint8_t> control, const std::optional<HidField>& field,
                              HidUsage choice) const;
    /// The part of a feature report that fields count from.
    template <typename Byte>
    [[nodiscard]] std::span<Byte> body(std::span<Byte> report) const;

    HidReportDescriptor descriptor_;
    HidField description_;
    HidField rotation_;
    std::optional<HidField> resetCounter_;
    std::optional<HidField> reporting_;
    std::optional<HidField> power_;
    std::optional<HidField> interval_;
    std::optional<HidField> transport_;
};

/// The attitude that a rotation vector stands for: a turn by its length about its direction.
[[nodiscard]] CMQuaternion attitudeFromRotationVector(const RotationVector& rotation);

}  // namespace velmaro
