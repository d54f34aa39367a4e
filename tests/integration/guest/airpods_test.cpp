// The whole program with a headset at the other end of a Bluetooth link, which the kernel's own
// Bluetooth carries between two virtual controllers. The packets are written out here once more.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <optional>
#include <thread>

#include "backends/airpods/Packets.h"
#include "integration/guest/BlueZService.h"
#include "integration/guest/BluetoothControllers.h"
#include "integration/guest/Guest.h"
#include "integration/guest/VirtualHeadset.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

const Bytes kHandshake{0, 0, 4, 0, 1, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0};
const Bytes kHandshakeAnswer{1, 0, 4, 0, 0, 0, 1, 0, 3, 0, 4, 0, 0, 0, 0, 0, 0, 0};
const Bytes kNotifications{4, 0, 4, 0, 0x0F, 0, 0xFF, 0xFF, 0xFF, 0xFF};
const Bytes kStart16{0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10,
                     0x00, 0x0F, 0x00, 0x08, 0x73, 0x42, 0x0B, 0x08, 0x10,
                     0x10, 0x02, 0x1A, 0x05, 0x01, 0x40, 0x9C, 0x00, 0x00};
const Bytes kStart14{0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10, 0x00,
                     0x10, 0x00, 0x08, 0xA1, 0x02, 0x42, 0x0B, 0x08, 0x0E, 0x10,
                     0x02, 0x1A, 0x05, 0x01, 0x40, 0x9C, 0x00, 0x00};
const Bytes kStop14{0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10, 0x00,
                    0x11, 0x00, 0x08, 0x7E, 0x10, 0x02, 0x42, 0x0B, 0x08, 0x4E,
                    0x10, 0x02, 0x1A, 0x05, 0x01, 0x00, 0x00, 0x00, 0x00};
const Bytes kInEar{4, 0, 4, 0, 6, 0, 0, 0};

class AirPodsDevice : public testing::Test {
protected:
    static void SetUpTestSuite() { controllers_ = std::make_unique<BluetoothControllers>(); }
    static void TearDownTestSuite() { controllers_.reset(); }

    void plug() { headset.emplace(controllers_->second()); }
    void greet() {
        ASSERT_TRUE(headset->accept());
        ASSERT_EQ(headset->next(), kHandshake);
        headset->send(kHandshakeAnswer);
        ASSERT_EQ(headset->next(), kNotifications);
    }
    /// Whether messages say `expected` while packets like this one come at the headphones' pace.
    testing::AssertionResult tells(const Bytes& packet, const std::vector<float>& expected) {
        std::jthread stream([&](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                headset->send(packet);
                std::this_thread::sleep_for(40ms);
            }
        });
        return arrive(receiver, expected);
    }

    static std::unique_ptr<BluetoothControllers> controllers_;
    const std::string address = text(controllers_->second());
    std::optional<VirtualHeadset> headset;
    const Receiver receiver;
};

std::unique_ptr<BluetoothControllers> AirPodsDevice::controllers_;

TEST_F(AirPodsDevice, ItsMotionIsSentAsOSC) {
    plug();
    Program program(
        {"--airpods-address", address, "--input", "airpods", "--port", receiver.port()});
    ASSERT_NO_FATAL_FAILURE(greet());
    EXPECT_TRUE(headset->isSecure());

    ASSERT_EQ(headset->next(), kStart16);
    auto asked = steady_clock::now();
    ASSERT_EQ(headset->next(), kStart14) << "this model has the other service";
    EXPECT_GT(steady_clock::now() - asked, 3500ms);

    headset->send(kInEar);
    EXPECT_TRUE(tells(motionPacket({100, 200, 300}), {0, 0, 0})) << "the first is neutral";
    EXPECT_TRUE(
        tells(motionPacket({100, 200 + 1600, 65536 + 300 - 1600}, 14, {0x08, 0x05}), {9, 0, 0}));
    EXPECT_TRUE(tells(motionPacket({100 + 3200, 200 + 3200, 300 + 3200}), {0, 18, 0}));
    EXPECT_TRUE(tells(motionPacket({100 + 3200, 200, 300}), {0, 0, 9}));
    EXPECT_TRUE(tells(motionPacket({65536 + 100 - 3200, 200, 300}), {0, 0, -9}));

    asked = steady_clock::now();
    ASSERT_EQ(headset->next(), kStart14) << "asked again, since they stream only while worn";
    EXPECT_GT(steady_clock::now() - asked, 3500ms);

    headset->hangUp();
    EXPECT_TRUE(program.waitForOutput("🎧 Headphones disconnected\n"));
    ASSERT_NO_FATAL_FAILURE(greet());
    EXPECT_TRUE(program.waitForOutput("🎧 Headphones connected\n"));
    ASSERT_EQ(headset->next(), kStart14) << "motion goes on by itself";
    EXPECT_TRUE(tells(motionPacket({100, 200, 300}), {0, 0, 0})) << "in the same frame";
    EXPECT_TRUE(tells(motionPacket({900, 1800, 1900}), {0, 9, -2.25F}));

    program.signal(SIGTERM);
    EXPECT_EQ(headset->next(), kStop14);
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(AirPodsDevice, SaysWhyThereIsNoMotion) {
    const Program program({"--airpods-address", address, "--input", "airpods"});
    EXPECT_TRUE(eventually([&] {
        return program.errors().find(
                   "velmaro-cli: no motion from the AirPods (experimental): Connection "
                   "refused; trying again\n") != std::string::npos;
    })) << program.errors();
}

/// With controllers of its own, since BlueZ takes charge of them.
class FoundAirPodsDevice : public AirPodsDevice {};

TEST_F(FoundAirPodsDevice, ItsMotionIsSentAsOSC) {
    std::optional<BlueZService> bluez;
    bluez.emplace();
    ASSERT_EQ(bluez->pair(controllers_->second()), "");
    // To BlueZ, each of the controllers has the other's AirPods.
    headset.emplace(BluetoothAddress{});
    Program program({"--input", "airpods", "--port", receiver.port()},
                    {{"DBUS_SYSTEM_BUS_ADDRESS", bluez->busAddress()}});
    ASSERT_NO_FATAL_FAILURE(greet());
    ASSERT_EQ(headset->next(), kStart16) << program.errors();
    EXPECT_THAT(program.errors(), testing::HasSubstr("velmaro-cli: found AirPods at 00:AA:01:"));
    EXPECT_TRUE(tells(motionPacket({0, 0, 0}, 16), {0, 0, 0}));
    EXPECT_TRUE(tells(motionPacket({0, 1600, 65536 - 1600}, 16), {9, 0, 0}));
    bluez.reset();
    EXPECT_TRUE(program.waitForOutput("🎧 Headphones disconnected\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

}  // namespace
}  // namespace velmaro::integration
