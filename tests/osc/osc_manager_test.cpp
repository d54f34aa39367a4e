#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <vector>

#include "fakes/Dispatch.h"
#include "fakes/Log.h"
#include "fakes/Network.h"
#include "fakes/WallClock.h"
#include "osc/OSCManager.h"
#include "osc/OSCMessage.h"

namespace velmaro {

struct OSCManagerTestAccess {
    static void sendValues(OSCManager& manager, std::span<const float> values) {
        manager.sendValues(values);
    }
};

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using State = UDPConnection::State;

constexpr WallTime kStart = 1'800'000'000.0;

std::vector<std::byte> message(std::string_view address, std::span<const float> values) {
    const auto bytes = createOSCMessage(address, values);
    return {bytes.begin(), bytes.end()};
}

class OSCManagerTest : public testing::Test {
protected:
    OSCManagerTest() { clock.time = kStart; }

    void sendAt(double secondsAfterStart) {
        clock.time = kStart + secondsAfterStart;
        manager->sendOSC(1, 2, 3);
    }

    /// The only connection made so far.
    fakes::ScriptedConnection& connection() {
        EXPECT_THAT(network.connections, SizeIs(1));
        return *network.connections.back();
    }

    fakes::ScriptedConnection& latest() { return *network.connections.back(); }

    std::size_t sentInAll() const {
        std::size_t count = 0;
        for (const auto& each : network.connections) {
            count += each->sent.size();
        }
        return count;
    }

