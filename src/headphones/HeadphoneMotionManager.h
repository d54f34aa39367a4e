#pragma once

#include <memory>
#include <optional>

#include "headphones/HeadphoneCalibration.h"
#include "platform/Callback.h"
#include "platform/Dispatch.h"
#include "platform/HeadphoneMotion.h"
#include "platform/Log.h"
#include "platform/Observable.h"
#include "platform/UserDefaults.h"

namespace velmaro {

/// Turns the headphones' motion into pan, tilt and roll in degrees relative to the user's rest
/// pose. Created, used and released on the main thread, where its callbacks are called too. The
/// doors outlive it. Signs, orders and texts are fixed: see docs/behaviour.md.
class HeadphoneMotionManager : public Observable,
                               public std::enable_shared_from_this<HeadphoneMotionManager> {
    struct Private {};

public:
    /// A tracker that has restored the stored rest pose, listens for connections and knows whether
    /// motion is available.
    static std::shared_ptr<HeadphoneMotionManager> create(HeadphoneMotion& headphoneMotion,
                                                          UserDefaults& userDefaults,
                                                          Dispatch& dispatch, Log& log);

    HeadphoneMotionManager(Private, HeadphoneMotion& headphoneMotion, UserDefaults& userDefaults,
                           Dispatch& dispatch, Log& log);
    ~HeadphoneMotionManager() override;

    /// True after a connection, or when motion was available at the last `checkConnectionStatus()`.
    Published<bool> isConnected{*this, false};
    /// Whether motion was available when the tracker was created.
    Published<bool> isAvailable{*this, false};
    /// Degrees, -180 to 180, positive to the right. They keep their last values after a stop.
    Published<float> pan{*this, 0.0F};
    /// Degrees, -90 to 90, positive upward; NaN for an attitude that is not of unit length.
    Published<float> tilt{*this, 0.0F};
    /// Degrees, -180 to 180, positive towards the right shoulder.
    Published<float> roll{*this, 0.0F};

    HeadphoneCalibration calibration;

    /// Called with pan, tilt and roll for every sample, after they were published.
    Callback<float, float, float> onMotionUpdate;
    /// Called with `isConnected` on every connection and disconnection, changed or not, and when
    /// `checkConnectionStatus()` finds a change.
    Callback<bool> onConnectionChanged;

    /// Takes `isConnected` from the availability of motion.
    void checkConnectionStatus();

    /// Starts the motion. Says on the log why not, if it is unavailable or already started.
    void start();

    /// Stops the motion and removes both callbacks.
    void stop();

    /// Makes the attitude of the latest sample the rest pose and stores it; nothing without a
    /// sample.
    void setOffset();

    /// Returns to the rest pose that was stored last, not to the headphones' own frame.
    void resetOffset();

private:
    class Delegate;

    void connectionChanged(bool connected);
    void receive(const std::shared_ptr<const DeviceMotion>& sample,
                 const std::optional<Error>& error);

    HeadphoneMotion& headphoneMotionManager_;
    Dispatch& dispatch_;
    Log& log_;
    std::shared_ptr<Delegate> delegate_;
};

}  // namespace velmaro
