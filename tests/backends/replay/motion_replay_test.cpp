#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "backends/replay/MotionReplay.h"
#include "fakes/Dispatch.h"
#include "fakes/Log.h"
#include "fakes/UserDefaults.h"
#include "headphones/HeadphoneMotionManager.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

using Ending = MotionReplay::Ending;
using Seconds = std::chrono::duration<double>;

/// Samples that tell their number by x.
MotionTrack trackAt(const std::vector<double>& times) {
    MotionTrack track;
    for (const double time : times) {
        track.push_back({time, {static_cast<double>(track.size()), 0, 0, 0}});
    }
    return track;
}

class Replay : public testing::Test {
protected:
    /// Moves the clock of the replay and of the queue on.
    void advance(double seconds) {
        constexpr double kStep = 1.0 / 128;
        for (double done = 0; done < seconds; done += kStep) {
            now += kStep;
            queue.advance(kStep);
        }
    }
    MotionReplay make(MotionTrack track, Ending ending) {
        return MotionReplay(
            std::move(track), ending, [this] { ++ends; }, [this] { return Seconds(now); });
    }
    HeadphoneMotion::Handler collect() {
        return [this](const std::shared_ptr<const DeviceMotion>& sample,
                      const std::optional<Error>& error) {
            EXPECT_FALSE(error);
            played.push_back(static_cast<int>(sample->attitude.quaternion.x));
            times.push_back(now);
        };
    }

    double now = 1'000;
    int ends = 0;
    std::vector<int> played;
    std::vector<double> times;
    fakes::HandCrankedQueue queue{"delivery"};
};

TEST_F(Replay, IsAvailableAndActiveFromStartToStop) {
    MotionReplay replay = make(trackAt({0}), Ending::once);
    EXPECT_TRUE(replay.isDeviceMotionAvailable());
    EXPECT_FALSE(replay.isDeviceMotionActive());
    replay.startDeviceMotionUpdates(queue, collect());
    EXPECT_TRUE(replay.isDeviceMotionActive());
    EXPECT_TRUE(played.empty()) << "delivered on the caller's stack";
    advance(1);
    EXPECT_TRUE(replay.isDeviceMotionActive());
    replay.stopDeviceMotionUpdates();
    EXPECT_FALSE(replay.isDeviceMotionActive());
}

TEST_F(Replay, KeepsThePaceOfTheFileAndEnds) {
    MotionReplay replay = make(trackAt({5, 5.5, 5.75, 7}), Ending::once);
    replay.startDeviceMotionUpdates(queue, collect());
    advance(10);
    EXPECT_EQ(played, (std::vector<int>{0, 1, 2, 3}));
    ASSERT_EQ(times.size(), 4U);
    const std::vector<double> due{1000, 1000.5, 1000.75, 1002};
    for (std::size_t i = 0; i < due.size(); ++i) {
        EXPECT_NEAR(times[i], due[i], 0.02) << i;
    }
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(queue.pendingDelayed(), 0U);
}

TEST_F(Replay, BeginsAgainAfterTheLastSampleHasLasted) {
    MotionReplay replay = make(trackAt({0, 0.5, 0.75}), Ending::loop);
    replay.startDeviceMotionUpdates(queue, collect());
    advance(2.1);
    EXPECT_EQ(played, (std::vector<int>{0, 1, 2, 0, 1, 2, 0}));
    EXPECT_NEAR(times[3], 1001, 0.02);
    EXPECT_NEAR(times[6], 1002, 0.02);
    EXPECT_EQ(ends, 0);
}

TEST_F(Replay, RepeatsASingleSampleAtTheUsualPace) {
    MotionReplay replay = make(trackAt({3}), Ending::loop);
    replay.startDeviceMotionUpdates(queue, collect());
    advance(1);
    EXPECT_GE(played.size(), 24U);
    EXPECT_LE(played.size(), 27U);
}

