#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "fakes/Dispatch.h"
#include "fakes/HeadphoneMotion.h"
#include "fakes/Log.h"
#include "fakes/UserDefaults.h"
#include "headphones/HeadphoneMotionManager.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

using Angles = std::vector<float>;

std::uint32_t bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

/// A rotation of `degrees` about one axis.
CMQuaternion about(char axis, double degrees) {
    const double half = degrees * std::numbers::pi / 360;
    CMQuaternion q{0, 0, 0, std::cos(half)};
    (axis == 'x' ? q.x : axis == 'y' ? q.y : q.z) = std::sin(half);
    return q;
}

class MotionManager : public testing::Test {
protected:
    std::shared_ptr<HeadphoneMotionManager> make() {
        return HeadphoneMotionManager::create(motion, settings, dispatch, log);
    }
    std::shared_ptr<HeadphoneMotionManager> makeStarted() {
        motion.available = true;
        auto tracker = make();
        tracker->onMotionUpdate = [this](float pan, float tilt, float roll) {
            updates.push_back({pan, tilt, roll});
        };
        tracker->start();
        return tracker;
    }
    void expectUpdate(float pan, float tilt, float roll, float tolerance = 1e-5F) {
        ASSERT_EQ(updates.size(), 1U);
        EXPECT_NEAR(updates[0][0], pan, tolerance);
        EXPECT_NEAR(updates[0][1], tilt, tolerance);
        EXPECT_NEAR(updates[0][2], roll, tolerance);
        updates.clear();
    }

    fakes::ScriptedHeadphoneMotion motion;
    fakes::MemoryUserDefaults settings;
    fakes::HandCrankedDispatch dispatch;
    fakes::CapturedLog log;
    std::vector<Angles> updates;
};

