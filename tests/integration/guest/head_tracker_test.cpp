// The whole program with a head tracker that the kernel presents through hidraw.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>

#include "backends/hid/Descriptors.h"
#include "integration/guest/Guest.h"
#include "integration/guest/VirtualTracker.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;
using testing::Not;

/// About which axis of the head; toward the right ear, the nose, the crown.
enum Axis : std::size_t { ear, nose, crown };

/// Half turns are 32767 counts.
Bytes turned(Axis axis, int counts) {
    Bytes report(14);
    report[0] = 1;
    report[1 + 2 * axis] = static_cast<std::uint8_t>(counts);
    report[2 + 2 * axis] = static_cast<std::uint8_t>(counts >> 8);
    return report;
}

float degrees(int counts) {
    return static_cast<float>(counts * 180.0 / 32767);
}

std::unique_ptr<VirtualTracker> plug(const Bytes& report = turned(crown, 1820)) {
    return std::make_unique<VirtualTracker>(trackerDescriptor(),
                                            markerReport(2, "#AndroidHeadTracker#1.0", 40), report);
}

bool isListed() {
    return runProgram({"--list-inputs"}).output.find("airpods\tAirPods\n") != std::string::npos;
}

TEST(HeadTrackerDevice, EachTurnIsSentWithItsSign) {
    const auto tracker = plug();
    EXPECT_TRUE(isListed());
    const Receiver receiver;
    Program program({"--input", "airpods", "--port", receiver.port()});
    for (const int counts : {1820, -1820, 8192, -5461, 16000}) {
        tracker->setReport(turned(crown, counts));
        EXPECT_TRUE(arrive(receiver, {-degrees(counts), 0, 0})) << "to the right is negative";
        tracker->setReport(turned(nose, counts));
        EXPECT_TRUE(arrive(receiver, {0, 0, degrees(counts)})) << "to the right shoulder";
        tracker->setReport(turned(ear, counts));
        EXPECT_TRUE(arrive(receiver, {0, degrees(counts), 0})) << "upward";
    }
    EXPECT_EQ(tracker->control(), (Bytes{1, 21 << 2 | 3}));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(tracker->control(), (Bytes{1, 21 << 2})) << "it is stopped at the end";
}

TEST(HeadTrackerDevice, GoesOnByItselfAfterItWasUnplugged) {
    auto tracker = plug();
    const Receiver receiver;
    Program program({"--input", "airpods", "--port", receiver.port()});
    EXPECT_TRUE(arrive(receiver, {-degrees(1820), 0, 0}));
    tracker.reset();
    EXPECT_TRUE(program.waitForOutput("🎧 Headphones disconnected\n"));
    EXPECT_FALSE(isListed());
    tracker = plug(turned(ear, 910));
    EXPECT_TRUE(program.waitForOutput("🎧 Headphones connected\n"));
    EXPECT_TRUE(arrive(receiver, {0, degrees(910), 0}));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST(HeadTrackerDevice, TheRestPoseIsKeptForTheNextStart) {
    const auto tracker = plug(turned(crown, -3640));
    const TemporaryFolder settings;
    const Program::Environment variables{{"XDG_CONFIG_HOME", settings.path()}};
    {
        const Receiver receiver;
        Program program({"--input", "airpods", "--port", receiver.port()}, variables);
        EXPECT_TRUE(arrive(receiver, {degrees(3640), 0, 0}));
        program.signal(SIGUSR1);
        EXPECT_TRUE(arrive(receiver, {0, 0, 0}));
        tracker->setReport(turned(crown, -5460));
        EXPECT_TRUE(arrive(receiver, {degrees(1820), 0, 0})) << "relative to the rest pose";
        const std::size_t before = receiver.messages().size();
        program.signal(SIGUSR2);
        ASSERT_TRUE(receiver.waitFor(before + 20));
        EXPECT_TRUE(arrive(receiver, {degrees(1820), 0, 0})) << "the pose that was stored";
        program.signal(SIGTERM);
        EXPECT_EQ(program.wait(), 0);
    }
    const Receiver receiver;
    Program program({"--input", "airpods", "--port", receiver.port()}, variables);
    ASSERT_TRUE(receiver.waitFor(1));
    EXPECT_THAT(
        receiver.messages().front().values,
        testing::Pointwise(testing::FloatNear(1e-4F), std::vector<float>{degrees(1820), 0, 0}));
}

TEST(HeadTrackerDevice, TheRuleOpensItToTheUserAtTheSeat) {
    const std::string list = withoutRights("--list-inputs");
    {
        const auto tracker = plug();
        const Answer refused = shell(list);
        EXPECT_EQ(refused.status, 0);
        EXPECT_THAT(refused.text, Not(HasSubstr("airpods")));
        EXPECT_THAT(
            refused.text,
            HasSubstr("velmaro-cli: the head tracker \"Virtual Head Tracker\" at /dev/hidraw"));
        EXPECT_THAT(refused.text,
                    HasSubstr("cannot be opened: Permission denied: install the udev rule of "
                              "docs/headphones.md\n"));
    }
    // What the login service writes down of the user at the seat.
    const Answer prepared = shell(
        "mkdir -p /run/systemd/seats && echo ACTIVE_UID=65534 >/run/systemd/seats/seat0 &&"
        " cp " VELMARO_RULE " /etc/udev/rules.d && /usr/lib/systemd/systemd-udevd --daemon");
    ASSERT_EQ(prepared.status, 0) << prepared.text;
    const auto tracker = plug();
    EXPECT_TRUE(eventually([&] {
        return shell(list).text.find("airpods\tAirPods\n") != std::string::npos;
    })) << shell(list).text;
    EXPECT_THAT(shell("setpriv --reuid 65533 --regid 65533 --clear-groups cat /dev/hidraw*").text,
                HasSubstr("Permission denied"))
        << "to that user alone";
    shell("udevadm control --exit");
}

}  // namespace
}  // namespace velmaro::integration
