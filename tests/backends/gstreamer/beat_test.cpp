#include "backends/gstreamer/Beat.h"

#include <gtest/gtest.h>

#include <random>

namespace velmaro::gstreamer {
namespace {

using Duration = Beat::Duration;

/// What came through a beat in half a minute of 30 frames a second.
struct Played {
    int handed = 0;
    /// Of those, later than a thirtieth of a second after the one before: these are analysed.
    int analysed = 0;
    /// Of those, later than that after the one that was sent before.
    int sent = 0;
    double meanWait = 0;
};

/// Arrivals and analyses vary by the standard deviations given, in seconds.
Played play(double arrivalJitter, double analysisJitter) {
    constexpr int kFrames = 900;
    constexpr double kInterval = 1.0 / 30;
    std::mt19937 random(7);
    std::normal_distribution<double> normal;
    const auto at = [](double seconds) {
        return Beat::Clock::time_point(
            std::chrono::duration_cast<Beat::Clock::duration>(Duration(100 + seconds)));
    };
    Beat beat;
    Played played;
    double heldUntil = -1;
    double lastHanded = -1;
    double lastAnalysed = -1;
    double lastSent = -1;
    for (int frame = 0; frame < kFrames; ++frame) {
        const double arrival = frame * kInterval + arrivalJitter * normal(random);
        const auto wait = beat.wait(at(arrival));
        if (arrival < heldUntil || !wait) {
            continue;
        }
        heldUntil = arrival + wait->count();
        const double handed = heldUntil;
        const double analysed = handed + 0.008 + analysisJitter * normal(random);
        beat.begins(at(handed));
        beat.ends(at(analysed));
        ++played.handed;
        played.meanWait += wait->count();
        if (lastHanded >= 0) {
            EXPECT_GE(handed - lastHanded, kInterval);
        }
        lastHanded = handed;
        if (handed - lastAnalysed >= kInterval) {
            lastAnalysed = handed;
            ++played.analysed;
            if (analysed - lastSent >= kInterval) {
                lastSent = analysed;
                ++played.sent;
            }
        }
    }
    played.meanWait /= played.handed;
    return played;
}

TEST(Beat, MostFramesOfACameraAreAnalysedAndSent) {
    for (const double jitter : {0.0003, 0.001, 0.003}) {
        for (const double analysis : {0.0001, 0.0005}) {
            const Played played = play(jitter, analysis);
            EXPECT_GE(played.analysed, 26 * 30) << jitter << " " << analysis;
            EXPECT_GE(played.sent, 26 * 30) << jitter << " " << analysis;
            EXPECT_LT(played.meanWait, 0.017) << jitter << " " << analysis;
        }
    }
}

TEST(Beat, LeavesMoreRoomWhereTheAnalysisVaries) {
    using namespace std::chrono_literals;
    Beat steady;
    Beat varying;
    auto now = Beat::Clock::time_point(100s);
    for (int i = 0; i < 100; ++i, now += 40ms) {
        steady.begins(now);
        steady.ends(now + 8ms);
        varying.begins(now);
        varying.ends(now + (i % 2 == 0 ? 8ms : 10ms));
    }
    EXPECT_EQ(steady.slack(), Duration(0.001));
    EXPECT_EQ(varying.slack(), Duration(0.003));
}

}  // namespace
}  // namespace velmaro::gstreamer
