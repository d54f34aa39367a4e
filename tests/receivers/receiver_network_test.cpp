#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fakes/Diagnostics.h"
#include "fakes/Dispatch.h"
#include "fakes/Network.h"
#include "osc/OSCMessage.h"
#include "receivers/ReceiverNetwork.h"
#include "receivers/Receivers.h"
#include "receivers/SentMessage.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using State = UDPConnection::State;
using Bytes = std::vector<std::byte>;

Bytes message(std::string_view address, std::vector<float> values) {
    const auto bytes = createOSCMessage(address, values);
    return {bytes.begin(), bytes.end()};
}

Error because(const std::string& description) {
    return {.description = description, .localizedDescription = description};
}

class ReceiverNetworkTest : public testing::Test {
protected:
    std::shared_ptr<UDPConnection> start() {
        auto made = network.makeUDPConnection("first", Port{8000});
        made->start(queue);
        return made;
    }

    fakes::ScriptedConnection& connection(std::size_t index) {
        return *inner.connections.at(index);
    }

    /// Everything is ready, as with address literals.
    void becomeReady() const {
        for (const auto& each : inner.connections) {
            each->enter(State::ready);
        }
    }

    static void send(UDPConnection& connection, const Bytes& bytes, int times = 1) {
        for (int i = 0; i < times; ++i) {
            connection.send(bytes, [](const Error&) {});
        }
    }

    fakes::HandCrankedDispatch dispatch;
    DispatchQueue& queue = dispatch.globalQueue(QualityOfService::standard);
    fakes::ScriptedNetwork inner;
    fakes::CapturedDiagnostics diagnostics;
    ReceiverNetwork network{inner, diagnostics};
    const Bytes angles = message("/ypr", {10, -5, 3});
};

TEST_F(ReceiverNetworkTest, InsertsNothingByDefault) {
    const auto made = network.makeUDPConnection("first", Port{8000});
    EXPECT_EQ(made.get(), inner.connections.at(0).get());
    EXPECT_EQ(connection(0).host, "first");
    EXPECT_EQ(connection(0).port, Port{8000});
}

TEST_F(ReceiverNetworkTest, AsksTheRealNetworkForPorts) {
    inner.refusedPort = 7;
    EXPECT_FALSE(network.makePort(7));
    EXPECT_EQ(network.makePort(8), Port{8});
}

TEST_F(ReceiverNetworkTest, ConvertsTheAnglesUnderTheSendersAddress) {
    network.setOutput({.conversion = findReceiver("sparta")->conversion});
    const auto made = start();
    send(*made, message("/any", {10, -5, 3}));
    EXPECT_THAT(connection(0).sent, ElementsAre(message("/any", {-10, 5, 3})));
}

TEST_F(ReceiverNetworkTest, MakesAQuaternionOfTheAngles) {
    network.setOutput({.conversion = findReceiver("iem")->conversion});
    const auto made = start();
    send(*made, message("/SceneRotator/quaternions", {180, 0, 0}));
    const auto sent = readMessage(connection(0).sent.at(0));
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->address, "/SceneRotator/quaternions");
    EXPECT_EQ(sent->count, 4U);
    EXPECT_NEAR(sent->values[0], 0, 1e-6);
    EXPECT_EQ(sent->values[3], 1);
}

TEST_F(ReceiverNetworkTest, GivesEachAxisAMessageOfItsOwn) {
    network.setOutput({.conversion = {.form = Conversion::Form::split,
                                      .order = {Axis::tilt, Axis::pan, Axis::roll}}});
    const auto made = start();
    send(*made, angles);
    send(*made, message("/head/ypr", {1, 2, 3}));
    send(*made, message("/head", {1, 2, 3}));
    EXPECT_THAT(connection(0).sent,
                ElementsAre(message("/pitch", {-5}), message("/yaw", {10}), message("/roll", {3}),
                            message("/head/pitch", {2}), message("/head/yaw", {1}),
                            message("/head/roll", {3}), message("/head/pitch", {2}),
                            message("/head/yaw", {1}), message("/head/roll", {3})));
}