TEST_F(Replay, DoesNotDrift) {
    MotionReplay replay = make(trackAt({0, 0.01}), Ending::loop);
    replay.startDeviceMotionUpdates(queue, collect());
    advance(20);
    EXPECT_NEAR(static_cast<double>(played.size()), 2'000, 3)
        << "every delivery is up to one step late";
}

TEST_F(Replay, GoesOnWhereItWasAfterAStandstill) {
    MotionReplay replay = make(trackAt({0, 0.5, 1, 1.5, 2, 2.5}), Ending::once);
    replay.startDeviceMotionUpdates(queue, collect());
    advance(0.1);
    now += 3'600;
    advance(0.5);
    EXPECT_EQ(played, (std::vector<int>{0, 1, 2})) << "no burst of what was missed";
    advance(0.75);
    EXPECT_EQ(played, (std::vector<int>{0, 1, 2, 3}));
}

TEST_F(Replay, StopEndsItAtOnceAndAStartBeginsAnew) {
    MotionReplay replay = make(trackAt({0, 0.5, 1}), Ending::once);
    replay.startDeviceMotionUpdates(queue, collect());
    advance(0.6);
    replay.stopDeviceMotionUpdates();
    replay.stopDeviceMotionUpdates();
    replay.startDeviceMotionUpdates(queue, collect());
    replay.startDeviceMotionUpdates(queue, [](const auto&, const auto&) { FAIL(); });
    advance(3);
    EXPECT_EQ(played, (std::vector<int>{0, 1, 0, 1, 2}));
    EXPECT_EQ(ends, 1);
}

TEST_F(Replay, MayBeStoppedByItsHandler) {
    MotionReplay replay = make(trackAt({0, 0.5}), Ending::loop);
    int calls = 0;
    replay.startDeviceMotionUpdates(queue, [&](const auto&, const auto&) {
        ++calls;
        replay.stopDeviceMotionUpdates();
    });
    advance(2);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(queue.pendingDelayed(), 0U);
}

TEST_F(Replay, MayGoBeforeWhatItQueued) {
    {
        MotionReplay replay = make(trackAt({0, 0.5}), Ending::loop);
        replay.startDeviceMotionUpdates(queue, collect());
    }
    advance(2);
    EXPECT_TRUE(played.empty());
}

TEST_F(Replay, ComesOutOfTheTrackerAsTheAnglesOfTheFile) {
    const auto parsed = parseMotionFile(
        "# velmaro motion 1\ntime yaw pitch roll\n0 0 0 0\n1 10 0 0\n2 0 10 0\n3 0 0 10\n"
        "4 -35 20 5\n5 170 -60 -45\n6 -90 80 120\n");
    ASSERT_TRUE(parsed.has_value());
    MotionReplay replay = make(*parsed, Ending::once);
    fakes::MemoryUserDefaults settings;
    fakes::HandCrankedDispatch dispatch;
    fakes::CapturedLog log;
    const auto tracker = HeadphoneMotionManager::create(replay, settings, dispatch, log);
    EXPECT_TRUE(tracker->isConnected.get());
    std::vector<std::vector<float>> angles;
    tracker->onMotionUpdate = [&](float pan, float tilt, float roll) {
        angles.push_back({pan, tilt, roll});
    };
    tracker->start();
    for (int i = 0; i < 14; ++i) {
        now += 0.5;
        dispatch.main.advance(0.5);
    }
    const std::vector<std::vector<float>> expected{{0, 0, 0},     {10, 0, 0},   {0, 10, 0},
                                                   {0, 0, 10},    {-35, 20, 5}, {170, -60, -45},
                                                   {-90, 80, 120}};
    ASSERT_EQ(angles.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            EXPECT_NEAR(angles[i][j], expected[i][j], 1e-4) << i << ' ' << j;
        }
    }
    EXPECT_TRUE(log.lines.empty());
}

}  // namespace
}  // namespace velmaro