    fakes::ScriptedNetwork network;
    fakes::HandCrankedDispatch dispatch;
    fakes::ManualClock clock;
    fakes::CapturedLog log;
    std::optional<OSCManager> manager{std::in_place, network, dispatch, clock, log};
};

TEST_F(OSCManagerTest, StartsWithTheDefaultsAndNoConnection) {
    EXPECT_EQ(manager->ipAddress.get(), "127.0.0.1");
    EXPECT_EQ(manager->port.get(), "8000");
    EXPECT_EQ(manager->oscMessage.get(), "/ypr");
    EXPECT_EQ(manager->frameRate.get(), 30);
    EXPECT_THAT(network.connections, IsEmpty());
}

TEST_F(OSCManagerTest, TellsObserversBeforeEachSettingChanges) {
    std::vector<std::string> seen;
    const Subscription subscription = manager->observeChanges([&] {
        seen.push_back(manager->ipAddress.get() + " " + manager->port.get() + " " +
                       manager->oscMessage.get() + " " + std::to_string(manager->frameRate.get()));
    });
    manager->ipAddress = "localhost";
    manager->port = "9000";
    manager->oscMessage = "/q";
    manager->frameRate = 60;
    EXPECT_THAT(seen, ElementsAre("127.0.0.1 8000 /ypr 30", "localhost 8000 /ypr 30",
                                  "localhost 9000 /ypr 30", "localhost 9000 /q 30"));
    EXPECT_EQ(manager->frameRate.get(), 60);
}

TEST_F(OSCManagerTest, FirstSampleConnectsAndSendsInOneCall) {
    manager->sendOSC(10, -5, 0.5F);
    EXPECT_EQ(connection().host, "127.0.0.1");
    EXPECT_EQ(connection().port, Port{8000});
    EXPECT_EQ(connection().startedOn, &dispatch.standard);
    EXPECT_TRUE(connection().handler);
    EXPECT_EQ(connection().state(), State::setup);
    EXPECT_THAT(connection().sent, ElementsAre(message("/ypr", std::array{10.0F, -5.0F, 0.5F})));
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(OSCManagerTest, QuaternionGoesOutInItsOrder) {
    manager->sendQuaternion(0.1F, 0.2F, 0.3F, 0.4F);
    EXPECT_THAT(connection().sent,
                ElementsAre(message("/ypr", std::array{0.1F, 0.2F, 0.3F, 0.4F})));
}

TEST_F(OSCManagerTest, EmptyListIsAMessageWithoutArguments) {
    OSCManagerTestAccess::sendValues(*manager, {});
    ASSERT_THAT(connection().sent, SizeIs(1));
    EXPECT_EQ(connection().sent[0],
              (std::vector{std::byte{0x2F}, std::byte{0x79}, std::byte{0x70}, std::byte{0x72},
                           std::byte{0}, std::byte{0}, std::byte{0}, std::byte{0}, std::byte{0x2C},
                           std::byte{0}, std::byte{0}, std::byte{0}}));
}

TEST_F(OSCManagerTest, ListOfAnyLengthAndAddressOfAnyLengthGoOut) {
    const std::vector<float> values(500, 1.5F);
    manager->oscMessage = "/" + std::string(1000, 'x');
    OSCManagerTestAccess::sendValues(*manager, values);
    EXPECT_THAT(connection().sent, ElementsAre(message("/" + std::string(1000, 'x'), values)));
}

TEST_F(OSCManagerTest, FiveHundredValuesGoOutByteForByte) {
    std::vector<float> values(500, 1.5F);
    values.front() = -2.5F;
    values.back() = 10;
    OSCManagerTestAccess::sendValues(*manager, values);
    std::vector<unsigned> expected{0x2F, 0x79, 0x70, 0x72, 0, 0, 0, 0, 0x2C};
    expected.insert(expected.end(), 500, 0x66);
    expected.insert(expected.end(), {0, 0, 0, 0xC0, 0x20, 0, 0});
    for (int count = 0; count < 498; ++count) {
        expected.insert(expected.end(), {0x3F, 0xC0, 0, 0});
    }
    expected.insert(expected.end(), {0x41, 0x20, 0, 0});
    ASSERT_THAT(connection().sent, SizeIs(1));
    std::vector<unsigned> sent;
    for (const std::byte byte : connection().sent[0]) {
        sent.push_back(std::to_integer<unsigned>(byte));
    }
    EXPECT_EQ(sent, expected);
}

TEST_F(OSCManagerTest, AddressIsReadForEverySend) {
    sendAt(0);
    manager->oscMessage = "/head";
    sendAt(1);
    manager->oscMessage = "";
    sendAt(2);
    const std::array values{1.0F, 2.0F, 3.0F};
    EXPECT_THAT(connection().sent, ElementsAre(message("/ypr", values), message("/head", values),
                                               message("", values)));
}

// --- Rate limit ---

TEST_F(OSCManagerTest, FirstSamplePassesAtAnyRateOfAtLeastOne) {
    manager->frameRate = 1;
    sendAt(0);
    EXPECT_EQ(sentInAll(), 1U);
}

TEST_F(OSCManagerTest, FirstSamplePassesEvenAtTheEpoch) {
    clock.time = 0;
    manager->sendOSC(1, 2, 3);
    EXPECT_EQ(sentInAll(), 1U);
}

TEST_F(OSCManagerTest, DropsWhatComesTooEarly) {
    sendAt(0);
    sendAt(0.020);
    EXPECT_EQ(sentInAll(), 1U);
    sendAt(0.034);
    EXPECT_EQ(sentInAll(), 2U);
}

TEST_F(OSCManagerTest, DroppedSampleLeavesTheIntervalAlone) {
    sendAt(0);
    sendAt(0.0332);
    EXPECT_EQ(sentInAll(), 1U);
    sendAt(0.0666);
    EXPECT_EQ(sentInAll(), 2U);
    // The stamp is the sample's own time: lateness is not made up.
    sendAt(0.0999);
    EXPECT_EQ(sentInAll(), 2U);
    sendAt(0.1001);
    EXPECT_EQ(sentInAll(), 3U);
}

TEST_F(OSCManagerTest, ExactlyOneIntervalPasses) {
    clock.time = 0;
    manager->sendOSC(1, 2, 3);
    clock.time = std::nextafter(1.0 / 30.0, 0.0);
    manager->sendOSC(1, 2, 3);
    EXPECT_EQ(sentInAll(), 1U);
    clock.time = 1.0 / 30.0;
    manager->sendOSC(1, 2, 3);
    EXPECT_EQ(sentInAll(), 2U);
}

TEST_F(OSCManagerTest, RateZeroNeverSendsNorConnects) {
    manager->frameRate = 0;
    sendAt(0);
    sendAt(1e9);
    EXPECT_THAT(network.connections, IsEmpty());
    // Nor did it use up an interval.
    manager->frameRate = 30;
    sendAt(0);
    EXPECT_EQ(sentInAll(), 1U);
}

TEST_F(OSCManagerTest, NegativeRateHasNoLimit) {
    for (const std::int64_t rate : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
        manager->frameRate = rate;
        const std::size_t before = sentInAll();
        for (int i = 0; i < 5; ++i) {
            sendAt(0);
        }
        EXPECT_EQ(sentInAll() - before, 5U) << rate;
    }
}

TEST_F(OSCManagerTest, QuaternionsAreHeldToTheSameRate) {
    manager->sendQuaternion(1, 0, 0, 0);
    clock.time = kStart + 0.02;
    manager->sendQuaternion(1, 0, 0, 0);
    manager->sendOSC(1, 2, 3);
    EXPECT_EQ(sentInAll(), 1U);
    clock.time = kStart + 0.034;
    manager->sendQuaternion(1, 0, 0, 0);
    clock.time = kStart + 0.04;
    manager->sendOSC(1, 2, 3);
    EXPECT_EQ(sentInAll(), 2U);
}

TEST_F(OSCManagerTest, TheClockIsReadOncePerSample) {
    clock.tick = 0.01;
    const int before = clock.looks;
    sendAt(0);
    EXPECT_EQ(clock.looks, before + 1);
    // The stamp is what was compared: 34 ms after it, not 24 ms after a later look.
    sendAt(0.034);
    EXPECT_EQ(sentInAll(), 2U);
    EXPECT_EQ(clock.looks, before + 2);
}

TEST_F(OSCManagerTest, ANegativeRateLetsAnEarlierTimePass) {
    manager->frameRate = -2;
    sendAt(0);
    sendAt(-0.25);
    sendAt(-0.5);
    EXPECT_EQ(sentInAll(), 3U);
}

TEST_F(OSCManagerTest, TwoThousandASecondAreTwoThousand) {
    clock.time = 0;
    manager->frameRate = 2000;
    manager->sendOSC(1, 2, 3);
    clock.time = 0.0004;
    manager->sendOSC(1, 2, 3);
    EXPECT_EQ(sentInAll(), 1U);
    clock.time = 0.0005;
    manager->sendOSC(1, 2, 3);
    clock.time = 0.001;
    manager->sendOSC(1, 2, 3);
    EXPECT_EQ(sentInAll(), 3U);
}

TEST_F(OSCManagerTest, RateIsReadForEverySend) {
    manager->frameRate = 60;
    sendAt(0);
    sendAt(0.017);
    EXPECT_EQ(sentInAll(), 2U);
    manager->frameRate = 30;
    sendAt(0.034);
    EXPECT_EQ(sentInAll(), 2U);
    manager->frameRate = std::numeric_limits<std::int64_t>::max();
    sendAt(0.035);
    EXPECT_EQ(sentInAll(), 3U);
}

TEST_F(OSCManagerTest, ClockStepBackHoldsEverythingUntilItHasCaughtUp) {
    sendAt(0);
    sendAt(-3600);
    sendAt(-1);
    sendAt(0);
    sendAt(0.033);
    EXPECT_EQ(sentInAll(), 1U);
    sendAt(0.034);
    EXPECT_EQ(sentInAll(), 2U);
}

TEST_F(OSCManagerTest, ClockStepForwardSendsAtOnceAndHoldsAfterItIsUndone) {
    sendAt(0);
    sendAt(3600);
    EXPECT_EQ(sentInAll(), 2U);
    sendAt(1);
    EXPECT_EQ(sentInAll(), 2U);
}

// --- Port ---

TEST_F(OSCManagerTest, BadPortIsSilentButUsesUpTheInterval) {
    manager->port = "80a0";
    sendAt(0);
    EXPECT_THAT(network.connections, IsEmpty());
    EXPECT_THAT(log.lines, IsEmpty());
    manager->port = "8000";
    sendAt(0.020);
    EXPECT_THAT(network.connections, IsEmpty());
    sendAt(0.034);
    EXPECT_EQ(sentInAll(), 1U);
}

TEST_F(OSCManagerTest, BadPortLeavesTheConnectionAloneButHoldsSends) {
    sendAt(0);
    manager->port = "";
    sendAt(1);
    EXPECT_EQ(sentInAll(), 1U);
    EXPECT_EQ(connection().cancelCount, 0);
    manager->port = "8000";
    sendAt(2);
    EXPECT_THAT(connection().sent, SizeIs(2));
}

TEST_F(OSCManagerTest, PortTexts) {
    const std::vector<std::pair<std::string, std::optional<std::uint16_t>>> rows = {
        {"+8000", 8000},     {"08000", 8000},         {"8000", 8000},          {"-0", 0},
        {"65535", 65535},    {"65536", std::nullopt}, {" 8000", std::nullopt}, {"", std::nullopt},
        {"-1", std::nullopt}};
    double time = 0;
    for (const auto& [text, number] : rows) {
        manager->disconnect();
        network.connections.clear();
        manager->port = text;
        sendAt(time += 1);
        if (number) {
            EXPECT_EQ(connection().port, Port{*number}) << text;
            EXPECT_THAT(connection().sent, SizeIs(1)) << text;
        } else {
            EXPECT_THAT(network.connections, IsEmpty()) << text;
        }
    }
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(OSCManagerTest, RefusedPortBecomesEightThousand) {
    network.refusedPort = 0;
    manager->port = "0";
    sendAt(0);
    EXPECT_EQ(connection().port, Port{8000});
    EXPECT_THAT(connection().sent, SizeIs(1));
}

// --- Connection ---

TEST_F(OSCManagerTest, HostTextIsHandedOnAsItIs) {
    manager->ipAddress = " not a host\n";
    sendAt(0);
    EXPECT_EQ(connection().host, " not a host\n");
}

TEST_F(OSCManagerTest, EveryLiveStateIsReusedWhateverTheSettingsSay) {
    sendAt(0);
    manager->ipAddress = "10.0.0.1";
    manager->port = "9000";
    double time = 0;
    for (const State state : {State::setup, State::preparing, State::ready}) {
        connection().currentState = state;
        sendAt(time += 1);
    }
    EXPECT_THAT(connection().sent, SizeIs(4));
    EXPECT_EQ(connection().cancelCount, 0);
}

TEST_F(OSCManagerTest, DeadConnectionIsReplacedFromTheCurrentSettings) {
    for (const State state : {State::failed, State::cancelled}) {
        network.connections.clear();
        manager.emplace(network, dispatch, clock, log);
        sendAt(0);
        const auto dead = network.connections.back();
        dead->currentState = state;
        manager->ipAddress = "10.0.0.1";
        manager->port = "9000";
        sendAt(1);
        ASSERT_THAT(network.connections, SizeIs(2));
        EXPECT_EQ(latest().host, "10.0.0.1");
        EXPECT_EQ(latest().port, Port{9000});
        EXPECT_EQ(latest().startedOn, &dispatch.standard);
        EXPECT_THAT(latest().sent, SizeIs(1));
        EXPECT_THAT(dead->sent, SizeIs(1));
        EXPECT_EQ(dead->cancelCount, 0);
        // Only the test and the network's own list still hold the dead one.
        EXPECT_EQ(dead.use_count(), 2);
    }
}

TEST_F(OSCManagerTest, FailedConnectionStaysUntilASendPasses) {
    sendAt(0);
    connection().currentState = State::failed;
    sendAt(0.01);
    EXPECT_THAT(network.connections, SizeIs(1));
    manager->port = "x";
    sendAt(1);
    EXPECT_THAT(network.connections, SizeIs(1));
    EXPECT_EQ(network.connections[0].use_count(), 2);
    manager->port = "8000";
    sendAt(2);
    EXPECT_THAT(network.connections, SizeIs(2));
}

TEST_F(OSCManagerTest, DestinationThatKeepsFailingIsTriedAgainWithEverySend) {
    for (int i = 0; i < 3; ++i) {
        sendAt(i);
        latest().enter(State::failed, Error{"No route to host", ""});
    }
    EXPECT_THAT(network.connections, SizeIs(3));
    EXPECT_THAT(log.lines, ElementsAre("❌ OSC connection failed: No route to host",
                                       "❌ OSC connection failed: No route to host",
                                       "❌ OSC connection failed: No route to host"));
}

TEST_F(OSCManagerTest, ToldOfAFailureItKeepsTheConnectionUntilTheNextSend) {
    for (const State state : {State::failed, State::cancelled}) {
        network.connections.clear();
        manager.emplace(network, dispatch, clock, log);
        sendAt(0);
        connection().enter(state, Error{"gone", ""});
        EXPECT_EQ(network.connections[0].use_count(), 2);
        EXPECT_EQ(connection().cancelCount, 0);
        manager->disconnect();
        EXPECT_EQ(connection().cancelCount, 1);
        EXPECT_EQ(network.connections[0].use_count(), 1);
    }
}

TEST_F(OSCManagerTest, AnEarlierConnectionsFailureLeavesTheNewOneAlone) {
    sendAt(0);
    const auto earlier = network.connections[0];
    earlier->currentState = State::failed;
    sendAt(1);
    ASSERT_THAT(network.connections, SizeIs(2));
    earlier->enter(State::failed, Error{"late", ""});
    earlier->enter(State::cancelled);
    sendAt(2);
    EXPECT_THAT(network.connections, SizeIs(2));
    EXPECT_THAT(latest().sent, SizeIs(2));
}

TEST_F(OSCManagerTest, TheHandlerHoldsNoManager) {
    sendAt(0);
    const auto earlier = network.connections[0];
    // The next manager lives where the first one did, which a handler that held it would touch.
    manager.emplace(network, dispatch, clock, log);
    sendAt(1);
    earlier->enter(State::ready);
    earlier->enter(State::failed, Error{"late", ""});
    EXPECT_EQ(network.connections[1].use_count(), 2);
    sendAt(2);
    EXPECT_THAT(network.connections, SizeIs(2));
    EXPECT_EQ(manager->frameRate.get(), 30);
}

TEST_F(OSCManagerTest, AConnectionIsStoredBeforeItIsStarted) {
    std::vector<std::string> trace;
    network.trace = &trace;
    network.onStart = [this] { manager->disconnect(); };
    sendAt(0);
    EXPECT_EQ(connection().cancelCount, 1);
    EXPECT_THAT(trace, ElementsAre("makeUDPConnection", "setStateUpdateHandler", "start", "cancel",
                                   "send"));
}

TEST_F(OSCManagerTest, AConnectionIsStoredBeforeItHasAHandler) {
    network.onHandlerSet = [this] { manager->disconnect(); };
    sendAt(0);
    EXPECT_EQ(connection().cancelCount, 1);
}

TEST_F(OSCManagerTest, AMessageOfUsualLengthTakesNoMemory) {
    sendAt(0);
    std::pmr::memory_resource* const before =
        std::pmr::set_default_resource(std::pmr::null_memory_resource());
    EXPECT_NO_THROW(sendAt(1));
    std::pmr::set_default_resource(before);
    EXPECT_THAT(connection().sent, SizeIs(2));
}

TEST_F(OSCManagerTest, EachSettingIsReadAtItsStep) {
    network.onMakePort = [this] { manager->ipAddress = "10.0.0.1"; };
    network.onStart = [this] {
        manager->ipAddress = "too late";
        manager->port = "9000";
        manager->oscMessage = "/late";
    };
    sendAt(0);
    EXPECT_EQ(connection().host, "10.0.0.1");
    EXPECT_EQ(connection().port, Port{8000});
    EXPECT_THAT(connection().sent, ElementsAre(message("/late", std::array{1.0F, 2.0F, 3.0F})));
}

TEST_F(OSCManagerTest, DisconnectCancelsAndForgets) {
    sendAt(0);
    const auto first = network.connections.back();
    manager->disconnect();
    EXPECT_EQ(first->cancelCount, 1);
    EXPECT_EQ(first.use_count(), 2);
    manager->disconnect();
    EXPECT_EQ(first->cancelCount, 1);

    manager->ipAddress = "10.0.0.1";
    sendAt(1);
    ASSERT_THAT(network.connections, SizeIs(2));
    EXPECT_EQ(latest().host, "10.0.0.1");
    EXPECT_EQ(latest().startedOn, &dispatch.standard);
    EXPECT_THAT(latest().sent, SizeIs(1));
    EXPECT_THAT(first->sent, SizeIs(1));
}

TEST_F(OSCManagerTest, DisconnectCancelsAFailedConnectionToo) {
    sendAt(0);
    connection().currentState = State::failed;
    manager->disconnect();
    EXPECT_EQ(connection().cancelCount, 1);
}

TEST_F(OSCManagerTest, DisconnectWithoutAConnectionDoesNothing) {
    manager->disconnect();
    EXPECT_THAT(network.connections, IsEmpty());
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(OSCManagerTest, DisconnectDoesNotRestartTheInterval) {
    sendAt(0);
    manager->disconnect();
    sendAt(0.02);
    EXPECT_THAT(network.connections, SizeIs(1));
}

TEST_F(OSCManagerTest, DestructionDropsTheConnectionWithoutCancelling) {
    sendAt(0);
    manager.reset();
    EXPECT_EQ(connection().cancelCount, 0);
    EXPECT_EQ(network.connections[0].use_count(), 1);
}

// --- Log ---

TEST_F(OSCManagerTest, StatesAreLoggedInTheirWords) {
    sendAt(0);
    connection().enter(State::setup);
    connection().enter(State::preparing);
    EXPECT_THAT(log.take(), IsEmpty());
    connection().enter(State::ready);
    EXPECT_THAT(log.take(), ElementsAre("✅ OSC UDP connection ready"));
    connection().enter(State::failed, Error{"Network is unreachable", "Unreachable."});
    EXPECT_THAT(log.take(), ElementsAre("❌ OSC connection failed: Network is unreachable"));
    connection().enter(State::cancelled);
    EXPECT_THAT(log.take(), ElementsAre("⚠️ OSC connection cancelled"));
}

TEST_F(OSCManagerTest, SendErrorsAreLoggedAndNothingElseHappens) {
    sendAt(0);
    connection().errorHandlers.at(0)(Error{"Connection refused", "Refused."});
    EXPECT_THAT(log.take(), ElementsAre("OSC send error: Connection refused"));
    EXPECT_THAT(connection().sent, SizeIs(1));
    EXPECT_EQ(connection().cancelCount, 0);
    sendAt(1);
    EXPECT_THAT(connection().sent, SizeIs(2));
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(OSCManagerTest, HandlersOutliveTheManager) {
    sendAt(0);
    manager->disconnect();
    manager.reset();
    connection().enter(State::cancelled);
    connection().errorHandlers.at(0)(Error{"Operation canceled", ""});
    EXPECT_THAT(log.lines, ElementsAre("⚠️ OSC connection cancelled",
                                       "OSC send error: Operation canceled"));
}

// --- An address that cannot be sent ---

using OSCManagerDeathTest = OSCManagerTest;

TEST_F(OSCManagerDeathTest, NonASCIIAddressEndsTheProcessAtTheNextSend) {
    manager->oscMessage = "/t\u00EAte";
    EXPECT_EXIT(sendAt(0), testing::KilledBySignal(SIGABRT), IsEmpty());
}

TEST_F(OSCManagerTest, NonASCIIAddressIsHarmlessUntilASendPassesRateAndPort) {
    sendAt(0);
    manager->oscMessage = "/t\u00EAte";
    sendAt(0.02);
    manager->port = "none";
    sendAt(1);
    EXPECT_EQ(sentInAll(), 1U);
}

}  // namespace
}  // namespace velmaro
