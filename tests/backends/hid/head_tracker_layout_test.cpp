#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "backends/hid/Descriptors.h"
#include "backends/hid/HeadTrackerLayout.h"
#include "fakes/Dispatch.h"
#include "fakes/HeadphoneMotion.h"
#include "fakes/Log.h"
#include "fakes/UserDefaults.h"
#include "headphones/HeadphoneMotionManager.h"

namespace velmaro {
namespace {

std::optional<HeadTrackerLayout> layoutOf(const Bytes& bytes) {
    auto descriptor = parseHidReportDescriptor(bytes);
    return descriptor ? HeadTrackerLayout::of(std::move(*descriptor)) : std::nullopt;
}

TEST(HeadTrackerLayout, ComesFromTheDescriptor) {
    const auto first = layoutOf(trackerDescriptor());
    ASSERT_TRUE(first);
    EXPECT_EQ(first->description().id, 2);
    EXPECT_EQ(first->description().size, 40U);
    ASSERT_EQ(first->controls().size(), 1U);
    EXPECT_EQ(first->controls()[0].id, 1);
    EXPECT_EQ(first->controls()[0].size, 2U);
    const auto second = layoutOf(secondTrackerDescriptor());
    ASSERT_TRUE(second);
    EXPECT_EQ(second->description().id, 7);
    EXPECT_EQ(second->description().size, 42U);
    ASSERT_EQ(second->controls().size(), 1U);
    EXPECT_EQ(second->controls()[0].id, 5);
    EXPECT_EQ(second->controls()[0].size, 3U);
}

TEST(HeadTrackerLayout, OtherDevicesAreNone) {
    EXPECT_FALSE(layoutOf({}));
    EXPECT_FALSE(layoutOf(fromHex("05 01 09 02 A1 01 09 30 15 81 25 7F 75 08 95 02 81 06 C0")));
    Bytes mouse = trackerDescriptor();
    mouse[3] = 0xE2;
    EXPECT_FALSE(layoutOf(mouse)) << "another application";
}

TEST(HeadTrackerLayout, AsksForTheMarker) {
    const auto layout = layoutOf(trackerDescriptor());
    ASSERT_TRUE(layout);
    EXPECT_TRUE(layout->isHeadTracker(markerReport(2, "#AndroidHeadTracker#1.0", 40)));
    EXPECT_TRUE(layout->isHeadTracker(markerReport(2, "#AndroidHeadTracker#2.0#3", 40)));
    EXPECT_FALSE(layout->isHeadTracker(markerReport(2, "#AndroidHeadTracker#3.0", 40)));
    EXPECT_FALSE(layout->isHeadTracker(markerReport(2, "#AndroidHeadtracker#1.0", 40)));
    EXPECT_FALSE(layout->isHeadTracker(markerReport(1, "#AndroidHeadTracker#1.0", 40)));
    EXPECT_FALSE(layout->isHeadTracker(markerReport(2, "#AndroidHeadTracker#", 21)));
    EXPECT_FALSE(layout->isHeadTracker({}));
}

TEST(HeadTrackerLayout, StartsAndStops) {
    const auto layout = layoutOf(trackerDescriptor());
    ASSERT_TRUE(layout);
    const Bytes description = markerReport(2, "#AndroidHeadTracker#1.0", 40);
    Bytes control{1, 0};
    EXPECT_TRUE(layout->setStart(control, 0.04, description));
    EXPECT_EQ(control, (Bytes{1, 21 << 2 | 3}));
    EXPECT_TRUE(layout->setStop(control));
    EXPECT_EQ(control, (Bytes{1, 21 << 2}));
    Bytes tooShort{1};
    EXPECT_FALSE(layout->setStart(tooShort, 0.04, description));
    EXPECT_FALSE(layout->setStop(tooShort));
    EXPECT_FALSE(layout->setStart({}, 0.04, description));
    EXPECT_FALSE(layout->setStop({}));
}

TEST(HeadTrackerLayout, ChoosesATransportThatTheDeviceHas) {
    const auto layout = layoutOf(secondTrackerDescriptor());
    ASSERT_TRUE(layout);
    for (const auto& [transports, expected] : {std::pair('1', 0), {'2', 1}, {'3', 0}}) {
        const Bytes description =
            markerReport(7, std::string("#AndroidHeadTracker#2.0#") + transports, 42);
        Bytes control{5, 0, 0xFF};
        EXPECT_TRUE(layout->setStart(control, 0.04, description));
        EXPECT_EQ(control[1], 21 << 2 | 3);
        EXPECT_EQ(control[2], 0xFE | expected) << "other bits stay";
    }
}

TEST(HeadTrackerLayout, WorksWithoutReportIds) {
    const auto layout = layoutOf(
        fromHex("05 20 09 E1 A1 01 0A 08 03 15 00 26 FF 00 75 08 95 17 B1 03 "
                "0A 44 05 16 01 80 26 FF 7F 37 60 4F 46 ED 47 A1 B0 B9 12 55 08 75 10 95 03 81 02 "
                "C0"));
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->description().id, 0);
    EXPECT_EQ(layout->description().size, 24U);
    EXPECT_TRUE(layout->isHeadTracker(markerReport(0, "#AndroidHeadTracker#1.0", 24)));
    EXPECT_TRUE(layout->controls().empty());
    const auto report = layout->decode(fromHex("00 00 00 00 1C 07"));
    ASSERT_TRUE(report);
    EXPECT_NEAR(report->rotation[2], 0.174496, 1e-6);
    EXPECT_FALSE(report->resetCounter);
}

TEST(HeadTrackerLayout, DecodesTheRotation) {
    const auto layout = layoutOf(trackerDescriptor());
    ASSERT_TRUE(layout);
    const auto report = layout->decode(kTurned);
    ASSERT_TRUE(report);
    EXPECT_NEAR(report->rotation[0], 0, 1e-8);
    EXPECT_NEAR(report->rotation[1], 0, 1e-8);
    EXPECT_NEAR(report->rotation[2], 1820 * 3.14159265 / 32767, 1e-8);
    EXPECT_EQ(report->resetCounter, 0);
    Bytes reset = kTurned;
    reset.back() = 200;
    EXPECT_EQ(layout->decode(reset)->resetCounter, 200);
}

TEST(HeadTrackerLayout, RefusesOtherReports) {
    const auto layout = layoutOf(trackerDescriptor());
    ASSERT_TRUE(layout);
    EXPECT_FALSE(layout->decode({}));
    for (std::size_t size = 0; size < 7; ++size) {
        EXPECT_FALSE(layout->decode({kTurned.data(), size})) << size;
    }
    Bytes other = kTurned;
    other[0] = 2;
    EXPECT_FALSE(layout->decode(other));
    Bytes none = kTurned;
    none[1] = 0x00;
    none[2] = 0x80;
    EXPECT_FALSE(layout->decode(none)) << "-32768 is outside the limits";
}

TEST(AttitudeFromRotationVector, TurnsAboutTheVector) {
    const auto q = attitudeFromRotationVector({0, 0, 1820 * 3.14159265 / 32767});
    EXPECT_NEAR(q.x, 0, 1e-9);
    EXPECT_NEAR(q.y, 0, 1e-9);
    EXPECT_NEAR(q.z, 0.087137, 5e-7);
    EXPECT_NEAR(q.w, 0.996196, 5e-7);
    const auto rest = attitudeFromRotationVector({0, 0, 0});
    EXPECT_EQ(rest.w, 1);
    EXPECT_EQ(rest.x, 0);
    const auto tiny = attitudeFromRotationVector({1e-9, 0, 0});
    EXPECT_EQ(tiny.x, 5e-10);
    const auto half = attitudeFromRotationVector({0, std::numbers::pi, 0});
    EXPECT_NEAR(half.y, 1, 1e-15);
}

TEST(HeadTrackerLayout, ComesOutOfTheTrackerAsPan) {
    fakes::ScriptedHeadphoneMotion motion;
    motion.available = true;
    fakes::MemoryUserDefaults settings;
    fakes::HandCrankedDispatch dispatch;
    fakes::CapturedLog log;
    const auto tracker = HeadphoneMotionManager::create(motion, settings, dispatch, log);
    tracker->start();
    const auto layout = layoutOf(trackerDescriptor());
    ASSERT_TRUE(layout);
    motion.deliver(attitudeFromRotationVector(layout->decode(kTurned)->rotation));
    EXPECT_NEAR(tracker->pan.get(), -9.99786, 1e-5);
    EXPECT_NEAR(tracker->tilt.get(), 0, 1e-5);
    EXPECT_NEAR(tracker->roll.get(), 0, 1e-5);
}

}  // namespace
}  // namespace velmaro
