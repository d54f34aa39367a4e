#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/Dispatch.h"
#include "platform/Error.h"

namespace velmaro {

/// An attitude: an active rotation from head to world, where x points to the right ear, y to the
/// nose and z up. w is the scalar part.
struct CMQuaternion {
    double x = 0;
    double y = 0;
    double z = 0;
    double w = 1;
};

struct Attitude {
    CMQuaternion quaternion;
};

/// One sample of the headphones' motion.
struct DeviceMotion {
    Attitude attitude;
};

/// Hears of headphones that come and go. Called on a thread of the source's choosing.
class HeadphoneMotionDelegate {
public:
    virtual ~HeadphoneMotionDelegate() = default;
    virtual void headphoneMotionManagerDidConnect() = 0;
    virtual void headphoneMotionManagerDidDisconnect() = 0;
};

/// The door to head-tracking headphones. Except where noted it is used on the main thread.
class HeadphoneMotion {
public:
    /// Exactly one of sample and error is set, or neither; a sample beside an error is possible.
    using Handler = std::function<void(const std::shared_ptr<const DeviceMotion>&,
                                       const std::optional<Error>&)>;

    virtual ~HeadphoneMotion() = default;

    /// Held weakly; replaces the earlier one.
    virtual void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) = 0;

    /// True when motion can be delivered now.
    [[nodiscard]] virtual bool isDeviceMotionAvailable() const = 0;

    /// True from a start to the next stop.
    [[nodiscard]] virtual bool isDeviceMotionActive() const = 0;

    /// Calls `handler` on `queue` for every sample and every failed delivery, until stopped.
    virtual void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) = 0;

    /// Ends delivery: no handler call begins after the return when called on the delivery queue.
    virtual void stopDeviceMotionUpdates() = 0;
};

}  // namespace velmaro
