#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/HeadphoneMotion.h"
#include "platform/Observable.h"
#include "platform/UserDefaults.h"

namespace velmaro {

/// An acceleration in multiples of the earth's gravity.
struct CMAcceleration {
    double x = 0;
    double y = 0;
    double z = 0;
};

/// What turns the headphones' attitude into one relative to the user's rest pose, and keeps it
/// between runs under the setting "headphoneCalibration". Main thread only. Its failures are silent
/// and leave everything as it was. See docs/behaviour.md for what of it is fixed.
class HeadphoneCalibration : public Observable {
public:
    /// Begins at the identity, then restores the stored record. `userDefaults` outlives this
    /// object.
    explicit HeadphoneCalibration(UserDefaults& userDefaults);

    /// The stored record as JSON text; empty if there is none.
    [[nodiscard]] std::string calibrationStore() const;

    /// Takes both quaternions from the stored record, if that is valid.
    void restoreCalibration();

    /// Stores both quaternions as they are now, if all their members are finite.
    void storeCalibration();

    /// Keeps `sample` as the latest one in place of the earlier.
    void update(std::shared_ptr<const DeviceMotion> sample) { data = std::move(sample); }

    /// `attitude` relative to the rest pose, seen in the aligned frame.
    [[nodiscard]] CMQuaternion apply(const CMQuaternion& attitude) const;

    /// The latest sample; null before the first.
    std::shared_ptr<const DeviceMotion> data;
    /// Gravity at the rest pose. Nothing uses it yet, and it is not stored.
    CMAcceleration idleGravity;
    /// The conjugate of the attitude at the rest pose.
    CMQuaternion idleQuaternion;
    /// The alignment of the frame in which the relative attitude is expressed.
    CMQuaternion calibration;

private:
    void setCalibrationStore(std::string_view json);

    UserDefaults& userDefaults_;
};

}  // namespace velmaro