TEST_F(MotionManager, BeginsDisconnectedWithoutMotion) {
    const auto tracker = make();
    EXPECT_FALSE(tracker->isAvailable.get());
    EXPECT_FALSE(tracker->isConnected.get());
    EXPECT_EQ(tracker->pan.get(), 0);
    EXPECT_EQ(tracker->tilt.get(), 0);
    EXPECT_EQ(tracker->roll.get(), 0);
    EXPECT_FALSE(tracker->onMotionUpdate);
    EXPECT_FALSE(tracker->onConnectionChanged);
    EXPECT_FALSE(motion.delegate.expired());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(MotionManager, BeginsConnectedWhenMotionIsAvailable) {
    motion.available = true;
    const auto tracker = make();
    EXPECT_TRUE(tracker->isAvailable.get());
    EXPECT_TRUE(tracker->isConnected.get());
    EXPECT_EQ(motion.startCount, 0);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(MotionManager, RestoresTheRestPoseWhenItIsMade) {
    settings.values["headphoneCalibration"] =
        R"({"calibrationW":1,"calibrationX":0,"calibrationY":0,"calibrationZ":0,)"
        R"("idleW":0.5,"idleX":0.25,"idleY":0,"idleZ":0})";
    EXPECT_EQ(make()->calibration.idleQuaternion, (CMQuaternion{0.25, 0, 0, 0.5}));
}

TEST_F(MotionManager, TellsOfAChangedAvailabilityOnce) {
    const auto tracker = make();
    std::vector<bool> calls;
    tracker->onConnectionChanged = [&](bool connected) {
        EXPECT_EQ(tracker->isConnected.get(), connected);
        calls.push_back(connected);
    };
    tracker->checkConnectionStatus();
    EXPECT_TRUE(calls.empty());
    motion.available = true;
    tracker->checkConnectionStatus();
    tracker->checkConnectionStatus();
    EXPECT_EQ(calls, (std::vector<bool>{true}));
    EXPECT_FALSE(tracker->isAvailable.get());
    motion.available = false;
    tracker->checkConnectionStatus();
    tracker->checkConnectionStatus();
    EXPECT_EQ(calls, (std::vector<bool>{true, false}));
}

TEST_F(MotionManager, PublishesTheConnectionAtEveryCheck) {
    const auto tracker = make();
    std::vector<bool> published;
    const Subscription subscription =
        tracker->isConnected.observe([&](bool connected) { published.push_back(connected); });
    tracker->checkConnectionStatus();
    EXPECT_EQ(published, (std::vector<bool>{false, false}));
}

TEST_F(MotionManager, TellsOfEveryConnectionEvent) {
    const auto tracker = make();
    std::vector<bool> calls;
    tracker->onConnectionChanged = [&](bool connected) { calls.push_back(connected); };
    motion.connect();
    EXPECT_EQ(log.take(), (std::vector<std::string>{"🎧 Headphones connected"}));
    EXPECT_FALSE(tracker->isConnected.get()) << "before the hop to the main queue";
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(dispatch.main.run(), 1);
    EXPECT_TRUE(tracker->isConnected.get());
    motion.connect();
    dispatch.main.run();
    EXPECT_EQ(calls, (std::vector<bool>{true, true}));
    log.take();

    motion.disconnect();
    EXPECT_EQ(log.take(), (std::vector<std::string>{"🎧 Headphones disconnected"}));
    motion.disconnect();
    EXPECT_TRUE(tracker->isConnected.get());
    dispatch.main.run();
    EXPECT_FALSE(tracker->isConnected.get());
    EXPECT_EQ(calls, (std::vector<bool>{true, true, false, false}));
}

TEST_F(MotionManager, PrintsConnectionEventsOnTheThreadThatBringsThem) {
    struct ThreadLog : Log {
        void line(std::string_view) override { thread = std::this_thread::get_id(); }
        std::thread::id thread;
    } threadLog;
    const auto tracker = HeadphoneMotionManager::create(motion, settings, dispatch, threadLog);
    std::thread source([&] { motion.connect(); });
    const std::thread::id sourceId = source.get_id();
    source.join();
    EXPECT_EQ(threadLog.thread, sourceId);
    EXPECT_EQ(dispatch.main.pending(), 1U);
}

TEST_F(MotionManager, RefusesToStartWithoutMotion) {
    const auto tracker = make();
    tracker->start();
    EXPECT_EQ(log.take(), (std::vector<std::string>{"⚠️ Headphone motion is not available"}));
    EXPECT_FALSE(motion.active);
    EXPECT_EQ(motion.startCount, 0);
    // Availability is asked for first.
    motion.active = true;
    tracker->start();
    EXPECT_EQ(log.take(), (std::vector<std::string>{"⚠️ Headphone motion is not available"}));
}

TEST_F(MotionManager, AsksForAvailabilityAtEveryStart) {
    const auto tracker = make();
    motion.available = true;
    tracker->start();
    EXPECT_TRUE(motion.active);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(MotionManager, StartsOnceOnTheMainQueue) {
    const auto tracker = makeStarted();
    EXPECT_TRUE(motion.active);
    EXPECT_EQ(motion.startedOn, &dispatch.main);
    EXPECT_TRUE(log.lines.empty());
    tracker->start();
    EXPECT_EQ(log.take(), (std::vector<std::string>{"⚠️ Headphone motion already active"}));
    EXPECT_EQ(motion.startCount, 1);
}

TEST_F(MotionManager, AtTheIdentityReadsZero) {
    const auto tracker = makeStarted();
    motion.deliver(CMQuaternion{});
    EXPECT_EQ(updates, (std::vector<Angles>{{0, 0, 0}}));
    EXPECT_EQ(tracker->pan.get(), 0);
    EXPECT_EQ(tracker->tilt.get(), 0);
    EXPECT_EQ(tracker->roll.get(), 0);
}

TEST_F(MotionManager, ReadsTheThreeRotationsOfTheHead) {
    const auto tracker = makeStarted();
    motion.deliver(about('y', 10));
    expectUpdate(0, 0, 10);
    motion.deliver(about('x', 10));
    expectUpdate(0, 10, 0);
    motion.deliver(about('z', 10));
    expectUpdate(-10, 0, 0);
    EXPECT_NEAR(tracker->pan.get(), -10, 1e-5);
}

TEST_F(MotionManager, ConvertsInDoubleMultiplyingFirst) {
    const auto tracker = makeStarted();
    const CMQuaternion q{0.1, -0.25, 0.31, 0.9113};
    motion.deliver(q);
    const TaitBryan angles = toTaitBryan({q.y, -q.x, q.z, q.w});
    EXPECT_EQ(
        updates,
        (std::vector<Angles>{{static_cast<float>((angles.yaw * -180.0) / 3.141592653589793),
                              static_cast<float>((angles.pitch * -180.0) / 3.141592653589793),
                              static_cast<float>((angles.roll * 180.0) / 3.141592653589793)}}));
}

TEST_F(MotionManager, AnglesAreTheseToTheBit) {
    const auto tracker = makeStarted();
    motion.deliver(CMQuaternion{0.1, -0.25, 0.31, 0.9113});
    motion.deliver(CMQuaternion{-0.41, 0.12, 0.73, -0.53});
    tracker->calibration.idleQuaternion = {-0.2, 0.33, 0.9, 0.11};
    tracker->calibration.calibration = {0.1, 0.7, -0.3, 0.61};
    motion.deliver(CMQuaternion{0.3, 0.4, -0.5, 0.6});
    const std::vector<std::vector<std::uint32_t>> expected{
        // About -37.978, 1.562 and -31.192 degrees,
        {0xC217E94C, 0x3FC7F21F, 0xC1F989E5},
        // 120.761, 37.575 and 36.589,
        {0x42F185C0, 0x42164CD8, 0x42125AEE},
        // 104.117, -5.151 and -26.988.
        {0x42D03BCA, 0xC0A4D3FA, 0xC1D7E798}};
    ASSERT_EQ(updates.size(), expected.size());
    for (std::size_t sample = 0; sample < expected.size(); ++sample) {
        for (std::size_t angle = 0; angle < 3; ++angle) {
            EXPECT_EQ(bits(updates[sample][angle]), expected[sample][angle])
                << updates[sample][angle];
        }
    }
}

// The double of each angle lies beside the middle between two floats, so that its last bit decides
// which of them is published: a quotient of the constants, taken first, gives the other one. The
// arctangents and arcsines are within 1/25 of a double's last bit, the same with every library.
TEST_F(MotionManager, MultipliesBeforeItDividesToTheLastBitOfADouble) {
    const auto tracker = makeStarted();
    struct Row {
        std::size_t angle;
        CMQuaternion attitude;
        std::uint32_t expected;
    };
    for (const Row& row :
         {Row{0, {0, 0, 0x1.7055419dbe033p-1, 0x1.63a2075bc6f2cp-1}, 0xC2B8051F},
          Row{0, {0, 0, -0x1.d2497e1d44c05p-1, 0x1.a6f19b026477bp-2}, 0x43033591},
          Row{1, {0x1.bdcfe201b7e4dp-3, 0, 0, 0x1.f3b8dec5a0181p-1}, 0x41C92A9B},
          Row{1, {-0x1.14e6c7a772614p-2, 0, 0, 0x1.ecece329f5265p-1}, 0xC1FB052A},
          Row{2, {0, 0x1.9b0e1764206a8p-1, 0, 0x1.3140142d41b69p-1}, 0x42D59C01},
          Row{2, {0, -0x1.f895d010d8b15p-1, 0, 0x1.5b4804bdae15ap-3}, 0xC3207968}}) {
        motion.deliver(row.attitude);
        EXPECT_EQ(bits(updates.back()[row.angle]), row.expected) << updates.back()[row.angle];
    }
}

TEST_F(MotionManager, PanAndRollChangeTheirSignAtTheSeamBehind) {
    const auto tracker = makeStarted();
    const double straight = 1;
    const double little = 1e-4;
    motion.deliver(CMQuaternion{0, 0, straight, 0});
    EXPECT_EQ(bits(updates.back()[0]), bits(-180.0F));
    EXPECT_EQ(bits(tracker->pan.get()), bits(-180.0F));
    motion.deliver(CMQuaternion{0, 0, -straight, 0});
    EXPECT_EQ(bits(updates.back()[0]), bits(180.0F));
    motion.deliver(CMQuaternion{0, 0, straight, little});
    EXPECT_EQ(bits(updates.back()[0]), 0xC333FD11U) << "-179.98854";
    motion.deliver(CMQuaternion{0, 0, straight, -little});
    EXPECT_EQ(bits(updates.back()[0]), 0x4333FD11U) << "179.98854";
    motion.deliver(CMQuaternion{0, straight, 0, 0});
    EXPECT_EQ(bits(updates.back()[2]), bits(180.0F));
    motion.deliver(CMQuaternion{0, straight, 0, little});
    EXPECT_EQ(bits(updates.back()[2]), 0x4333FD11U) << "179.98854";
    motion.deliver(CMQuaternion{0, straight, 0, -little});
    EXPECT_EQ(bits(updates.back()[2]), 0xC333FD11U) << "-179.98854";
    // So near to the seam that it is half a turn itself, of either sign.
    const double least = 1e-9;
    motion.deliver(CMQuaternion{0, straight, 0, least});
    EXPECT_EQ(bits(updates.back()[2]), bits(180.0F));
    motion.deliver(CMQuaternion{0, straight, 0, -least});
    EXPECT_EQ(bits(updates.back()[2]), bits(-180.0F));
    EXPECT_EQ(bits(tracker->roll.get()), bits(-180.0F));
}

TEST_F(MotionManager, IsMadeStartedAndStoppedInOrder) {
    std::vector<std::string> trace;
    motion.trace = &trace;
    motion.available = true;
    auto tracker = make();
    EXPECT_EQ(trace, (std::vector<std::string>{"setDelegate", "isDeviceMotionAvailable",
                                               "isDeviceMotionAvailable"}));
    tracker->onMotionUpdate = [](float, float, float) {};
    tracker->onConnectionChanged = [](bool) {};
    trace.clear();
    tracker->start();
    EXPECT_EQ(trace,
              (std::vector<std::string>{"isDeviceMotionAvailable", "startDeviceMotionUpdates"}));
    trace.clear();
    motion.onStop = [&] {
        EXPECT_TRUE(tracker->onMotionUpdate) << "removed before the motion was stopped";
        EXPECT_TRUE(tracker->onConnectionChanged) << "removed before the motion was stopped";
    };
    tracker->stop();
    motion.onStop = nullptr;
    EXPECT_EQ(trace, (std::vector<std::string>{"stopDeviceMotionUpdates"}));
    trace.clear();
    tracker.reset();
    EXPECT_EQ(trace, (std::vector<std::string>{"stopDeviceMotionUpdates"}));
}

TEST_F(MotionManager, AsksForAvailabilityFirstAndForTheConnectionThen) {
    struct GoneAtOnce : fakes::ScriptedHeadphoneMotion {
        [[nodiscard]] bool isDeviceMotionAvailable() const override { return asked++ == 0; }
        mutable int asked = 0;
    } goneAtOnce;
    const auto tracker = HeadphoneMotionManager::create(goneAtOnce, settings, dispatch, log);
    EXPECT_TRUE(tracker->isAvailable.get());
    EXPECT_FALSE(tracker->isConnected.get());
}

TEST_F(MotionManager, PublishesAvailabilityThenConnectionBeforeAnyCallback) {
    const auto tracker = make();
    motion.available = true;
    std::string order;
    const Subscription connection =
        tracker->isConnected.observe([&](bool) { order += "published "; });
    tracker->onConnectionChanged = [&](bool) { order += "told "; };
    order.clear();
    tracker->checkConnectionStatus();
    motion.disconnect();
    dispatch.main.run();
    EXPECT_EQ(order, "published told published told ");
}

TEST_F(MotionManager, ThePrintedLineComesBeforeThePost) {
    const auto tracker = make();
    struct QueueLog : Log {
        explicit QueueLog(fakes::HandCrankedQueue& queueToCount) : queue(queueToCount) {}
        void line(std::string_view) override { pending.push_back(queue.pending()); }
        fakes::HandCrankedQueue& queue;
        std::vector<std::size_t> pending;
    } queueLog(dispatch.main);
    const auto other = HeadphoneMotionManager::create(motion, settings, dispatch, queueLog);
    motion.connect();
    dispatch.main.run();
    motion.disconnect();
    EXPECT_EQ(queueLog.pending, (std::vector<std::size_t>{0, 0}));
}

TEST_F(MotionManager, TheSampleIsKeptBeforeItsAnglesArePublished) {
    const auto tracker = makeStarted();
    std::vector<bool> kept;
    const Subscription pan =
        tracker->pan.observe([&](float) { kept.push_back(tracker->calibration.data != nullptr); });
    motion.deliver(about('z', 30));
    EXPECT_EQ(kept, (std::vector<bool>{false, true}));
}

TEST_F(MotionManager, TheRestPoseIsSetBeforeItIsStoredAndNothingElseChanges) {
    const auto tracker = makeStarted();
    tracker->calibration.calibration = {0, 0, 1, 1};
    // Not of unit length, and so it stays.
    motion.deliver(CMQuaternion{0.5, -1, 2, 3});
    std::vector<std::string> trace;
    settings.trace = &trace;
    tracker->setOffset();
    EXPECT_EQ(trace, (std::vector<std::string>{"setData"}));
    EXPECT_EQ(tracker->calibration.idleQuaternion, (CMQuaternion{-0.5, 1, -2, 3}));
    EXPECT_EQ(tracker->calibration.calibration, (CMQuaternion{0, 0, 1, 1}));
    EXPECT_EQ(settings.values["headphoneCalibration"],
              R"({"calibrationW":1,"calibrationX":0,"calibrationY":0,"calibrationZ":1,)"
              R"("idleW":3,"idleX":-0.5,"idleY":1,"idleZ":-2})");
    tracker->resetOffset();
    EXPECT_EQ(settings.storeCount, 1);
}

TEST_F(MotionManager, PublishesPanThenTiltThenRollThenCallsBack) {
    const auto tracker = makeStarted();
    std::string order;
    const auto note = [&](const char* name) { return [&order, name](float) { order += name; }; };
    const Subscription pan = tracker->pan.observe(note("pan "));
    const Subscription tilt = tracker->tilt.observe(note("tilt "));
    const Subscription roll = tracker->roll.observe(note("roll "));
    int changes = 0;
    const Subscription any = tracker->observeChanges([&] { ++changes; });
    tracker->onMotionUpdate = [&](float newPan, float newTilt, float newRoll) {
        EXPECT_EQ(newPan, tracker->pan.get());
        EXPECT_EQ(newTilt, tracker->tilt.get());
        EXPECT_EQ(newRoll, tracker->roll.get());
        order += "callback ";
    };
    order.clear();
    motion.deliver(about('z', 10));
    motion.deliver(about('z', 10));
    EXPECT_EQ(order, "pan tilt roll callback pan tilt roll callback ");
    EXPECT_EQ(changes, 6);
}

TEST_F(MotionManager, PublishesWithoutACallback) {
    const auto tracker = makeStarted();
    tracker->onMotionUpdate = nullptr;
    motion.deliver(about('x', 20));
    EXPECT_NEAR(tracker->tilt.get(), 20, 1e-5);
    EXPECT_TRUE(updates.empty());
}

TEST_F(MotionManager, PassesOnAnAngleThatIsNotANumber) {
    const auto tracker = makeStarted();
    // Remapped, y w - x z is 0.64.
    motion.deliver(CMQuaternion{-0.8, 0, 0, 0.8});
    ASSERT_EQ(updates.size(), 1U);
    EXPECT_TRUE(std::isnan(updates[0][1]));
    EXPECT_TRUE(std::isnan(tracker->tilt.get()));
    EXPECT_EQ(updates[0][0], -180);
    EXPECT_EQ(updates[0][2], 180);
}

TEST_F(MotionManager, AnErrorIsPrintedAndItsSampleIgnored) {
    const auto tracker = makeStarted();
    motion.deliver(about('z', -30));
    updates.clear();
    motion.deliver(std::make_shared<const DeviceMotion>(),
                   Error{.description = "link lost (7)", .localizedDescription = "Link lost."});
    motion.deliver(nullptr, Error{.description = "again", .localizedDescription = ""});
    EXPECT_EQ(log.take(), (std::vector<std::string>{"❌ Headphone motion error: link lost (7)",
                                                    "❌ Headphone motion error: again"}));
    EXPECT_TRUE(updates.empty());
    EXPECT_NEAR(tracker->pan.get(), 30, 1e-5);
    EXPECT_EQ(tracker->calibration.data->attitude.quaternion, about('z', -30));
    EXPECT_TRUE(motion.active);
}

TEST_F(MotionManager, NothingDeliveredIsNothingDone) {
    const auto tracker = makeStarted();
    motion.deliver(nullptr);
    EXPECT_TRUE(updates.empty());
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(tracker->calibration.data, nullptr);
}

TEST_F(MotionManager, ReadsZeroAtTheRestPose) {
    const auto tracker = makeStarted();
    const CMQuaternion rest = about('z', 40) * about('x', 10) * about('y', -25);
    motion.deliver(rest);
    tracker->setOffset();
    EXPECT_EQ(tracker->calibration.idleQuaternion, conjugate(rest));
    EXPECT_EQ(settings.storeCount, 1);
    updates.clear();
    motion.deliver(rest);
    expectUpdate(0, 0, 0);
    motion.deliver(rest * about('z', -15));
    expectUpdate(15, 0, 0);
}

TEST_F(MotionManager, MeasuresAlongTheAxesOfTheRestPose) {
    const auto tracker = makeStarted();
    motion.deliver(about('z', -40) * about('x', 10));
    tracker->setOffset();
    updates.clear();
    motion.deliver(about('z', -60) * about('x', 10));
    expectUpdate(19.68F, 0.59F, -3.41F, 0.01F);
}

TEST_F(MotionManager, AppliesTheAlignmentOfItsCalibration) {
    const auto tracker = makeStarted();
    tracker->calibration.calibration = about('z', 90);
    motion.deliver(about('x', 10));
    expectUpdate(0, 0, -10);
}

TEST_F(MotionManager, WithoutASampleThereIsNoRestPose) {
    const auto tracker = makeStarted();
    tracker->setOffset();
    EXPECT_EQ(tracker->calibration.idleQuaternion, CMQuaternion{});
    EXPECT_EQ(settings.storeCount, 0);
}

TEST_F(MotionManager, ResetReturnsToTheRestPoseStoredLast) {
    const auto tracker = makeStarted();
    motion.deliver(about('z', 40));
    tracker->setOffset();
    tracker->resetOffset();
    EXPECT_EQ(tracker->calibration.idleQuaternion, conjugate(about('z', 40)));

    tracker->calibration.idleQuaternion = {};
    tracker->resetOffset();
    EXPECT_EQ(tracker->calibration.idleQuaternion, conjugate(about('z', 40)));
}

TEST_F(MotionManager, ARestPoseOutlivesItsTracker) {
    makeStarted();
    {
        const auto tracker = makeStarted();
        motion.deliver(about('z', 40));
        tracker->setOffset();
    }
    const auto tracker = makeStarted();
    updates.clear();
    motion.deliver(about('z', 40));
    expectUpdate(0, 0, 0);
}

TEST_F(MotionManager, StopEndsTheMotionAndRemovesTheCallbacks) {
    const auto tracker = makeStarted();
    tracker->onConnectionChanged = [](bool) { FAIL() << "called after the stop"; };
    motion.deliver(about('z', 10));
    tracker->stop();
    EXPECT_FALSE(motion.active);
    EXPECT_EQ(motion.stopCount, 1);
    EXPECT_FALSE(tracker->onMotionUpdate);
    EXPECT_FALSE(tracker->onConnectionChanged);
    EXPECT_TRUE(tracker->isConnected.get());
    EXPECT_TRUE(tracker->isAvailable.get());
    EXPECT_NEAR(tracker->pan.get(), -10, 1e-5);
    motion.disconnect();
    dispatch.main.run();
    EXPECT_FALSE(tracker->isConnected.get());
}

TEST_F(MotionManager, TheCallbackOfMotionGoesBeforeThatOfConnections) {
    const auto tracker = makeStarted();
    std::string order;
    const auto whenReleased = [&order](const char* name) {
        return std::shared_ptr<void>(nullptr, [&order, name](void*) { order += name; });
    };
    tracker->onConnectionChanged = [held = whenReleased("connection ")](bool) {};
    tracker->onMotionUpdate = [held = whenReleased("motion ")](float, float, float) {};
    tracker->stop();
    EXPECT_EQ(order, "motion connection ");
}

TEST_F(MotionManager, MayBeStartedAgain) {
    const auto tracker = makeStarted();
    tracker->stop();
    tracker->start();
    EXPECT_TRUE(motion.active);
    EXPECT_EQ(motion.startCount, 2);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(MotionManager, StopsTheMotionWhenItEnds) {
    auto tracker = makeStarted();
    const fakes::ScriptedHeadphoneMotion::Handler handler = motion.handler;
    const std::weak_ptr<HeadphoneMotionManager> watch = tracker;
    motion.connect();
    log.take();
    tracker.reset();
    EXPECT_TRUE(watch.expired()) << "neither the handler nor a posted event holds it";
    EXPECT_FALSE(motion.active);
    EXPECT_TRUE(motion.delegate.expired());

    // What was already on its way finds nobody.
    dispatch.main.run();
    handler(std::make_shared<const DeviceMotion>(), std::nullopt);
    handler(nullptr, Error{.description = "late", .localizedDescription = ""});
    EXPECT_TRUE(updates.empty());
    EXPECT_TRUE(log.lines.empty());
}

}  // namespace
}  // namespace velmaro