TEST_F(ReceiverNetworkTest, SendsOnWhatItCannotConvert) {
    network.setOutput({.conversion = {.flipped = {true, true, true}}});
    const auto made = start();
    const Bytes quaternion = message("/q", {1, 0, 0, 0});
    const Bytes other{std::byte{1}, std::byte{2}};
    send(*made, quaternion);
    send(*made, other);
    EXPECT_THAT(connection(0).sent, ElementsAre(quaternion, other));
}

TEST_F(ReceiverNetworkTest, SendsTheSameValuesToFurtherReceivers) {
    network.setOutput({.conversion = {.flipped = {true, false, false}},
                       .further = {{"second", 9001}, {"third", 9002, "/own"}}});
    const auto made = start();
    ASSERT_THAT(inner.connections, SizeIs(3));
    becomeReady();
    send(*made, angles);
    std::vector<std::string> hosts;
    for (const auto& each : inner.connections) {
        EXPECT_EQ(each->startedOn, &queue);
        const auto sent = readMessage(each->sent.at(0));
        hosts.push_back(each->host + std::string(sent->address));
        EXPECT_EQ(sent->values[0], -10);
    }
    EXPECT_THAT(hosts, testing::UnorderedElementsAre("first/ypr", "second/ypr", "third/own"));
}

TEST_F(ReceiverNetworkTest, SendsQuaternionsToFurtherReceiversToo) {
    network.setOutput({.further = {{"second", 9001, "/own"}}});
    const auto made = start();
    send(*made, message("/ypr", {1, 0, 0, 0}));
    std::vector<Bytes> all = connection(0).sent;
    all.insert(all.end(), connection(1).sent.begin(), connection(1).sent.end());
    EXPECT_THAT(all, testing::UnorderedElementsAre(message("/ypr", {1, 0, 0, 0}),
                                                   message("/own", {1, 0, 0, 0})));
}

class FurtherReceiverTest : public ReceiverNetworkTest {
protected:
    FurtherReceiverTest() {
        network.setOutput({.further = {{"dead", 9001}, {"alive", 9002}}});
        made = start();
        for (const auto& each : inner.connections) {
            (each->host == "dead" ? dead : each->host == "alive" ? alive : first) = each.get();
        }
    }

    std::size_t madeTo(const std::string& host) const {
        return static_cast<std::size_t>(std::ranges::count(
            inner.connections, host, [](const auto& each) { return each->host; }));
    }

    std::shared_ptr<UDPConnection> made;
    fakes::ScriptedConnection* first = nullptr;
    fakes::ScriptedConnection* dead = nullptr;
    fakes::ScriptedConnection* alive = nullptr;
};

TEST_F(FurtherReceiverTest, ADeadOneHoldsUpNone) {
    dead->enter(State::failed, because("no such host"));
    alive->enter(State::ready);
    first->enter(State::ready);
    send(*made, angles, 5);
    EXPECT_THAT(dead->sent, IsEmpty());
    EXPECT_THAT(alive->sent, SizeIs(5));
    EXPECT_THAT(first->sent, SizeIs(5));
}

TEST_F(FurtherReceiverTest, OneWithARefusedPortIsLeftOut) {
    made->cancel();
    inner.connections.clear();
    inner.refusedPort = 9001;
    made = start();
    becomeReady();
    send(*made, angles);
    EXPECT_EQ(madeTo("dead"), 0U);
    for (const auto& each : inner.connections) {
        EXPECT_THAT(each->sent, ElementsAre(angles)) << each->host;
    }
    EXPECT_EQ(madeTo("alive"), 1U);
}

TEST_F(FurtherReceiverTest, HasALineOfItsOwn) {
    becomeReady();
    send(*made, angles);
    dead->errorHandlers.back()(because("Connection refused"));
    EXPECT_THAT(diagnostics.lines(),
                ElementsAre("cannot send to dead port 9001 (Connection refused): start the "
                            "receiver or correct --also"));
}

TEST_F(FurtherReceiverTest, AnUnknownHostHasALineToo) {
    dead->enter(State::failed, because("Name or service not known"));
    EXPECT_THAT(diagnostics.lines(),
                ElementsAre("cannot send to dead port 9001 (Name or service not known): correct "
                            "the address given to --also"));
}

