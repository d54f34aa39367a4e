#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "fakes/UserDefaults.h"
#include "headphones/HeadphoneCalibration.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

constexpr const char* kKey = "headphoneCalibration";
constexpr const char* kStored =
    R"({"calibrationW":0.5,"calibrationX":-0.5,"calibrationY":0.25,"calibrationZ":0.125,)"
    R"("idleW":0.75,"idleX":0.0625,"idleY":-0.03125,"idleZ":4})";
constexpr CMQuaternion kStoredCalibration{-0.5, 0.25, 0.125, 0.5};
constexpr CMQuaternion kStoredIdle{0.0625, -0.03125, 4, 0.75};

TEST(Calibration, BeginsAtTheIdentityOnTheFirstLaunch) {
    fakes::MemoryUserDefaults settings;
    const HeadphoneCalibration calibration(settings);
    EXPECT_EQ(calibration.calibration, CMQuaternion{});
    EXPECT_EQ(calibration.idleQuaternion, CMQuaternion{});
    EXPECT_EQ(calibration.data, nullptr);
    EXPECT_EQ(calibration.idleGravity.x, 0);
    EXPECT_EQ(calibration.idleGravity.y, 0);
    EXPECT_EQ(calibration.idleGravity.z, 0);
    EXPECT_EQ(calibration.calibrationStore(), "");
    EXPECT_EQ(settings.storeCount, 0);
}

TEST(Calibration, RestoresAStoredRecordWhenItIsMade) {
    fakes::MemoryUserDefaults settings;
    settings.values[kKey] = kStored;
    const HeadphoneCalibration calibration(settings);
    EXPECT_EQ(calibration.calibration, kStoredCalibration);
    EXPECT_EQ(calibration.idleQuaternion, kStoredIdle);
    EXPECT_EQ(calibration.calibrationStore(), kStored);
}

TEST(Calibration, StoresWhatItHoldsAtThatMoment) {
    fakes::MemoryUserDefaults settings;
    HeadphoneCalibration calibration(settings);
    calibration.calibration = kStoredCalibration;
    calibration.idleQuaternion = kStoredIdle;
    calibration.storeCalibration();
    EXPECT_EQ(settings.values[kKey], kStored);
    EXPECT_EQ(settings.values.size(), 1U);
    const HeadphoneCalibration next(settings);
    EXPECT_EQ(next.calibration, kStoredCalibration);
    EXPECT_EQ(next.idleQuaternion, kStoredIdle);
}

TEST(Calibration, TellsItsObserversBeforeTheStoredRecordChanges) {
    fakes::MemoryUserDefaults settings;
    HeadphoneCalibration calibration(settings);
    int changes = 0;
    const Subscription subscription = calibration.observeChanges([&] {
        ++changes;
        EXPECT_EQ(calibration.calibrationStore(), "");
    });
    calibration.restoreCalibration();
    EXPECT_EQ(changes, 0);
    calibration.storeCalibration();
    EXPECT_EQ(changes, 1);
}

TEST(Calibration, AnUnreadableRecordChangesNothing) {
    fakes::MemoryUserDefaults settings;
    settings.values[kKey] = kStored;
    HeadphoneCalibration calibration(settings);
    std::string withoutIdleW = kStored;
    withoutIdleW.replace(withoutIdleW.find("idleW"), 5, "idle?");
    for (const std::string& record :
         {std::string(), std::string("{"), withoutIdleW, std::string("[1,0,0,0,1,0,0,0]")}) {
        settings.values[kKey] = record;
        calibration.restoreCalibration();
        EXPECT_EQ(calibration.calibration, kStoredCalibration) << record;
        EXPECT_EQ(calibration.idleQuaternion, kStoredIdle) << record;
    }
    EXPECT_EQ(settings.storeCount, 0);
}

TEST(Calibration, StoresNothingThatIsNotFinite) {
    fakes::MemoryUserDefaults settings;
    settings.values[kKey] = kStored;
    HeadphoneCalibration calibration(settings);
    calibration.idleQuaternion.y = std::nan("");
    calibration.storeCalibration();
    calibration.idleQuaternion.y = 0;
    calibration.calibration.w = std::numeric_limits<double>::infinity();
    calibration.storeCalibration();
    EXPECT_EQ(settings.storeCount, 0);
    EXPECT_EQ(settings.values[kKey], kStored);
}

TEST(Calibration, KeepsGoingWhenTheSettingsCannotBeWritten) {
    fakes::MemoryUserDefaults settings;
    settings.values[kKey] = kStored;
    settings.writable = false;
    HeadphoneCalibration calibration(settings);
    calibration.idleQuaternion = {0, 0, 0, 1};
    calibration.storeCalibration();
    EXPECT_EQ(calibration.idleQuaternion, CMQuaternion{});
    calibration.restoreCalibration();
    EXPECT_EQ(calibration.idleQuaternion, kStoredIdle);
}

TEST(Calibration, ReleasesTheEarlierSample) {
    fakes::MemoryUserDefaults settings;
    HeadphoneCalibration calibration(settings);
    auto first = std::make_shared<const DeviceMotion>();
    const std::weak_ptr<const DeviceMotion> watch = first;
    calibration.update(std::move(first));
    EXPECT_FALSE(watch.expired());
    calibration.update(std::make_shared<const DeviceMotion>());
    EXPECT_TRUE(watch.expired());
}

TEST(Calibration, AppliesTheRestPoseAndThenTheAlignment) {
    fakes::MemoryUserDefaults settings;
    HeadphoneCalibration calibration(settings);
    const CMQuaternion q{2, 3, 5, 7};
    EXPECT_EQ(calibration.apply(q), q);

    calibration.idleQuaternion = {11, 13, 17, 19};
    EXPECT_EQ(calibration.apply(q), (CMQuaternion{129, 127, 221, -13}));

    // A quarter turn about z, not of unit length: squared length 2.
    calibration.calibration = {0, 0, 1, 1};
    EXPECT_EQ(calibration.apply(q), (CMQuaternion{2 * 127, -2 * 129, 2 * 221, -2 * 13}));
}

TEST(Calibration, MultipliesTheAlignmentFromTheLeftFirst) {
    fakes::MemoryUserDefaults settings;
    HeadphoneCalibration calibration(settings);
    calibration.calibration = {0.1, 0.7, -0.3, 0.61};
    calibration.idleQuaternion = {-0.2, 0.33, 0.9, 0.11};
    const CMQuaternion q{0.17, -0.4, 0.23, 0.871};
    const CMQuaternion relative = calibration.idleQuaternion * q;
    const CMQuaternion left = conjugate(calibration.calibration) * relative;
    const CMQuaternion expected = left * calibration.calibration;
    EXPECT_EQ(calibration.apply(q), expected);
    EXPECT_NE(expected, conjugate(calibration.calibration) * (relative * calibration.calibration))
        << "these values do not tell the two orders apart";
}

}  // namespace
}  // namespace velmaro
