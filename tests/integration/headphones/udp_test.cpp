#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>

#include "integration/headphones/UDPTracker.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;

std::vector<std::string> arguments(std::uint16_t port, const Receiver& receiver) {
    return {"--motion-udp", std::to_string(port), "--input", "airpods", "--port", receiver.port()};
}

void expectNear(const std::vector<float>& values, const std::vector<float>& expected) {
    EXPECT_THAT(values, testing::Pointwise(testing::FloatNear(1e-4F), expected));
}

TEST(MotionUDP, AnglesOfAnotherTrackerAreSentAsOSC) {
    const std::uint16_t port = freePort();
    const Receiver receiver;
    Program program(arguments(port, receiver));
    // The camera search is over when the waiting begins.
    EXPECT_TRUE(program.waitForErrors("waiting for the headphones")) << program.errors();
    {
        const UDPTracker tracker(port, sixDoubles({1, 2, 3, -35, 20, 5}));
        ASSERT_TRUE(receiver.waitFor(5)) << program.errors();
    }
    for (const Receiver::Message& message : receiver.messages()) {
        EXPECT_EQ(message.address, "/ypr");
        EXPECT_EQ(message.types, "fff");
        expectNear(message.values, {-35, 20, 5});
    }
    EXPECT_THAT(program.output(), HasSubstr("🎧 Headphones connected\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST(MotionUDP, SilenceIsADisconnectionAndPacketsAReturn) {
    const std::uint16_t port = freePort();
    const Receiver receiver;
    Program program(arguments(port, receiver));
    {
        const UDPTracker tracker(port, sixDoubles({0, 0, 0, 10, 0, 0}));
        ASSERT_TRUE(receiver.waitFor(2));
    }
    ASSERT_TRUE(program.waitForOutput("🎧 Headphones disconnected\n"));
    const std::size_t before = receiver.messages().size();
    const UDPTracker tracker(port, sixDoubles({0, 0, 0, -10, 0, 0}));
    ASSERT_TRUE(receiver.waitFor(before + 2)) << "motion goes on by itself";
    expectNear(receiver.messages().back().values, {-10, 0, 0});
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
}

TEST(MotionUDP, OtherPacketsAreNoTracker) {
    const std::uint16_t port = freePort();
    const Receiver receiver;
    Program program(arguments(port, receiver));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const UDPTracker shortOne(port, std::string(47, 'x'));
    const UDPTracker longOne(port, std::string(49, 'x'));
    const UDPTracker notANumber(port, sixDoubles({0, 0, 0, nan, 0, 0}));
    ASSERT_TRUE(program.waitForErrors("waiting for the headphones"));
    EXPECT_FALSE(receiver.waitFor(1, std::chrono::milliseconds(500)));
    EXPECT_THAT(program.output(), Not(HasSubstr("Headphones connected")));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0) << "it stops while it waits";
}

TEST(MotionUDP, TheDirectionMayBeReversed) {
    const std::uint16_t port = freePort();
    const Receiver receiver;
    Program program(arguments(port, receiver), {{"VELMARO_MOTION_UDP_REVERSE", "yaw,roll"}});
    const UDPTracker tracker(port, sixDoubles({0, 0, 0, 10, 0, 0}));
    ASSERT_TRUE(receiver.waitFor(1));
    expectNear(receiver.messages().front().values, {-10, 0, 0});
}

TEST(MotionUDP, ATakenPortEndsWithOne) {
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof name;
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&name), size), 0);
    ASSERT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size), 0);
    const std::string port = std::to_string(ntohs(name.sin_port));
    const Finished run = runProgram({"--motion-udp", port});
    ::close(socket);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, testing::AllOf(HasSubstr(port), HasSubstr("another program")));
}

TEST(MotionUDP, AForeignAddressEndsWithOne) {
    for (const char* const address : {"192.0.2.1", "localhost", "nowhere"}) {
        const Finished run = runProgram({"--motion-udp", "4242", "--motion-udp-bind", address});
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.errors, HasSubstr(address));
    }
}

TEST(MotionUDP, WaitsNoLongerThanItIsToldTo) {
    const Finished run = runProgram(
        {"--motion-udp", std::to_string(freePort()), "--input", "airpods", "--duration", "0.2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("nothing was sent: the headphones have not come"));
}

TEST(AirPodsAddress, WithoutBluetoothTheProgramGoesOn) {
    const Finished run = runProgram(
        {"--airpods-address", "00:11:22:AA:BB:CC", "--input", "airpods", "--duration", "0.3"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("waiting for the headphones"));
}

}  // namespace
}  // namespace velmaro::integration
