#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "backends/hid/FakeSystem.h"
#include "backends/hid/HeadTracker.h"
#include "backends/motion/Live.h"

namespace velmaro {
namespace {

using live::eventually;
using namespace std::chrono_literals;

const Bytes kTurned = fromHex("01 00 00 00 00 1C 07 00 00 00 00 00 00 00");

class Tracker : public testing::Test {
protected:
    MotionThread& make() {
        motion = std::make_unique<MotionThread>("test",
                                                std::make_unique<HeadTracker>(system.door()), 10s);
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
    live::LockedQueue queue;
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

TEST_F(Tracker, TellsARefusalOnceAndSeesItLifted) {
    const auto device = tracker();
    device->openError = EACCES;
    testing::internal::CaptureStderr();
    system.plug("hidraw0", device);
    EXPECT_FALSE(make().isDeviceMotionAvailable());
    system.grantAccess("hidraw0");
    EXPECT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
    motion.reset();
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find("Tracker at hidraw0"), std::string::npos) << told;
    EXPECT_NE(told.find("udev rule"), std::string::npos) << told;
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
}

TEST_F(Tracker, AsksAgainWhatDoesNotAnswerYet) {
    const auto device = tracker();
    device->refusedFeatures = 2;
    system.plug("hidraw0", device);
    EXPECT_FALSE(make().isDeviceMotionAvailable());
    EXPECT_TRUE(eventually([&] { return motion->isDeviceMotionAvailable(); }));
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

TEST_F(Tracker, ANewFrameOfReferenceIsTold) {
    const auto device = system.plug("hidraw0", tracker());
    make();
    start();
    ASSERT_TRUE(eventually([&] { return device->control() == Bytes{1, 21 << 2 | 3}; }));
    testing::internal::CaptureStderr();
    device->send(kTurned);
    Bytes reset = kTurned;
    reset.back() = 1;
    device->send(reset);
    device->send(reset);
    EXPECT_TRUE(receives(3));
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find("frame of reference"), std::string::npos);
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
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

}  // namespace
}  // namespace velmaro
