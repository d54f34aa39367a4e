// The finder and a stand-in for BlueZ on a real bus.

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "backends/airpods/BlueZAirPods.h"
#include "backends/airpods/FakeBlueZ.h"
#include "backends/airpods/PrivateBus.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

using namespace std::chrono_literals;

constexpr const char* kPath = "/org/bluez/hci0/dev_00_11_22_AA_BB_CC";
constexpr const char* kOtherDevicePath = "/org/bluez/hci0/dev_00_11_22_AA_BB_DD";
const BluetoothAddress kPairedAddress{0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
const BluetoothAddress kOtherDeviceAddress{0x00, 0x11, 0x22, 0xAA, 0xBB, 0xDD};
const FakeDevice kOtherDevice{.address = "00:11:22:AA:BB:DD"};

class Finder : public testing::Test {
protected:
    void look() { finder.emplace(diagnostics, bus.address()); }
    /// Whether the finder tells of this, by its descriptor, within 10 s.
    testing::AssertionResult finds(const std::optional<BluetoothAddress>& expected) {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        AirPodsFinding finding = finder->find();
        while (!finding.isComplete || finding.address != expected) {
            if (std::chrono::steady_clock::now() > deadline) {
                return testing::AssertionFailure()
                       << (finding.address ? "an address" : "no address") << ", complete "
                       << finding.isComplete;
            }
            pollfd file{finder->descriptor(), POLLIN, 0};
            ::poll(&file, 1, 100);
            if (file.revents != 0) {
                finding = finder->find();
            }
        }
        return testing::AssertionSuccess();
    }
    /// What it has reported until its end.
    std::vector<std::string> reported() {
        finder.reset();
        return diagnostics.lines();
    }

    PrivateBus bus;
    fakes::CapturedDiagnostics diagnostics;
    std::optional<BlueZAirPods> finder;
};

TEST_F(Finder, WithoutABusFindsNothing) {
    finder.emplace(diagnostics, "unix:path=/nonexistent/bus");
    EXPECT_TRUE(finds(std::nullopt));
    EXPECT_TRUE(reported().empty());
}

TEST_F(Finder, WithoutBlueZFindsNothing) {
    look();
    EXPECT_TRUE(finds(std::nullopt));
    EXPECT_TRUE(reported().empty());
}

TEST_F(Finder, WithoutDevicesFindsNothing) {
    const FakeBlueZ bluez(bus.address());
    look();
    EXPECT_TRUE(finds(std::nullopt));
    EXPECT_TRUE(reported().empty());
}

TEST_F(Finder, FindsWhatIsConnectedAndSaysThatItIsExperimental) {
    const FakeBlueZ bluez(bus.address(), {{kPath, {}}});
    look();
    EXPECT_TRUE(finds(kPairedAddress));
    EXPECT_EQ(reported(), (std::vector<std::string>{
                              "found AirPods at 00:11:22:AA:BB:CC; their motion is experimental, "
                              "see docs/headphones.md"}));
}

TEST_F(Finder, PassesOverOtherDevices) {
    FakeDevice unpaired;
    unpaired.isPaired = false;
    FakeDevice away;
    away.isConnected = false;
    const FakeBlueZ bluez(bus.address(),
                          {{"/org/bluez/hci0/dev_1", unpaired},
                           {"/org/bluez/hci0/dev_2", away},
                           {"/org/bluez/hci0/dev_3", {.modalias = "bluetooth:v054Cp0DF0d0100"}},
                           {"/org/bluez/hci0/dev_4", {.modalias = ""}},
                           {"/org/bluez/hci0/dev_5", {.address = "no address"}}});
    look();
    EXPECT_TRUE(finds(std::nullopt));
    EXPECT_TRUE(reported().empty());
}

TEST_F(Finder, HearsOfADeviceThatComesAndGoes) {
    FakeBlueZ bluez(bus.address());
    look();
    ASSERT_TRUE(finds(std::nullopt));
    bluez.set(kPath, {});
    EXPECT_TRUE(finds(kPairedAddress));
    bluez.remove(kPath);
    EXPECT_TRUE(finds(std::nullopt));
}

TEST_F(Finder, HearsOfConnectionsAndReportsThemOnce) {
    FakeDevice device;
    device.isConnected = false;
    FakeBlueZ bluez(bus.address(), {{kPath, device}});
    look();
    ASSERT_TRUE(finds(std::nullopt));
    for (int i = 0; i < 3; ++i) {
        device.isConnected = true;
        bluez.set(kPath, device);
        EXPECT_TRUE(finds(kPairedAddress));
        device.isConnected = false;
        bluez.set(kPath, device);
        EXPECT_TRUE(finds(std::nullopt));
    }
    EXPECT_EQ(reported().size(), 1U);
}

TEST_F(Finder, LearnsTheModelLate) {
    FakeBlueZ bluez(bus.address(), {{kPath, {.modalias = ""}}});
    look();
    ASSERT_TRUE(finds(std::nullopt));
    bluez.set(kPath, {});
    EXPECT_TRUE(finds(kPairedAddress));
}

TEST_F(Finder, StaysWithTheFirstAndThenTakesTheOther) {
    FakeBlueZ bluez(bus.address(), {{kOtherDevicePath, kOtherDevice}});
    look();
    ASSERT_TRUE(finds(kOtherDeviceAddress));
    const int before = bluez.questions();
    bluez.set(kPath, {});
    while (bluez.questions() == before) {
        std::this_thread::sleep_for(1ms);
    }
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(finds(kOtherDeviceAddress));
    bluez.remove(kOtherDevicePath);
    EXPECT_TRUE(finds(kPairedAddress));
}

TEST_F(Finder, HearsOfTheEndAndTheReturnOfBlueZ) {
    std::optional<FakeBlueZ> bluez;
    bluez.emplace(bus.address(), FakeBlueZ::Devices{{kPath, {}}});
    look();
    ASSERT_TRUE(finds(kPairedAddress));
    bluez.reset();
    EXPECT_TRUE(finds(std::nullopt));
    bluez.emplace(bus.address(), FakeBlueZ::Devices{{kPath, {}}});
    EXPECT_TRUE(finds(kPairedAddress));
}

TEST_F(Finder, OutlivesItsBus) {
    const FakeBlueZ bluez(bus.address(), {{kPath, {}}});
    look();
    ASSERT_TRUE(finds(kPairedAddress));
    bus.kill();
    EXPECT_TRUE(finds(std::nullopt));
}

TEST_F(Finder, DoesNotAskForChangesThatMatterToNobody) {
    FakeBlueZ bluez(bus.address(), {{kPath, {}}});
    look();
    ASSERT_TRUE(finds(kPairedAddress));
    const int before = bluez.questions();
    for (int i = 0; i < 50; ++i) {
        bluez.tellOfSignalStrength(kPath);
    }
    // Signals keep their order: when this one is heard, those before it were.
    bluez.remove(kPath);
    EXPECT_TRUE(finds(std::nullopt));
    EXPECT_EQ(bluez.questions(), before + 1);
}

TEST_F(Finder, MayGoAtAnyTime) {
    const FakeBlueZ bluez(bus.address(), {{kPath, {}}});
    for (int i = 0; i < 50; ++i) {
        look();
        std::this_thread::sleep_for(std::chrono::microseconds(100 * i));
        finder.reset();
    }
    look();
    EXPECT_TRUE(finds(kPairedAddress));
}

}  // namespace
}  // namespace velmaro
