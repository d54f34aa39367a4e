#include "backends/gstreamer/Beat.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>

namespace velmaro::gstreamer {
namespace {

using namespace std::chrono_literals;
using Duration = Beat::Duration;

constexpr double kInterval = 1.0 / 30;

/// By how much a camera and an analysis vary, in seconds: standard deviations, and how many
/// analyses in a hundred take longer, by three milliseconds on average.
struct Varying {
    double arrival = 0;
    double analysis = 0;
    int slowOfHundred = 0;
};

/// What came through a beat in a minute of 30 frames a second.
struct Played {
    double analysed = 0;
    double sent = 0;
    /// Of those sent, with an angle that was not sent before.
    double newAngles = 0;
    double meanWait = 0;
    /// Seconds by which the angle that a receiver holds trails a head that turns steadily.
    double held = 0;
};

Beat::Clock::time_point at(double seconds) {
    return Beat::Clock::time_point(
        std::chrono::duration_cast<Beat::Clock::duration>(Duration(100 + seconds)));
}

/// The gates and the filter as they follow a beat; a head turns by one in a second.
class Chain {
public:
    /// A frame of what was at `taken` is handed over and analysed.
    void frame(double taken, double handed, double done) {
        const std::optional<double> before = angle_;
        if (handed - lastAnalysed_ >= kInterval) {
            lastAnalysed_ = handed;
            ++played.analysed;
            angle_ = angle_ ? 0.7 * *angle_ + 0.3 * taken : taken;
        }
        // What is sent is what was published until then.
        if (before && done - lastSent_ >= kInterval) {
            send(done, *before);
        }
    }

    Played played;

private:
    void send(double now, double angle) {
        if (holds_) {
            lag_ += (now - lastSent_) * ((now + lastSent_) / 2 - *holds_);
            time_ += now - lastSent_;
            played.held = lag_ / time_;
        }
        ++played.sent;
        played.newAngles += holds_ == angle ? 0 : 1;
        holds_ = angle;
        lastSent_ = now;
    }

    double lastAnalysed_ = -1;
    double lastSent_ = -1;
    std::optional<double> angle_;
    std::optional<double> holds_;
    double lag_ = 0;
    double time_ = 0;
};

Played play(const Varying& varying, bool keepsBeat = true) {
    constexpr int kSeconds = 60;
    std::mt19937 random(7);
    std::normal_distribution<double> normal;
    std::exponential_distribution<double> longer(1 / 0.003);
    Beat beat;
    Chain chain;
    int frames = 0;
    double wait = 0;
    double heldUntil = -1;
    double done = -1;
    for (int i = 0; i < 30 * kSeconds; ++i) {
        const double taken = i * kInterval;
        const double arrival = taken + std::abs(varying.arrival * normal(random));
        const auto early = keepsBeat ? beat.wait(at(arrival)) : Duration(0);
        if (arrival < heldUntil || !early) {
            continue;
        }
        heldUntil = arrival + early->count();
        const double handed = std::max(heldUntil, done) + std::abs(0.0001 * normal(random));
        done = handed + 0.004 + std::max(varying.analysis * normal(random), -0.001);
        if (static_cast<int>(random() % 100) < varying.slowOfHundred) {
            done += longer(random);
        }
        beat.begins(at(handed));
        chain.frame(taken, handed, done);
        beat.ends(at(done));
        ++frames;
        wait += handed - arrival;
    }
    chain.played.meanWait = wait / frames;
    chain.played.analysed /= kSeconds;
    chain.played.sent /= kSeconds;
    chain.played.newAngles /= kSeconds;
    return chain.played;
}

class Beats : public testing::TestWithParam<Varying> {};

TEST_P(Beats, MostFramesOfACameraAreAnalysedAndSentSoon) {
    const Played played = play(GetParam());
    EXPECT_GE(played.analysed, 27);
    EXPECT_GE(played.sent, 27);
    EXPECT_GE(played.newAngles, 26);
    EXPECT_LT(played.meanWait, 0.009);
}

TEST_P(Beats, TheAngleThatAReceiverHoldsIsYoungerByMoreThanAFrame) {
    const Played with = play(GetParam());
    const Played without = play(GetParam(), false);
    EXPECT_LT(without.sent, 20);
    EXPECT_LT(with.held, without.held - 0.04);
}

INSTANTIATE_TEST_SUITE_P(, Beats,
                         testing::Values(Varying{0.0003, 0.0001, 0}, Varying{0.001, 0.0001, 0},
                                         Varying{0.001, 0.0005, 0}, Varying{0.003, 0.0001, 0},
                                         Varying{0.003, 0.0005, 0}, Varying{0.001, 0.0005, 10}),
                         [](const auto& varying) {
                             return "arrival" +
                                    std::to_string(std::lround(1e6 * varying.param.arrival)) +
                                    "analysis" +
                                    std::to_string(std::lround(1e6 * varying.param.analysis)) +
                                    "slow" + std::to_string(varying.param.slowOfHundred);
                         });

TEST(Beat, WhereTheAnalysisVariesMuchMostAreStillSent) {
    const Played played = play({0.001, 0.001, 20});
    EXPECT_GE(played.newAngles, 26);
    EXPECT_LT(played.meanWait, 0.014);
}

/// After a hundred that took `usual`, one that took `last`: when it is handed over, a frame waits.
double waitAfter(Duration usual, Duration last) {
    Beat beat;
    double now = 0;
    for (int i = 0; i < 100; ++i, now += 0.04) {
        beat.begins(at(now));
        beat.ends(at(now) + std::chrono::duration_cast<Beat::Clock::duration>(usual));
    }
    beat.begins(at(now));
    beat.ends(at(now) + std::chrono::duration_cast<Beat::Clock::duration>(last));
    const auto wait = beat.wait(at(now + kInterval));
    return wait ? wait->count() : -1;
}

TEST(Beat, WaitsAfterALongAnalysisAsLongAsItTookMore) {
    EXPECT_NEAR(waitAfter(8ms, 8ms), 0.0005, 1e-6);
    EXPECT_NEAR(waitAfter(8ms, 11ms), 0.0035, 0.0001);
    EXPECT_NEAR(waitAfter(8ms, 7ms), 0.0005, 1e-6);
    EXPECT_NEAR(waitAfter(8ms, 80ms), 0.0065, 0.0001) << "and no longer than six milliseconds";
}

TEST(Beat, WhileAFrameIsHandledNobodyKnowsYetHowLongItTakes) {
    Beat beat;
    beat.begins(at(0));
    beat.ends(at(0.008));
    beat.begins(at(1));
    beat.ends(at(1.1));
    ASSERT_GT(beat.wait(at(1 + kInterval))->count(), 0.006) << "the one before took long";
    beat.begins(at(2));
    EXPECT_NEAR(beat.wait(at(2 + kInterval))->count(), 0.0005, 1e-6);
}

TEST(Beat, AFrameThatComesLateDoesNotWait) {
    Beat beat;
    EXPECT_EQ(beat.wait(at(0)), Duration(0)) << "the first one";
    beat.begins(at(0));
    beat.ends(at(0.008));
    EXPECT_EQ(beat.wait(at(kInterval + 0.001)), Duration(0));
    EXPECT_EQ(beat.wait(at(60)), Duration(0));
}

}  // namespace
}  // namespace velmaro::gstreamer
