#include "integration/support/Receiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>

#include "integration/support/Program.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;

TEST(ProgramReceiver, MessagesResumeWhenTheReceiverComesBack) {
    // Below those that the library picks, so that nobody else takes it in between.
    const std::string port = "9753";
    std::optional<Receiver> receiver(port);
    Program program({"--demo", "--port", port});
    ASSERT_TRUE(receiver->waitFor(5));
    receiver.reset();
    ASSERT_TRUE(program.waitForOutput("OSC send error: Connection refused"));
    receiver.emplace(port);
    EXPECT_TRUE(receiver->waitFor(5));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST(ProgramReceiver, AnUnknownHostIsALineAndBlocksNothing) {
    Program program({"--demo", "--ip", "no.such.name.invalid"});
    ASSERT_TRUE(program.waitForOutput("❌ OSC connection failed: "));
    // Frames go on meanwhile.
    EXPECT_TRUE(program.waitForOutput("🎯 Calculated: "));
    const auto before = std::chrono::steady_clock::now();
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(3));
}

TEST(ProgramReceiver, SaysThatTheConnectionIsReadyAndThenCancelled) {
    const Receiver receiver;
    Program program({"--demo", "--port", receiver.port()});
    ASSERT_TRUE(program.waitForOutput("✅ OSC UDP connection ready\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.output(), HasSubstr("⚠️ OSC connection cancelled\n"));
}

TEST(ProgramReceiver, SendsByIPv6) {
    // liblo listens on IPv4 only, so what shows that it went out is the refusal.
    Program program({"--demo", "--ip", "::1", "--port", "1"});
    EXPECT_TRUE(program.waitForOutput("✅ OSC UDP connection ready"));
    EXPECT_TRUE(program.waitForOutput("OSC send error: Connection refused"));
}

}  // namespace
}  // namespace velmaro::integration
