#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "backends/hid/FakeSystem.h"
#include "backends/hid/HeadTracker.h"
#include "backends/motion/Live.h"
#include "fakes/Diagnostics.h"
#include "fakes/Dispatch.h"

namespace velmaro {
namespace {

using live::eventually;
using namespace std::chrono_literals;

class Tracker : public testing::Test {
protected:
    MotionThread& make() {
        motion = std::make_unique<MotionThread>(
            "test", std::make_unique<HeadTracker>(system.door(), diagnostics, timing), 10s);
        motion->setDelegate(listener);
        return *motion;
    }
    void start() {
        motion->startDeviceMotionUpdates(queue, [this](const auto& sample, const auto& error) {
            if (error) {
                errors.push_back(error->description);
            } else {
                turns.push_back(sample->attitude.quaternion.z);
            }
        });
    }
    bool receives(std::size_t count) {
        return eventually([&] {
            queue.run();
            return turns.size() >= count;
        });
    }
    static std::shared_ptr<FakeTracker> tracker() { return std::make_shared<FakeTracker>(); }

    FakeSystem system;
    fakes::CapturedDiagnostics diagnostics;
    HeadTrackerTiming timing;
    fakes::HandCrankedQueue queue{"delivery"};
    const std::shared_ptr<live::Listener> listener = std::make_shared<live::Listener>();
    std::vector<double> turns;
    std::vector<std::string> errors;
    std::unique_ptr<MotionThread> motion;
};

TEST_F(Tracker, NothingThereIsNothing) {
    EXPECT_FALSE(make().isDeviceMotionAvailable());
}

TEST_F(Tracker, FindsWhatIsThereAndStartsAndStopsIt) {
    const auto device = system.plug("hidraw3", tracker());
    EXPECT_TRUE(make().isDeviceMotionAvailable());
    EXPECT_EQ(device->control(), (Bytes{1, 0x80})) << "not before it is wanted";
    device->send(kTurned);
    start();
    EXPECT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    device->send(kTurned);
    device->send(kTurned);
    ASSERT_TRUE(receives(2));
    EXPECT_NEAR(turns[0], 0.087137, 5e-7);
    motion->stopDeviceMotionUpdates();
    EXPECT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2}; }));
    start();
    EXPECT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    motion.reset();
    EXPECT_EQ(device->control(), (Bytes{1, 21 << 2})) << "it is stopped at the end";
    EXPECT_TRUE(errors.empty());
}

TEST_F(Tracker, PassesOverOtherDevices) {
    system.plug("hidraw0", std::make_shared<FakeTracker>(fromHex(
                               "05 01 09 02 A1 01 09 30 15 81 25 7F 75 08 95 02 81 06 C0")));
    system.plug("hidraw1", std::make_shared<FakeTracker>(fromHex("A1")));
    system.plug("hidraw2",
                std::make_shared<FakeTracker>(trackerDescriptor(), "#AnotherTracker#1.0"));
    system.plug("sensor3", tracker());
    EXPECT_FALSE(make().isDeviceMotionAvailable());
    system.plug("hidraw4", tracker());
    EXPECT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
}

TEST_F(Tracker, SeesDevicesComeAndGo) {
    make();
    const auto device = system.plug("hidraw0", tracker());
    ASSERT_TRUE(eventually([&] { return listener->connections == 1; }));
    start();
    ASSERT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    system.unplug("hidraw0");
    ASSERT_TRUE(eventually([&] { return listener->disconnections == 1; }));
    EXPECT_FALSE(motion->isDeviceMotionAvailable());
    EXPECT_TRUE(motion->isDeviceMotionActive());

    const auto again = system.plug("hidraw1", tracker());
    ASSERT_TRUE(eventually([&] { return listener->connections == 2; }));
    EXPECT_TRUE(eventually([&] {
        return again->control() == Bytes{1, 21 << 2 | 3};
    })) << "motion goes on by itself";
    again->send(kTurned);
    EXPECT_TRUE(receives(1));
}

TEST_F(Tracker, TakesTheNextWhenOneGoes) {
    system.plug("hidraw0", tracker());
    const auto second = system.plug("hidraw1", tracker());
    make();
    EXPECT_FALSE(second->isOpen());
    system.unplug("hidraw0");
    EXPECT_TRUE(eventually([&] { return second->isOpen() && motion->isDeviceMotionAvailable(); }));
}

TEST_F(Tracker, ReportsARefusalOnceAndSeesItLifted) {
    const auto device = tracker();
    device->openError = EACCES;
    system.plug("hidraw0", device);
    EXPECT_FALSE(make().isDeviceMotionAvailable());
    system.grantAccess("hidraw0");
    EXPECT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
    motion.reset();
    ASSERT_EQ(diagnostics.all().size(), 1U);
    const Diagnostic reported = diagnostics.all().front();
    EXPECT_NE(reported.text.find("Tracker at hidraw0"), std::string::npos) << reported.text;
    EXPECT_NE(reported.text.find("cannot be opened: Permission denied"), std::string::npos);
    EXPECT_EQ(reported.advice, "install the udev rule of docs/headphones.md");
}

TEST_F(Tracker, AsksAgainWhatDoesNotAnswerYet) {
    timing = {.retry = 10ms};
    const auto device = tracker();
    device->refusedFeatures = 2;
    system.plug("hidraw0", device);
    make();
    EXPECT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
    EXPECT_TRUE(diagnostics.all().empty());
}

