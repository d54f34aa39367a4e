#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>

#include "fakes/Eventually.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

TEST(ProgramSignals, Usr1ZeroesTheAnglesAndUsr2BringsThemBack) {
    const Receiver receiver;
    Program program({"--camera-file", VELMARO_STILL, "--port", receiver.port(), "--rate", "1000"});
    // The smoothing has settled after two seconds.
    ASSERT_TRUE(receiver.waitFor(90));
    const float settled = receiver.messages().back().values[0];
    ASSERT_GT(std::abs(settled), 5.0F);

    const auto comesNear = [&](float pan, float tolerance) {
        return fakes::eventually(
            [&] { return std::abs(receiver.messages().back().values[0] - pan) <= tolerance; });
    };
    program.signal(SIGUSR1);
    EXPECT_TRUE(comesNear(0.0F, 0.02F)) << receiver.messages().back().values[0];
    program.signal(SIGUSR2);
    EXPECT_TRUE(comesNear(settled, 0.05F)) << receiver.messages().back().values[0];
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
}

TEST(ProgramSignals, EndsCleanlyOnEitherSignal) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program program({"--demo"});
        ASSERT_TRUE(program.waitForOutput("🎯 Calculated: "));
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_THAT(program.output(), testing::EndsWith("\n"));
    }
}

TEST(ProgramSignals, ManySignalsInARowDoNoHarm) {
    Program program({"--demo"});
    ASSERT_TRUE(program.waitForOutput("🎯 Calculated: "));
    for (int count = 0; count < 200; ++count) {
        program.signal(count % 2 == 0 ? SIGUSR1 : SIGUSR2);
    }
    program.signal(SIGTERM);
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST(ProgramSignals, OneThatComesWhileItEndsDoesNoHarm) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program program({"--demo"});
        ASSERT_TRUE(program.waitForOutput("🎯 Calculated: "));
        // Until it has ended, so that some come at whatever it does last.
        ASSERT_TRUE(fakes::eventually([&] {
            program.signal(signal);
            return program.wait(std::chrono::milliseconds(0)) != -1000;
        }));
        EXPECT_EQ(program.wait(), 0);
        EXPECT_THAT(program.output(), testing::EndsWith("\n"));
    }
}

}  // namespace
}  // namespace velmaro::integration
