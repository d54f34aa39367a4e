// A network that changes under a connection, receivers that refuse, and what restarts cost.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "InterposedSend.h"
#include "NetworkTest.h"
#include "backends/net/HostAddress.h"

namespace velmaro {
namespace {

using test::InterposedSend;

class ConnectionTroubleTest : public NetworkTest {
protected:
    /// Nobody has to be asked for these.
    AsioNetwork network{nullptr, [this](const std::string&) { return HostAddresses(addresses); }};
    std::vector<std::string> addresses;
    InterposedSend interposed;
};

TEST_F(ConnectionTroubleTest, SendingNeverWaitsAndRaisesNoSignal) {
    const UDPReceiver receiver;
    const auto connection = connect(network, "127.0.0.1", receiver.port());
    send(*connection, "x");
    EXPECT_EQ(InterposedSend::commonFlags & MSG_DONTWAIT, MSG_DONTWAIT);
    EXPECT_EQ(InterposedSend::commonFlags & MSG_NOSIGNAL, MSG_NOSIGNAL);
    InterposedSend::error = EAGAIN;
    send(*connection, "too fast");
    EXPECT_EQ(errors->take(), (SendError{"too fast", "Resource temporarily unavailable"}));
    EXPECT_EQ(connection->state(), State::ready);
}

TEST_F(ConnectionTroubleTest, AWayThatIsGoneIsADeadConnection) {
    const UDPReceiver receiver;
    for (const int error : {ENETUNREACH, ENETDOWN, EADDRNOTAVAIL, EINVAL, ENODEV}) {
        InterposedSend::error = 0;
        const auto connection = connect(network, "127.0.0.1", receiver.port());
        EXPECT_EQ(told->take(), (Told{State::ready, ""}));
        InterposedSend::error = error;
        send(*connection, "lost");
        EXPECT_EQ(connection->state(), State::failed);
        EXPECT_EQ(errors->take(), (SendError{"lost", std::strerror(error)}));
        EXPECT_EQ(told->take(), (Told{State::failed, std::strerror(error)}));
        // It stays dead, and says why.
        InterposedSend::error = 0;
        send(*connection, "late");
        EXPECT_EQ(errors->take(), (SendError{"late", std::strerror(error)}));
        EXPECT_EQ(connection->state(), State::failed);
    }
}

TEST_F(ConnectionTroubleTest, AKeptDatagramFindsADeadWayToo) {
    const auto connection = network.makeUDPConnection("127.0.0.1", Port{9});
    connection->setStateUpdateHandler([this](State state, const std::optional<Error>& error) {
        told->put({state, error.value_or(Error{}).description});
    });
    send(*connection, "kept");
    InterposedSend::error = ENETDOWN;
    connection->start(queue());
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    EXPECT_EQ(told->take(), (Told{State::failed, "Network is down"}));
    EXPECT_EQ(errors->take(), (SendError{"kept", "Network is down"}));
}

TEST_F(ConnectionTroubleTest, OtherErrorsPass) {
    UDPReceiver receiver;
    const auto connection = connect(network, "127.0.0.1", receiver.port());
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    for (const int error : {ECONNREFUSED, EHOSTUNREACH, EPERM, ENOBUFS, EMSGSIZE, ENOMEM}) {
        InterposedSend::error = error;
        send(*connection, "lost");
        EXPECT_EQ(errors->take(), (SendError{"lost", std::strerror(error)}));
        EXPECT_EQ(connection->state(), State::ready);
    }
    InterposedSend::error = 0;
    send(*connection, "heard");
    EXPECT_EQ(receiver.receive(), "heard");
    EXPECT_FALSE(told->takeNow());
}

TEST_F(ConnectionTroubleTest, AFailedConnectionTellsOfItsCancellationOnce) {
    const auto connection = connect(network, "fe80::1", 8000);
    const auto failure = told->take();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->state, State::failed);
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
    EXPECT_EQ(told->take(), (Told{State::cancelled, ""}));
    connection->cancel();
    send(*connection, "late");
    EXPECT_EQ(errors->take(), (SendError{"late", "Operation canceled"}));
    EXPECT_FALSE(told->takeNow());
}

TEST_F(ConnectionTroubleTest, AnAddressThatCannotBeConnectedToIsPassedOver) {
    std::unique_ptr<UDPReceiver> receiver;
    try {
        receiver = std::make_unique<UDPReceiver>("::1");
    } catch (const std::system_error& error) {
        GTEST_SKIP() << "no address ::1 here: " << error.what();
    }
    // Without a scope the first one leads nowhere.
    addresses = {"fe80::1", "::1"};
    const auto connection = connect(network, "receiver.test", receiver->port());
    send(*connection, "second");
    EXPECT_EQ(receiver->receive(), "second");
}

/// Sends until the receiver hears something; false after many datagrams.
bool sendUntilHeard(UDPConnection& connection, UDPReceiver& receiver) {
    for (int i = 0; i < 100; ++i) {
        connection.send(bytes("x"), nullptr);
        if (receiver.receive(std::chrono::milliseconds(5))) {
            return true;
        }
    }
    return false;
}

TEST_F(ConnectionTroubleTest, WhereAllIsRefusedTheNextAddressIsTriedAndTheFirstAgain) {
    addresses = {"127.0.0.2", "127.0.0.3", "127.0.0.1"};
    auto receiver = std::make_unique<UDPReceiver>("127.0.0.1");
    const std::uint16_t port = receiver->port();
    const auto connection = connect(network, "receiver.test", port);
    EXPECT_TRUE(sendUntilHeard(*connection, *receiver));
    receiver = std::make_unique<UDPReceiver>("127.0.0.2", port);
    EXPECT_TRUE(sendUntilHeard(*connection, *receiver));
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    EXPECT_FALSE(told->takeNow());
}

TEST_F(ConnectionTroubleTest, AReceiverThatIsAwayForAMomentKeepsItsAddress) {
    addresses = {"127.0.0.1", "127.0.0.2"};
    auto receiver = std::make_unique<UDPReceiver>("127.0.0.1");
    const std::uint16_t port = receiver->port();
    UDPReceiver other("127.0.0.2", port);
    const auto connection = connect(network, "receiver.test", port);
    EXPECT_TRUE(sendUntilHeard(*connection, *receiver));
    for (int restart = 0; restart < 5; ++restart) {
        receiver.reset();
        for (int i = 0; i < 4; ++i) {
            send(*connection, "refused");
        }
        EXPECT_TRUE(errors->take());
        EXPECT_TRUE(errors->take());
        receiver = std::make_unique<UDPReceiver>("127.0.0.1", port);
        EXPECT_TRUE(sendUntilHeard(*connection, *receiver));
        EXPECT_TRUE(sendUntilHeard(*connection, *receiver));
        EXPECT_TRUE(sendUntilHeard(*connection, *receiver));
    }
    EXPECT_FALSE(other.receive(std::chrono::milliseconds(0)));
}

TEST_F(ConnectionTroubleTest, AddressesCarryTheirScopeAndPort) {
    const unsigned loopback = ::if_nametoindex("lo");
    ASSERT_NE(loopback, 0U);
    const auto endpoint = parseAddress("fe80::1%lo", Port{8000});
    ASSERT_TRUE(endpoint);
    EXPECT_EQ(endpoint->address().to_v6().scope_id(), loopback);
    EXPECT_EQ(endpoint->port(), 8000);
    const auto plain = parseAddress("fe80::1", Port{1});
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->address().to_v6().scope_id(), 0U);
    EXPECT_FALSE(parseAddress("fe80::1%no-such-device", Port{1}));
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(ConnectionTroubleTest, RestartsLeaveNoDescriptorOpen) {
    addresses = {"127.0.0.2", "127.0.0.1"};
    const UDPReceiver receiver("127.0.0.1");
    // What all connections share is made with the first.
    connect(network, "127.0.0.1", receiver.port());
    EXPECT_EQ(told->take()->state, State::ready);
    const std::ptrdiff_t before = openDescriptors();
    for (int restart = 0; restart < 1000; ++restart) {
        const bool isNamed = restart % 10 == 0;
        const auto connection =
            connect(network, isNamed ? "receiver.test" : "127.0.0.1", receiver.port());
        if (isNamed) {
            EXPECT_EQ(told->take()->state, State::preparing);
        }
        EXPECT_EQ(told->take()->state, State::ready);
        // Enough to be refused at the first address and go on to the second.
        for (int i = 0; i < 8; ++i) {
            connection->send(bytes("x"), nullptr);
        }
        if (restart % 2 == 0) {
            connection->cancel();
            EXPECT_EQ(told->take()->state, State::cancelled);
        }
    }
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace velmaro
