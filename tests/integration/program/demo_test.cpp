#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <fstream>
#include <sstream>

#include "fakes/Eventually.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

/// The true yaw of each frame of the clip in degrees, positive to the image's right.
std::vector<double> trueYaw() {
    std::ifstream file(VELMARO_DEMO "/demo.csv");
    std::string line;
    std::getline(file, line);
    std::vector<double> yaw;
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::string field;
        for (int column = 0; column < 3; ++column) {
            std::getline(fields, field, ',');
        }
        yaw.push_back(std::stod(field));
    }
    return yaw;
}

double correlation(const std::vector<double>& a, const std::vector<double>& b) {
    const auto mean = [](const std::vector<double>& values) {
        double sum = 0;
        for (const double value : values) {
            sum += value;
        }
        return sum / static_cast<double>(values.size());
    };
    const double meanA = mean(a);
    const double meanB = mean(b);
    double ab = 0;
    double aa = 0;
    double bb = 0;
    for (std::size_t index = 0; index < a.size(); ++index) {
        ab += (a[index] - meanA) * (b[index] - meanB);
        aa += (a[index] - meanA) * (a[index] - meanA);
        bb += (b[index] - meanB) * (b[index] - meanB);
    }
    return ab / std::sqrt(aa * bb);
}

/// What is sent until the clip ends.
std::vector<Receiver::Message> wholeClip(std::vector<std::string> arguments) {
    Receiver receiver;
    arguments.insert(arguments.end(), {"--demo", "--once", "--port", receiver.port()});
    const Finished run = runProgram(arguments);
    EXPECT_EQ(run.status, 0) << run.errors;
    return receiver.allSent();
}

/// The first so many messages, however long a busy machine takes.
std::vector<Receiver::Message> firstMessages(std::size_t count,
                                             std::vector<std::string> arguments) {
    const Receiver receiver;
    arguments.insert(arguments.end(), {"--demo", "--port", receiver.port()});
    Program program(arguments);
    EXPECT_TRUE(receiver.waitFor(count));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0) << program.errors();
    return receiver.messages();
}

// Of the clip's 300 frames, on a busy machine.
#ifdef VELMARO_SANITIZED
constexpr std::size_t kFewest = 40;
#else
constexpr std::size_t kFewest = 100;
#endif

TEST(ProgramDemo, SendsPanOfBothSignsAndAZero) {
    const Receiver receiver;
    const Program program({"--demo", "--port", receiver.port()});
    std::vector<Receiver::Message> messages;
    const auto hasPan = [&messages](auto wanted) {
        return std::ranges::any_of(messages, [&](const Receiver::Message& message) {
            return wanted(message.values.at(0));
        });
    };
    // The clip is played over and over, for a machine that sees little of it at once.
    EXPECT_TRUE(fakes::eventually([&] {
        messages = receiver.messages();
        return messages.size() > kFewest && hasPan([](float pan) { return pan < -20; }) &&
               hasPan([](float pan) { return pan > 20; });
    })) << messages.size();
    for (const Receiver::Message& message : messages) {
        ASSERT_EQ(message.address, "/ypr");
        ASSERT_EQ(message.types, "fff");
        EXPECT_EQ(message.values[2], 0.0F);
    }
}

TEST(ProgramDemo, SentPanFollowsTheTrueYaw) {
    const std::vector<double> truth = trueYaw();
    ASSERT_GT(truth.size(), 200U);
    const auto messages = wholeClip({"--rate", "1000"});
    ASSERT_GT(messages.size(), kFewest);

    // Messages are placed in the clip by their time. The smoothing delays by a few frames: the
    // best of the plausible delays counts.
    double best = -1;
    for (int delay = 0; delay <= 8; ++delay) {
        std::vector<double> sent;
        std::vector<double> expected;
        for (const Receiver::Message& message : messages) {
            const double seconds =
                std::chrono::duration<double>(message.time - messages.front().time).count();
            const auto frame = static_cast<std::ptrdiff_t>(std::lround(seconds * 30.0)) - delay;
            if (frame >= 0 && frame < static_cast<std::ptrdiff_t>(truth.size())) {
                // A nose to the image's right is sent as a negative pan.
                sent.push_back(-message.values[0]);
                expected.push_back(truth[static_cast<std::size_t>(frame)]);
            }
        }
        best = std::max(best, correlation(sent, expected));
    }
    EXPECT_GE(best, 0.97);
}

