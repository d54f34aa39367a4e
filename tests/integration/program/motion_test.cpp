#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>

#include "fakes/Eventually.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

constexpr const char* kTurns =
    "# velmaro motion 1\n"
    "time yaw pitch roll\n"
    "0.0 10 0 0\n"
    "0.2 0 10 0\n"
    "0.4 0 0 10\n"
    "0.6 -20 5 0\n";

/// The values of the messages, whose type tags must be `types`.
std::vector<std::vector<float>> play(const std::vector<std::string>& more,
                                     const std::string& types) {
    const TemporaryFolder folder;
    Receiver receiver;
    std::vector<std::string> arguments{"--motion-file", folder.write("turns.txt", kTurns),
                                       "--input", "airpods", "--port", receiver.port(),
                                       // A sample that comes late must not fall into an interval.
                                       "--rate", "1000000", "--once"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Finished run = runProgram(arguments);
    EXPECT_EQ(run.status, 0) << run.errors;
    std::vector<std::vector<float>> values;
    for (const Receiver::Message& message : receiver.allSent()) {
        EXPECT_EQ(message.types, types);
        values.push_back(message.values);
    }
    return values;
}

void expectNear(const std::vector<float>& values, const std::vector<float>& expected) {
    EXPECT_THAT(values, testing::Pointwise(testing::FloatNear(1e-4F), expected));
}

TEST(ProgramMotion, ReplaysAFileAsHeadphones) {
    const auto values = play({}, "fff");
    ASSERT_EQ(values.size(), 4U);
    expectNear(values[0], {10, 0, 0});
    expectNear(values[1], {0, 10, 0});
    expectNear(values[2], {0, 0, 10});
    expectNear(values[3], {-20, 5, 0});
}

TEST(ProgramMotion, WithoutTiltRollIsStillSent) {
    const auto values = play({"--no-tilt"}, "fff");
    ASSERT_EQ(values.size(), 4U);
    expectNear(values[1], {0, 0, 0});
    expectNear(values[2], {0, 0, 10});
}

TEST(ProgramMotion, SendsQuaternions) {
    const auto values = play({"--quaternion"}, "ffff");
    ASSERT_EQ(values.size(), 4U);
    // Cosine and sine of 5 degrees; pan is reversed.
    expectNear(values[0], {0.9961947F, 0, 0, -0.0871557F});
    expectNear(values[1], {0.9961947F, 0, 0.0871557F, 0});
    expectNear(values[2], {1, 0, 0, 0});
}

TEST(ProgramMotion, TheRestPoseSurvivesARestart) {
    const TemporaryFolder folder;
    const std::string file = folder.write("still.txt",
                                          "# velmaro motion 1\n"
                                          "time yaw pitch roll\n"
                                          "0 30 10 0\n"
                                          "0.05 30 10 0\n");
    const std::vector<std::string> arguments{"--motion-file", file, "--input", "airpods"};
    const auto withPort = [&](const Receiver& receiver) {
        auto all = arguments;
        all.insert(all.end(), {"--port", receiver.port()});
        return all;
    };
    {
        const Receiver receiver;
        Program program(withPort(receiver), {{"XDG_CONFIG_HOME", folder.path()}});
        ASSERT_TRUE(receiver.waitFor(3));
        expectNear(receiver.messages().back().values, {30, 10, 0});
        program.signal(SIGUSR1);
        // Turned back at once, not in steps.
        EXPECT_TRUE(fakes::eventually(
            [&] { return std::abs(receiver.messages().back().values[0] - 30) > 1e-4F; }));
        expectNear(receiver.messages().back().values, {0, 0, 0});
        program.signal(SIGTERM);
        EXPECT_EQ(program.wait(), 0);
    }
    const Receiver receiver;
    Program program(withPort(receiver), {{"XDG_CONFIG_HOME", folder.path()}});
    ASSERT_TRUE(receiver.waitFor(3));
    expectNear(receiver.messages().front().values, {0, 0, 0});
}

TEST(ProgramMotion, AMistakeInTheFileIsToldWithItsLine) {
    const TemporaryFolder folder;
    const Finished run =
        runProgram({"--motion-file",
                    folder.write("bad.txt", "# velmaro motion 1\ntime yaw pitch roll\n0 x\n")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, testing::AllOf(testing::HasSubstr("bad.txt"), testing::HasSubstr("3")));
}

}  // namespace
}  // namespace velmaro::integration