TEST_F(Tracker, AsksOnAndOnWhatIsSilentAndReportsItOnce) {
    timing = {.retry = 1ms, .longestRetry = 4ms};
    const auto device = tracker();
    device->refusedFeatures = 20;
    system.plug("hidraw0", device);
    EXPECT_FALSE(make().isDeviceMotionAvailable());
    EXPECT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
    ASSERT_EQ(diagnostics.lines().size(), 1U);
    EXPECT_EQ(diagnostics.lines()[0],
              "the head tracker \"Tracker at hidraw0\" at " + system.path("hidraw0") +
                  " does not answer; it will be asked again, ever more slowly: connect it anew if "
                  "it stays silent");
}

TEST_F(Tracker, AsksEverMoreSlowly) {
    timing = {.retry = 1ms, .longestRetry = 1h};
    const auto device = tracker();
    device->refusedFeatures = 7;
    system.plug("hidraw0", device);
    const auto begin = std::chrono::steady_clock::now();
    make();
    ASSERT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 127ms) << "1 + 2 + 4 + ... + 64";
}

TEST_F(Tracker, AnUnknownMarkIsReportedOnceForEachConnection) {
    const auto other = [] {
        return std::make_shared<FakeTracker>(trackerDescriptor(), "#AndroidHeadTracker#9.0");
    };
    system.plug("hidraw0", other());
    EXPECT_FALSE(make().isDeviceMotionAvailable());
    system.touch("hidraw0");
    system.plug("hidraw1", tracker());
    ASSERT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
    ASSERT_EQ(diagnostics.lines().size(), 1U);
    EXPECT_NE(diagnostics.lines()[0].find("\"Tracker at hidraw0\""), std::string::npos);
    EXPECT_NE(diagnostics.lines()[0].find("no mark of a version of the protocol that is known"),
              std::string::npos);
    system.unplug("hidraw0");
    system.unplug("hidraw1");
    ASSERT_TRUE(eventually([&] { return !motion->isDeviceMotionAvailable(); }));
    system.plug("hidraw0", other());
    EXPECT_TRUE(eventually([&] { return diagnostics.lines().size() == 2; }));
}

TEST_F(Tracker, AControlThatCannotBeReadIsStillWritten) {
    const auto device = tracker();
    device->features.erase(1);
    system.plug("hidraw0", device);
    make();
    start();
    EXPECT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
}

TEST_F(Tracker, ARefusedStartIsAnError) {
    const auto device = tracker();
    device->refusesControl = true;
    system.plug("hidraw0", device);
    make();
    start();
    EXPECT_TRUE(eventually([&] {
        queue.run();
        return errors.size() == 1;
    }));
    EXPECT_NE(errors.at(0).find("Tracker at hidraw0"), std::string::npos);
}

TEST_F(Tracker, ANewFrameOfReferenceIsReported) {
    const auto device = system.plug("hidraw0", tracker());
    make();
    start();
    ASSERT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    device->send(kTurned);
    Bytes reset = kTurned;
    reset.back() = 1;
    device->send(reset);
    device->send(reset);
    EXPECT_TRUE(receives(3));
    EXPECT_EQ(diagnostics.lines(),
              (std::vector<std::string>{
                  "the head tracker has a new frame of reference: set the offset anew"}));
}

TEST_F(Tracker, OtherReportsArePassedOver) {
    const auto device = system.plug("hidraw0", tracker());
    make();
    start();
    ASSERT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    Bytes other = kTurned;
    other[0] = 9;
    device->send(other);
    device->send(kTurned);
    EXPECT_TRUE(receives(1));
    EXPECT_EQ(turns.size(), 1U);
}

/// One that hangs, at the latest until the test ends.
class HangingTracker : public Tracker {
protected:
    void hang() { device->hangs.store(true); }
    void TearDown() override {
        device->hangs.store(false);
        motion.reset();
    }
    /// True once the head tracker has gone although its device still hangs.
    bool ends() {
        std::atomic<bool> hasEnded = false;
        std::thread end([&] {
            motion.reset();
            hasEnded.store(true);
        });
        const bool result = eventually([&] { return hasEnded.load(); });
        device->hangs.store(false);
        end.join();
        return result;
    }

    const std::shared_ptr<FakeTracker> device = tracker();
};

TEST_F(HangingTracker, HoldsUpNoStop) {
    system.plug("hidraw3", device);
    make();
    start();
    ASSERT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    hang();
    motion->stopDeviceMotionUpdates();
    EXPECT_FALSE(motion->isDeviceMotionActive());
    device->hangs.store(false);
    EXPECT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2}; }));
}

TEST_F(HangingTracker, DoesNotKeepTheEndWaitingForItsStop) {
    system.plug("hidraw3", device);
    make();
    start();
    ASSERT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    hang();
    EXPECT_TRUE(ends());
}

TEST_F(HangingTracker, DoesNotKeepTheEndWaitingForItsStart) {
    system.plug("hidraw3", device);
    make();
    hang();
    start();
    EXPECT_TRUE(ends());
}

TEST_F(HangingTracker, DoesNotKeepTheEndWaitingForWhatItIs) {
    make();
    hang();
    system.plug("hidraw3", device);
    ASSERT_TRUE(eventually([&] { return device->isOpen(); }));
    EXPECT_TRUE(ends());
}

}  // namespace
}  // namespace velmaro
