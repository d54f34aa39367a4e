// The whole program beside a stand-in for BlueZ on a bus of the test's own. Speaking to what was
// found needs Bluetooth, which tests/integration/guest has.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "backends/airpods/FakeBlueZ.h"
#include "backends/airpods/PrivateBus.h"
#include "integration/headphones/UDPTracker.h"
#include "integration/support/Program.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kPath = "/org/bluez/hci0/dev_00_00_00_00_00_00";

/// Nobody has it.
FakeDevice airPods() {
    FakeDevice device;
    device.address = "00:00:00:00:00:00";
    return device;
}

class FoundAirPods : public testing::Test {
protected:
    const PrivateBus bus;
    const Program::Environment variables{{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()}};
};

TEST_F(FoundAirPods, AreSpokenToAndCalledExperimental) {
    const FakeBlueZ bluez(bus.address(), {{kPath, airPods()}});
    const Finished run = runProgram({"--input", "airpods"}, variables);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors,
                HasSubstr("velmaro-cli: found AirPods at 00:00:00:00:00:00; their motion is "
                          "experimental, see docs/headphones.md\n"));
    EXPECT_THAT(run.errors, HasSubstr("velmaro-cli: no motion from the AirPods (experimental): "));
}

TEST_F(FoundAirPods, AreNotLookedForWhereACameraIsChosen) {
    const FakeBlueZ bluez(bus.address(), {{kPath, airPods()}});
    const Finished run = runProgram({"--demo", "--once"}, variables);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.errors, Not(HasSubstr("AirPods")));
    EXPECT_EQ(bluez.questions(), 0);
}

TEST_F(FoundAirPods, AreNoSourceUnlessTheyAnswer) {
    const FakeBlueZ bluez(bus.address(), {{kPath, airPods()}});
    const Finished run = runProgram({"--demo", "--list-inputs"}, variables);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("camera_demo\tDemonstration\n"));
    EXPECT_THAT(run.output, Not(HasSubstr("airpods")));
    EXPECT_THAT(run.errors, HasSubstr("velmaro-cli: found AirPods at 00:00:00:00:00:00"));
}

TEST_F(FoundAirPods, AreNotLookedForWhereAnotherTrackerIsNamed) {
    const FakeBlueZ bluez(bus.address(), {{kPath, airPods()}});
    const Finished run = runProgram(
        {"--motion-udp", std::to_string(freePort()), "--input", "airpods", "--duration", "0.5"},
        variables);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, Not(HasSubstr("AirPods at")));
    EXPECT_EQ(bluez.questions(), 0);
}

TEST_F(FoundAirPods, AreNotLookedForWhereAnAddressIsGiven) {
    const FakeBlueZ bluez(bus.address(), {{kPath, airPods()}});
    const Finished run = runProgram(
        {"--airpods-address", "00:00:00:00:00:01", "--input", "airpods", "--duration", "0.5"},
        variables);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(bluez.questions(), 0);
}

TEST_F(FoundAirPods, NoneIsNothingToSpeakOf) {
    for (const std::string& address : {bus.address(), std::string("unix:path=/nonexistent/bus")}) {
        const Finished run =
            runProgram({"--demo", "--list-inputs"}, {{"DBUS_SYSTEM_BUS_ADDRESS", address}});
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.errors, Not(HasSubstr("AirPods")));
    }
}

}  // namespace
}  // namespace velmaro::integration