TEST(ProgramDemo, WithoutTiltTheSecondValueIsZero) {
    const auto messages = firstMessages(20, {"--no-tilt"});
    ASSERT_FALSE(messages.empty());
    for (const Receiver::Message& message : messages) {
        EXPECT_EQ(message.values[1], 0.0F);
    }
}

TEST(ProgramDemo, QuaternionsHaveUnitLength) {
    const auto messages = firstMessages(20, {"--quaternion", "--osc", "/q"});
    ASSERT_FALSE(messages.empty());
    for (const Receiver::Message& message : messages) {
        ASSERT_EQ(message.address, "/q");
        ASSERT_EQ(message.types, "ffff");
        double length = 0;
        for (const float value : message.values) {
            length += static_cast<double>(value) * value;
        }
        EXPECT_NEAR(length, 1.0, 1e-5);
    }
}

TEST(ProgramDemo, TheRateIsHeld) {
    const auto begin = std::chrono::steady_clock::now();
    const auto messages = firstMessages(8, {"--rate", "5"});
    ASSERT_GE(messages.size(), 8U);
    // What arrives may bunch up on a busy machine, but none is there before its time.
    for (std::size_t index = 1; index < messages.size(); ++index) {
        EXPECT_GT(messages[index].time - begin, index * std::chrono::milliseconds(199));
    }
}

TEST(ProgramDemo, StatisticsAreALineASecond) {
    const auto begin = std::chrono::steady_clock::now();
    Program program({"--demo", "--stats"});
    ASSERT_TRUE(program.waitForOutput("🎯 Calculated: "));
    const testing::Matcher<std::string> isStatistics = testing::ContainsRegex(
        "^frames in [0-9]+, analysed [0-9]+, with a face [0-9]+, network runs [0-9]+, "
        "dropped [0-9]+, passed over [0-9]+, datagrams out [0-9]+, "
        "frame to datagram p50 [0-9.]+ ms p99 [0-9.]+ ms, cost [0-9.]+ % of a core$");
    int count = 0;
    EXPECT_TRUE(fakes::eventually([&] {
        count = 0;
        std::istringstream lines(program.errors());
        for (std::string line; std::getline(lines, line);) {
            count += testing::Matches(isStatistics)(line) ? 1 : 0;
        }
        return count >= 3;
    })) << program.errors();
    EXPECT_GT(std::chrono::steady_clock::now() - begin,
              count * std::chrono::seconds(1) - std::chrono::milliseconds(100));
}

TEST(ProgramDemo, SaysAtStartWhereItSendsWhat) {
    Program program({"--demo", "--port", "8123"});
    ASSERT_TRUE(program.waitForErrors("\n"));
    EXPECT_THAT(program.errors(),
                testing::AllOf(testing::HasSubstr("Demonstration"), testing::HasSubstr("127.0.0.1"),
                               testing::HasSubstr("8123"), testing::HasSubstr("/ypr")));
}

TEST(ProgramDemo, StandardOutputHoldsTheFixedLinesOnly) {
    Program program({"--demo"});
    ASSERT_TRUE(program.waitForOutput("🎯 Calculated: "));
    ASSERT_TRUE(program.waitForOutput("✅ OSC UDP connection ready\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    std::istringstream lines(program.output());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(
            line, testing::AnyOf("📷 Found 1 cameras:", "  - Demonstration (demo)",
                                 "📹 Setting up capture with: Demonstration", "✅ Camera input added",
                                 "✅ Video output added", "✅ Delegate set on output",
                                 "✅ Video connection exists, isEnabled: true, isActive: true",
                                 "🚀 Starting capture session...",
                                 "✅ Session started running notification received",
                                 "✅ Capture session started, isRunning: true",
                                 "📊 Connection active: true, enabled: true", "⚠️ Dropped frame",
                                 "✅ OSC UDP connection ready", "⚠️ OSC connection cancelled",
                                 "📍 Landmarks available", testing::StartsWith("🎯 Calculated: Pan="),
                                 "OSC send error: Connection refused"));
    }
}

}  // namespace
}  // namespace velmaro::integration
