// The whole program with a head tracker that the kernel presents through hidraw. It needs /dev/uhid
// and the right to open hidraw nodes: a virtual machine, or root on a machine with the uhid module.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

#include "backends/hid/Descriptors.h"
#include "integration/headphones/VirtualTracker.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;

/// 1820 of 32767 half turns about one axis.
Bytes turned(std::size_t axis) {
    Bytes report(14);
    report[0] = 1;
    report[1 + 2 * axis] = 0x1C;
    report[2 + 2 * axis] = 0x07;
    return report;
}

class HeadTrackerDevice : public testing::Test {
protected:
    void SetUp() override {
        if (!VirtualTracker::isPossible()) {
            GTEST_SKIP() << "no access to /dev/uhid: load the uhid module and run as root";
        }
    }
    static std::unique_ptr<VirtualTracker> plug() {
        return std::make_unique<VirtualTracker>(
            trackerDescriptor(), markerReport(2, "#AndroidHeadTracker#1.0", 40), turned(2));
    }
    /// Waits until the values arrive; false after 20 s.
    static bool arrive(const Receiver& receiver, const std::vector<float>& expected) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            const auto messages = receiver.messages();
            if (!messages.empty() &&
                testing::Value(messages.back().values,
                               testing::Pointwise(testing::FloatNear(1e-4F), expected))) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }
    /// Until the kernel and the program have taken notice.
    template <typename Condition>
    static bool eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
};

TEST_F(HeadTrackerDevice, ItsTurnsAreSentAsOSC) {
    auto tracker = plug();
    ASSERT_TRUE(eventually([] {
        return runProgram({"--list-inputs"}).output.find("airpods\tAirPods\n") != std::string::npos;
    }));
    const Receiver receiver;
    Program program({"--input", "airpods", "--port", receiver.port()});
    EXPECT_TRUE(arrive(receiver, {-9.99786F, 0, 0}));
    EXPECT_EQ(tracker->control(), (Bytes{1, 21 << 2 | 3}));
    tracker->setReport(turned(0));
    EXPECT_TRUE(arrive(receiver, {0, 9.99786F, 0}));
    tracker->setReport(turned(1));
    EXPECT_TRUE(arrive(receiver, {0, 0, 9.99786F}));

    tracker.reset();
    EXPECT_TRUE(program.waitForOutput("🎧 Headphones disconnected\n"));
    tracker = plug();
    EXPECT_TRUE(program.waitForOutput("🎧 Headphones connected\n"));
    EXPECT_TRUE(arrive(receiver, {-9.99786F, 0, 0})) << "motion goes on by itself";

    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(tracker->control(), (Bytes{1, 21 << 2})) << "it is stopped at the end";
}

}  // namespace
}  // namespace velmaro::integration
