#include <gtest/gtest.h>

#include <array>

#include "app/ReceiverMonitor.h"
#include "fakes/Dispatch.h"
#include "fakes/Network.h"

namespace velmaro {
namespace {

using namespace std::chrono_literals;
using State = UDPConnection::State;
using Trouble = ReceiverMonitor::Trouble;

class ReceiverMonitorTest : public testing::Test {
protected:
    std::shared_ptr<UDPConnection> connect(const std::string& host = "10.0.0.7",
                                           std::uint16_t port = 9000) {
        const auto connection = monitor.makeUDPConnection(host, Port{port});
        connection->setStateUpdateHandler(
            [this](State state, const std::optional<Error>&) { states.push_back(state); });
        connection->start(dispatch.main);
        return connection;
    }

    void send(UDPConnection& connection) {
        connection.send(std::array<std::byte, 4>{},
                        [this](const Error& error) { errors.push_back(error.description); });
    }

    /// The latest datagram comes back.
    void refuse() { network.connections.back()->errorHandlers.back()({"Connection refused", ""}); }

    fakes::HandCrankedDispatch dispatch;
    fakes::ScriptedNetwork network;
    ReceiverMonitor::Clock::time_point now;
    ReceiverMonitor monitor{network, [this] { return now; }};
    std::vector<State> states;
    std::vector<std::string> errors;
};

TEST_F(ReceiverMonitorTest, KnowsNoTargetBeforeTheFirstAndAfterTheLastConnection) {
    EXPECT_FALSE(monitor.status().target);
    const auto connection = connect();
    EXPECT_EQ(monitor.status().target, (ReceiverMonitor::Status::Target{"10.0.0.7", Port{9000}}));
    connection->cancel();
    EXPECT_FALSE(monitor.status().target);
    EXPECT_EQ(network.connections.at(0)->cancelCount, 1);
}

TEST_F(ReceiverMonitorTest, PassesEverythingOn) {
    network.refusedPort = 7;
    EXPECT_FALSE(monitor.makePort(7));
    EXPECT_EQ(monitor.makePort(8), Port{8});
    const auto connection = connect();
    EXPECT_EQ(network.connections.at(0)->startedOn, &dispatch.main);
    network.connections.at(0)->enter(State::ready);
    EXPECT_EQ(connection->state(), State::ready);
    EXPECT_EQ(states, std::vector{State::ready});
    send(*connection);
    EXPECT_EQ(network.connections.at(0)->sent.at(0).size(), 4U);
    refuse();
    EXPECT_EQ(errors, std::vector<std::string>{"Connection refused"});
}

TEST_F(ReceiverMonitorTest, ARefusalCountsAfterASecondAndUntilThreeSecondsWithoutOne) {
    const auto connection = connect();
    send(*connection);
    refuse();
    EXPECT_EQ(monitor.status().trouble, Trouble::none);
    now += 999ms;
    send(*connection);
    refuse();
    EXPECT_EQ(monitor.status().trouble, Trouble::none);
    now += 1ms;
    refuse();
    EXPECT_EQ(monitor.status().trouble, Trouble::refused);
    EXPECT_EQ(monitor.status().reason, "Connection refused");
    now += 3s;
    EXPECT_EQ(monitor.status().trouble, Trouble::refused);
    now += 1ms;
    EXPECT_EQ(monitor.status().trouble, Trouble::none);
    refuse();
    EXPECT_EQ(monitor.status().trouble, Trouble::none) << "which begins anew";
}

TEST_F(ReceiverMonitorTest, AHostThatIsNotFoundStaysKnownUntilOneIsReady) {
    connect("nowhere");
    network.connections.back()->enter(State::preparing);
    EXPECT_EQ(monitor.status().trouble, Trouble::none);
    network.connections.back()->enter(State::failed, Error{"not found", ""});
    EXPECT_EQ(monitor.status().trouble, Trouble::notFound);
    EXPECT_EQ(monitor.status().reason, "not found");
    connect("nowhere");
    EXPECT_EQ(monitor.status().trouble, Trouble::notFound);
    network.connections.back()->enter(State::ready);
    EXPECT_EQ(monitor.status().trouble, Trouble::none);
}

TEST_F(ReceiverMonitorTest, AnotherHostBeginsWithoutBlame) {
    connect("nowhere");
    network.connections.back()->enter(State::failed, Error{"not found", ""});
    connect("localhost");
    EXPECT_EQ(monitor.status().trouble, Trouble::none);
}

TEST_F(ReceiverMonitorTest, WhatAnEarlierConnectionSaysIsOld) {
    const auto first = connect("10.0.0.1");
    connect("10.0.0.2");
    network.connections.at(0)->enter(State::failed, Error{"gone", ""});
    first->cancel();
    EXPECT_EQ(monitor.status().trouble, Trouble::none);
    EXPECT_EQ(monitor.status().target->host, "10.0.0.2");
}

}  // namespace
}  // namespace velmaro
