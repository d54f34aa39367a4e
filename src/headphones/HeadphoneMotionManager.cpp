#include "headphones/HeadphoneMotionManager.h"

#include <cassert>
#include <numbers>
#include <string>

#include "headphones/Quaternion.h"

namespace velmaro {

/// Hears of connections on a thread of the source. It is apart from the tracker so that such a
/// thread never holds the last reference to it: the tracker ends on the main thread.
class HeadphoneMotionManager::Delegate : public HeadphoneMotionDelegate {
public:
    Delegate(std::weak_ptr<HeadphoneMotionManager> tracker, DispatchQueue& mainQueue, Log& log)
        : tracker_(std::move(tracker)), mainQueue_(mainQueue), log_(log) {}

    void headphoneMotionManagerDidConnect() override {
        log_.line("🎧 Headphones connected");
        post(true);
    }

    void headphoneMotionManagerDidDisconnect() override {
        log_.line("🎧 Headphones disconnected");
        post(false);
    }

private:
    void post(bool connected) {
        mainQueue_.async([weakTracker = tracker_, connected] {
            if (const auto tracker = weakTracker.lock()) {
                tracker->connectionChanged(connected);
            }
        });
    }

    std::weak_ptr<HeadphoneMotionManager> tracker_;
    DispatchQueue& mainQueue_;
    Log& log_;
};

std::shared_ptr<HeadphoneMotionManager> HeadphoneMotionManager::create(
    HeadphoneMotion& headphoneMotion, UserDefaults& userDefaults, Dispatch& dispatch, Log& log) {
    // GCOVR_EXCL_START: the compiler counts this line only where an exception leaves the function.
    auto tracker = std::make_shared<HeadphoneMotionManager>(Private{}, headphoneMotion,
                                                            userDefaults, dispatch, log);
    // GCOVR_EXCL_STOP
    tracker->delegate_ = std::make_shared<Delegate>(tracker, dispatch.mainQueue(), log);
    headphoneMotion.setDelegate(tracker->delegate_);
    tracker->isAvailable = headphoneMotion.isDeviceMotionAvailable();
    tracker->checkConnectionStatus();
    return tracker;
}

HeadphoneMotionManager::HeadphoneMotionManager(Private /*key*/, HeadphoneMotion& headphoneMotion,
                                               UserDefaults& userDefaults, Dispatch& dispatch,
                                               Log& log)
    : calibration(userDefaults),
      headphoneMotionManager_(headphoneMotion),
      dispatch_(dispatch),
      log_(log) {}

HeadphoneMotionManager::~HeadphoneMotionManager() {
    headphoneMotionManager_.stopDeviceMotionUpdates();
}

void HeadphoneMotionManager::checkConnectionStatus() {
    const bool wasConnected = isConnected.get();
    const bool connected = headphoneMotionManager_.isDeviceMotionAvailable();
    isConnected = connected;
    if (connected != wasConnected) {
        onConnectionChanged(connected);
    }
}

void HeadphoneMotionManager::connectionChanged(bool connected) {
    isConnected = connected;
    onConnectionChanged(connected);
}

void HeadphoneMotionManager::start() {
    if (!headphoneMotionManager_.isDeviceMotionAvailable()) {
        log_.line("⚠️ Headphone motion is not available");
        return;
    }
    if (headphoneMotionManager_.isDeviceMotionActive()) {
        log_.line("⚠️ Headphone motion already active");
        return;
    }
    headphoneMotionManager_.startDeviceMotionUpdates(
        dispatch_.mainQueue(),
        [weakTracker = weak_from_this()](const std::shared_ptr<const DeviceMotion>& sample,
                                         const std::optional<Error>& error) {
            if (const auto tracker = weakTracker.lock()) {
                tracker->receive(sample, error);
            }
        });
}

void HeadphoneMotionManager::stop() {
    headphoneMotionManager_.stopDeviceMotionUpdates();
    onMotionUpdate = nullptr;
    onConnectionChanged = nullptr;
}

void HeadphoneMotionManager::setOffset() {
    if (!calibration.data) {
        return;
    }
    calibration.idleQuaternion = conjugate(calibration.data->attitude.quaternion);
    calibration.storeCalibration();
}

void HeadphoneMotionManager::resetOffset() {
    calibration.restoreCalibration();
}

void HeadphoneMotionManager::receive(const std::shared_ptr<const DeviceMotion>& sample,
                                     const std::optional<Error>& error) {
    assert(dispatch_.mainQueue().isCurrent());
    if (error) {
        log_.line("❌ Headphone motion error: " + error->description);
        return;
    }
    if (!sample) {
        return;
    }
    calibration.update(sample);
    const CMQuaternion corrected = calibration.apply(sample->attitude.quaternion);
    // The angles' forward axis is x, while the attitude's is y.
    const CMQuaternion remapped{
        .x = corrected.y, .y = -corrected.x, .z = corrected.z, .w = corrected.w};
    const TaitBryan angles = toTaitBryan(remapped);

    // Turning left and looking down are positive rotations there, but negative pan and tilt.
    const auto newPan = static_cast<float>(angles.yaw * -180 / std::numbers::pi);
    const auto newTilt = static_cast<float>(angles.pitch * -180 / std::numbers::pi);
    const auto newRoll = static_cast<float>(angles.roll * 180 / std::numbers::pi);
    pan = newPan;
    tilt = newTilt;
    roll = newRoll;
    onMotionUpdate(newPan, newTilt, newRoll);
}

}  // namespace velmaro
