#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "NetworkTest.h"
#include "platform/Telemetry.h"

namespace velmaro {
namespace {

using std::chrono::milliseconds;

/// Address literals: nothing here may ask for a name.
class ConnectionTest : public NetworkTest {
protected:
    Telemetry telemetry;
    AsioNetwork network{&telemetry, [](const std::string& host) {
                            ADD_FAILURE() << "asked for " << host;
                            return HostAddresses();
                        }};
};

TEST_F(ConnectionTest, LiteralIsReadyWhenStartReturns) {
    UDPReceiver receiver;
    const auto connection = connect(network, "127.0.0.1", receiver.port());
    EXPECT_EQ(connection->state(), State::ready);
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    send(*connection, "hello");
    EXPECT_EQ(receiver.receive(), "hello");
    EXPECT_EQ(telemetry.datagramsOut, 1U);
    EXPECT_FALSE(told->takeNow());
}

TEST_F(ConnectionTest, IsInSetupUntilStarted) {
    const auto connection = network.makeUDPConnection("127.0.0.1", Port{8000});
    EXPECT_EQ(connection->state(), State::setup);
}

TEST_F(ConnectionTest, DatagramsBeforeTheStartGoOutInOrderAtTheStart) {
    UDPReceiver receiver;
    const auto connection = network.makeUDPConnection("127.0.0.1", Port{receiver.port()});
    send(*connection, "1");
    send(*connection, "2");
    connection->start(queue());
    send(*connection, "3");
    EXPECT_EQ(receiver.receive(), "1");
    EXPECT_EQ(receiver.receive(), "2");
    EXPECT_EQ(receiver.receive(), "3");
}

TEST_F(ConnectionTest, EmptyDatagramArrives) {
    UDPReceiver receiver;
    const auto connection = connect(network, "127.0.0.1", receiver.port());
    send(*connection, "");
    EXPECT_EQ(receiver.receive(), "");
}

TEST_F(ConnectionTest, EverySpellingOfAnAddressIsALiteral) {
    UDPReceiver receiver("127.0.0.1");
    for (const char* host : {"127.0.0.1", "127.1", "2130706433", "0x7f.1", "::ffff:127.0.0.1"}) {
        const auto connection = connect(network, host, receiver.port());
        if (connection->state() == State::failed && std::string(host).starts_with("::")) {
            continue;  // This machine has no IPv6 at all.
        }
        ASSERT_EQ(connection->state(), State::ready) << host;
        send(*connection, host);
        EXPECT_EQ(receiver.receive(), host);
    }
}

TEST_F(ConnectionTest, IPv6) {
    std::unique_ptr<UDPReceiver> receiver;
    try {
        receiver = std::make_unique<UDPReceiver>("::1");
    } catch (const std::system_error& error) {
        GTEST_SKIP() << "no address ::1 here: " << error.what();
    }
    const auto connection = connect(network, "::1", receiver->port());
    ASSERT_EQ(connection->state(), State::ready);
    send(*connection, "six");
    EXPECT_EQ(receiver->receive(), "six");
}

TEST_F(ConnectionTest, ScopedIPv6IsALiteral) {
    // Whether it connects depends on the machine; that nobody is asked for a name does not.
    const auto connection = connect(network, "fe80::1%lo", 8000);
    EXPECT_THAT(connection->state(), testing::AnyOf(State::ready, State::failed));
}

TEST_F(ConnectionTest, Broadcast) {
    UDPReceiver receiver("");
    const auto connection = connect(network, "127.255.255.255", receiver.port());
    ASSERT_EQ(connection->state(), State::ready);
    send(*connection, "to all");
    EXPECT_EQ(receiver.receive(), "to all");
}

TEST_F(ConnectionTest, PortZeroConnects) {
    EXPECT_EQ(network.makePort(0), Port{0});
    EXPECT_EQ(network.makePort(65535), Port{65535});
    const auto connection = connect(network, "127.0.0.1", 0);
    EXPECT_EQ(connection->state(), State::ready);
}

TEST_F(ConnectionTest, UnreachableAddressFailsForGood) {
    // A link-local multicast group without an interface has no route.
    const auto connection = connect(network, "fe80::1", 8000);
    EXPECT_EQ(connection->state(), State::failed);
    const auto failure = told->take();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->state, State::failed);
    EXPECT_FALSE(failure->error.empty());
    send(*connection, "late");
    EXPECT_EQ(errors->take(), (SendError{"late", failure->error}));
    EXPECT_EQ(connection->state(), State::failed);
    EXPECT_FALSE(told->take(milliseconds(20)));
}

TEST_F(ConnectionTest, ReceiverMayGoAndComeBack) {
    auto receiver = std::make_unique<UDPReceiver>();
    const std::uint16_t port = receiver->port();
    const auto connection = connect(network, "127.0.0.1", port);
    send(*connection, "before");
    EXPECT_EQ(receiver->receive(), "before");

    receiver.reset();
    send(*connection, "lost");
    send(*connection, "refused");
    EXPECT_EQ(errors->take(), (SendError{"refused", "Connection refused"}));
    EXPECT_EQ(connection->state(), State::ready);

    receiver = std::make_unique<UDPReceiver>("127.0.0.1", port);
    send(*connection, "after");
    EXPECT_EQ(receiver->receive(), "after");
    EXPECT_FALSE(errors->takeNow());
}

TEST_F(ConnectionTest, DatagramTooLongForUDPReachesItsHandler) {
    UDPReceiver receiver;
    const auto connection = connect(network, "127.0.0.1", receiver.port());
    send(*connection, std::string(65507, 'x'));
    EXPECT_EQ(receiver.receive()->size(), 65507U);
    send(*connection, std::string(70000, 'y'));
    EXPECT_EQ(errors->take(), (SendError{std::string(20, 'y'), "Message too long"}));
    send(*connection, "next");
    EXPECT_EQ(receiver.receive(), "next");
    EXPECT_EQ(telemetry.datagramsOut, 2U);
}

TEST_F(ConnectionTest, CancelIsToldOnceAndStopsSending) {
    UDPReceiver receiver;
    const auto connection = connect(network, "127.0.0.1", receiver.port());
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
    connection->cancel();
    EXPECT_EQ(told->take(), (Told{State::cancelled, ""}));
    EXPECT_FALSE(told->take(milliseconds(20)));
    send(*connection, "late");
    EXPECT_EQ(errors->take(), (SendError{"late", "Operation canceled"}));
    EXPECT_FALSE(receiver.receive(milliseconds(20)));
}

TEST_F(ConnectionTest, CancelledIsToldAfterTheReleaseToo) {
    auto connection = connect(network, "127.0.0.1", 8000);
    connection->cancel();
    connection.reset();
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    EXPECT_EQ(told->take(), (Told{State::cancelled, ""}));
}

TEST_F(ConnectionTest, CancelBeforeTheStartIsToldAtTheStart) {
    const auto connection = network.makeUDPConnection("127.0.0.1", Port{8000});
    connection->setStateUpdateHandler([this](State state, const auto&) { told->put({state, ""}); });
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
    connection->start(queue());
    EXPECT_EQ(told->take(), (Told{State::cancelled, ""}));
    EXPECT_EQ(connection->state(), State::cancelled);
}

TEST_F(ConnectionTest, ReleaseSaysNothing) {
    UDPReceiver receiver;
    auto connection = connect(network, "127.0.0.1", receiver.port());
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    connection.reset();
    EXPECT_FALSE(told->take(milliseconds(20)));
}

TEST_F(ConnectionTest, NeedsNoHandlers) {
    const auto connection = network.makeUDPConnection("127.0.0.1", Port{9});
    connection->start(queue());
    for (int i = 0; i < 4; ++i) {
        connection->send(bytes("nobody listens"), nullptr);
    }
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
}

TEST_F(ConnectionTest, StatesAreToldOneAtATimeAndInOrder) {
    std::atomic<int> inside = 0;
    for (int i = 0; i < 200; ++i) {
        const auto connection = network.makeUDPConnection("127.0.0.1", Port{8000});
        connection->setStateUpdateHandler([&](State state, const auto&) {
            EXPECT_EQ(inside.fetch_add(1), 0);
            std::this_thread::yield();
            inside.fetch_sub(1);
            told->put({state, ""});
        });
        connection->start(queue());
        connection->cancel();
        ASSERT_EQ(told->take(), (Told{State::ready, ""}));
        ASSERT_EQ(told->take(), (Told{State::cancelled, ""}));
    }
}

TEST_F(ConnectionTest, OneThreadSendsWhileAnotherCancels) {
    UDPReceiver receiver;
    for (int i = 0; i < 50; ++i) {
        const auto connection = connect(network, "127.0.0.1", receiver.port());
        std::latch sending(1);
        std::thread sender([&] {
            for (int sent = 0; connection->state() == State::ready; ++sent) {
                connection->send(bytes("x"), nullptr);
                if (sent == 0) {
                    sending.count_down();
                }
            }
        });
        sending.wait();
        connection->cancel();
        sender.join();
        EXPECT_EQ(connection->state(), State::cancelled);
    }
}

TEST_F(ConnectionTest, ManyConnectionsFromManyThreads) {
    constexpr int kThreads = 8;
    UDPReceiver receiver;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            const auto connection = connect(network, "127.0.0.1", receiver.port());
            for (int sent = 0; sent < 10; ++sent) {
                send(*connection, std::to_string(i));
            }
        });
    }
    std::vector<int> counts(kThreads);
    for (int i = 0; i < kThreads * 10; ++i) {
        const auto datagram = receiver.receive();
        ASSERT_TRUE(datagram);
        ++counts[static_cast<std::size_t>(std::stoi(*datagram))];
    }
    EXPECT_THAT(counts, testing::Each(10));
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace velmaro