TEST_F(FurtherReceiverTest, TheLineIsNotRepeatedUntilItHasBeenReached) {
    becomeReady();
    for (int i = 0; i < 100; ++i) {
        send(*made, angles, 2);
        dead->errorHandlers.back()(because("Connection refused"));
    }
    EXPECT_THAT(diagnostics.lines(), SizeIs(1));
    send(*made, angles, 100);
    dead->errorHandlers.back()(because("Connection refused"));
    EXPECT_THAT(diagnostics.lines(), SizeIs(2));
}

TEST_F(FurtherReceiverTest, IsTriedAgainAfterAFailure) {
    dead->enter(State::failed, because("no such host"));
    send(*made, angles, 63);
    EXPECT_EQ(madeTo("dead"), 1U);
    send(*made, angles);
    ASSERT_EQ(madeTo("dead"), 2U);
    EXPECT_EQ(inner.connections.back()->startedOn, &queue);
    EXPECT_THAT(inner.connections.back()->sent, SizeIs(1));
}

TEST_F(FurtherReceiverTest, StaysThroughAFailureOfTheFirst) {
    becomeReady();
    first->enter(State::failed, because("no such host"));
    const auto again = start();
    EXPECT_EQ(madeTo("first"), 2U);
    EXPECT_EQ(madeTo("alive"), 1U);
    send(*again, angles);
    EXPECT_THAT(alive->sent, SizeIs(1));
}

TEST_F(FurtherReceiverTest, IsClosedWithTheFirst) {
    becomeReady();
    made->cancel();
    EXPECT_EQ(first->cancelCount, 1);
    EXPECT_EQ(dead->cancelCount, 1);
    EXPECT_EQ(alive->cancelCount, 1);
    send(*made, angles);
    EXPECT_THAT(alive->sent, IsEmpty());
    const auto next = start();
    EXPECT_EQ(madeTo("alive"), 2U);
}

TEST_F(FurtherReceiverTest, ANewOutputCountsFromTheNextConnectionOn) {
    network.setOutput({.conversion = {.flipped = {true, false, false}}});
    becomeReady();
    send(*made, angles);
    EXPECT_THAT(first->sent, ElementsAre(angles));
    const auto next = start();
    EXPECT_EQ(madeTo("alive"), 1U);
    send(*next, angles);
    EXPECT_THAT(inner.connections.back()->sent, ElementsAre(message("/ypr", {-10, -5, 3})));
    // The further receivers were those of the output before.
    EXPECT_THAT(alive->sent, SizeIs(1));
}

TEST_F(FurtherReceiverTest, TheStateIsThatOfTheFirst) {
    std::vector<State> states;
    const auto another = network.makeUDPConnection("first", Port{8000});
    another->setStateUpdateHandler(
        [&](State state, const std::optional<Error>&) { states.push_back(state); });
    inner.connections.back()->enter(State::ready);
    dead->enter(State::failed, because("no such host"));
    EXPECT_EQ(another->state(), State::ready);
    EXPECT_THAT(states, ElementsAre(State::ready));
}

TEST(SentMessage, ReadsWhatTheSenderWrites) {
    const Bytes bytes = message("/abc", {1.5F, -2, 0});
    const auto read = readMessage(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->address, "/abc");
    EXPECT_THAT(read->values, ElementsAre(1.5F, -2, 0, 0));
    EXPECT_EQ(read->count, 3U);
    EXPECT_EQ(readMessage(message("", {1, 2, 3, 4}))->count, 4U);
}

TEST(SentMessage, ReadsNothingElse) {
    EXPECT_FALSE(readMessage({}));
    EXPECT_FALSE(readMessage(message("/a", {1, 2})));
    EXPECT_FALSE(readMessage(message("/a", {1, 2, 3, 4, 5})));
    Bytes bytes = message("/ypr", {1, 2, 3});
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_FALSE(readMessage(std::span(bytes).first(size))) << size;
    }
    bytes.push_back(std::byte{0});
    EXPECT_FALSE(readMessage(bytes));
    bytes = message("/ypr", {1, 2, 3});
    bytes[9] = std::byte{'i'};
    EXPECT_FALSE(readMessage(bytes));
}

}  // namespace
}  // namespace velmaro
