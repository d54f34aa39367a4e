#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "NetworkTest.h"
#include "ThreadShortage.h"

namespace velmaro {
namespace {

using std::chrono::milliseconds;
using Answer = HostAddresses;

/// A resolver that answers only when the test says so.
class HeldResolver {
public:
    HostResolver resolver() {
        // Shared with a thread that may outlive the test.
        return [answer = answer_->get_future().share(), asked = asked_](const std::string& host) {
            asked->put(host);
            return Answer(answer.get());
        };
    }

    std::optional<std::string> waitUntilAsked() { return asked_->take(); }
    std::optional<std::string> askedNow() { return asked_->takeNow(); }
    void answer(Answer answer) { answer_->set_value(std::move(answer)); }

private:
    std::shared_ptr<std::promise<Answer>> answer_ = std::make_shared<std::promise<Answer>>();
    std::shared_ptr<Mailbox<std::string>> asked_ = std::make_shared<Mailbox<std::string>>();
};

std::vector<std::string> addresses(std::vector<std::string> list) {
    return list;
}

class HostNameTest : public NetworkTest {
protected:
    HeldResolver held;
    std::optional<AsioNetwork> network{std::in_place, nullptr, held.resolver()};
};

TEST_F(HostNameTest, IsPreparingUntilResolved) {
    UDPReceiver receiver;
    const auto connection = connect(*network, "receiver.test", receiver.port());
    EXPECT_EQ(connection->state(), State::preparing);
    EXPECT_EQ(held.waitUntilAsked(), "receiver.test");
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    held.answer(addresses({"127.0.0.1"}));
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    EXPECT_EQ(connection->state(), State::ready);
    send(*connection, "hello");
    EXPECT_EQ(receiver.receive(), "hello");
}

TEST_F(HostNameTest, KeptDatagramsGoOutInOrder) {
    UDPReceiver receiver;
    const auto connection = connect(*network, "receiver.test", receiver.port());
    for (const char* content : {"1", "2", "3"}) {
        send(*connection, content);
    }
    EXPECT_FALSE(receiver.receive(milliseconds(20)));
    held.answer(addresses({"127.0.0.1"}));
    for (const char* content : {"1", "2", "3"}) {
        EXPECT_EQ(receiver.receive(), content);
    }
}

TEST_F(HostNameTest, KeepsTheNewestFourAndSaysNothingOfOlderOnes) {
    UDPReceiver receiver;
    const auto connection = connect(*network, "receiver.test", receiver.port());
    for (int i = 0; i < 70; ++i) {
        send(*connection, std::to_string(i));
    }
    held.answer(addresses({"127.0.0.1"}));
    for (int i = 66; i < 70; ++i) {
        EXPECT_EQ(receiver.receive(), std::to_string(i));
    }
    EXPECT_FALSE(errors->takeNow());
}

TEST_F(HostNameTest, DatagramsNeverOvertakeTheKeptOnes) {
    UDPReceiver receiver;
    const auto connection = connect(*network, "receiver.test", receiver.port());
    for (int i = 0; i < 4; ++i) {
        send(*connection, std::to_string(i));
    }
    held.answer(addresses({"127.0.0.1"}));
    for (int i = 4; i < 60; ++i) {
        send(*connection, std::to_string(i));
    }
    // Those that were sent before it was ready may have replaced older ones.
    int last = -1;
    while (last < 59) {
        const auto datagram = receiver.receive();
        ASSERT_TRUE(datagram);
        ASSERT_GT(std::stoi(*datagram), last);
        last = std::stoi(*datagram);
    }
}

TEST_F(HostNameTest, IPv4IsTriedBeforeIPv6) {
    UDPReceiver receiver;
    const auto connection = connect(*network, "receiver.test", receiver.port());
    held.answer(addresses({"::1", "127.0.0.1"}));
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    send(*connection, "four");
    EXPECT_EQ(receiver.receive(), "four");
}

TEST_F(HostNameTest, TheFirstAddressThatConnectsWins) {
    UDPReceiver receiver;
    const auto connection = connect(*network, "receiver.test", receiver.port());
    send(*connection, "second");
    // Neither a text that is no address nor one without a route can be connected to.
    held.answer(addresses({"nonsense", "fe80::1", "127.0.0.1"}));
    EXPECT_EQ(receiver.receive(), "second");
}

TEST_F(HostNameTest, NoAddressThatConnectsIsAFailure) {
    const auto connection = connect(*network, "receiver.test", 8000);
    send(*connection, "kept");
    held.answer(addresses({}));
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(told->take(), (Told{State::failed, "Cannot assign requested address"}));
    EXPECT_EQ(errors->take(), (SendError{"kept", "Cannot assign requested address"}));
}

TEST_F(HostNameTest, FailureReachesTheHandlersAndStays) {
    const auto connection = connect(*network, "receiver.test", 8000);
    send(*connection, "kept");
    held.answer(failure("Name or service not known"));
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(told->take(), (Told{State::failed, "Name or service not known"}));
    EXPECT_EQ(errors->take(), (SendError{"kept", "Name or service not known"}));
    EXPECT_EQ(connection->state(), State::failed);
    send(*connection, "late");
    EXPECT_EQ(errors->take(), (SendError{"late", "Name or service not known"}));
}

TEST_F(HostNameTest, CancelWaitsForNoName) {
    const auto connection = connect(*network, "receiver.test", 8000);
    send(*connection, "kept");
    EXPECT_TRUE(held.waitUntilAsked());
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(told->take(), (Told{State::cancelled, ""}));
    EXPECT_EQ(errors->take(), (SendError{"kept", "Operation canceled"}));
    // The late answer changes nothing.
    held.answer(addresses({"127.0.0.1"}));
    EXPECT_FALSE(told->take(milliseconds(20)));
    EXPECT_EQ(connection->state(), State::cancelled);
}

TEST_F(HostNameTest, EverythingMayBeDestroyedWhileTheNameIsResolved) {
    UDPReceiver receiver;
    auto connection = connect(*network, "receiver.test", receiver.port());
    send(*connection, "kept");
    EXPECT_TRUE(held.waitUntilAsked());
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    connection.reset();
    network.reset();
    dispatch.reset();
    // Only now does the abandoned thread go on: it must touch none of them.
    held.answer(addresses({"127.0.0.1"}));
    EXPECT_FALSE(receiver.receive(milliseconds(50)));
    EXPECT_FALSE(told->takeNow());
    EXPECT_FALSE(errors->takeNow());
}

TEST_F(HostNameTest, EverythingMayBeDestroyedJustAsTheNameIsResolved) {
    for (int i = 0; i < 100; ++i) {
        HeldResolver each;
        AsioMainQueue main;
        AsioDispatch eachDispatch(main);
        AsioNetwork eachNetwork(nullptr, each.resolver());
        auto connection = eachNetwork.makeUDPConnection("receiver.test", Port{9});
        connection->start(eachDispatch.globalQueue(QualityOfService::standard));
        connection->send(bytes("kept"), [](const Error&) {});
        ASSERT_TRUE(each.waitUntilAsked());
        each.answer(addresses({"127.0.0.1"}));
    }
}

TEST_F(HostNameTest, RestartsShareOneLookUpOfAName) {
    UDPReceiver receiver;
    std::shared_ptr<UDPConnection> connection;
    for (int restart = 0; restart < 200; ++restart) {
        connection = connect(*network, "receiver.test", receiver.port());
        EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    }
    EXPECT_EQ(held.waitUntilAsked(), "receiver.test");
    const auto other = connect(*network, "other.test", receiver.port());
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(held.waitUntilAsked(), "other.test");
    held.answer(addresses({"127.0.0.1"}));
    // The newest and the other one; nothing is heard of those that were given up.
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
    EXPECT_FALSE(told->takeNow());
    // Once it has ended, the next one asks anew.
    EXPECT_FALSE(held.askedNow());
    connection = connect(*network, "receiver.test", receiver.port());
    EXPECT_EQ(held.waitUntilAsked(), "receiver.test");
}

TEST_F(HostNameTest, WithoutAThreadToAskItFails) {
    const ThreadShortage shortage;
    const auto connection = connect(*network, "receiver.test", 8000);
    EXPECT_EQ(connection->state(), State::failed);
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(told->take(), (Told{State::failed, "Resource temporarily unavailable"}));
}

class SystemResolverTest : public NetworkTest {
protected:
    AsioNetwork network;
};

TEST_F(SystemResolverTest, Localhost) {
    UDPReceiver receiver;
    const auto connection = connect(network, "localhost", receiver.port());
    send(*connection, "hello");
    EXPECT_EQ(receiver.receive(), "hello");
    EXPECT_EQ(told->take(), (Told{State::preparing, ""}));
    EXPECT_EQ(told->take(), (Told{State::ready, ""}));
}

TEST_F(SystemResolverTest, NamesThatDoNotResolve) {
    for (const std::string& host :
         {std::string("no-such-host.invalid"), std::string("not a host name"), std::string("[::1]"),
          std::string(), std::string(" "), std::string("127.0.0.1\0.test", 14),
          std::string(300, 'x')}) {
        const auto connection = connect(network, host, 8000);
        EXPECT_EQ(told->take(), (Told{State::preparing, ""})) << host;
        const auto failure = told->take(std::chrono::seconds(60));
        ASSERT_TRUE(failure) << host;
        EXPECT_EQ(failure->state, State::failed) << host;
        // Without a name server the system says "Temporary failure in name resolution".
        EXPECT_FALSE(failure->error.empty()) << host;
        EXPECT_EQ(connection->state(), State::failed) << host;
    }
}

TEST(ResolveHostName, GivesNumbersOrAReason) {
    const Answer found = resolveHostName("localhost");
    ASSERT_TRUE(found);
    EXPECT_THAT(*found, testing::Contains("127.0.0.1"));
    const Answer missing = resolveHostName("not a host name");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().description, "Name or service not known");
}

}  // namespace
}  // namespace velmaro
