#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "backends/glib/BusThread.h"

namespace velmaro::glib {
namespace {

using Bus = BusThread::Bus;

constexpr BusThread::Method kListNames{"org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "ListNames"};

/// A bus of the test's own.
class TestBus {
public:
    TestBus() : bus_(g_test_dbus_new(G_TEST_DBUS_NONE)) { g_test_dbus_up(bus_); }
    ~TestBus() {
        g_test_dbus_stop(bus_);
        g_object_unref(bus_);
    }
    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    [[nodiscard]] std::string address() const { return g_test_dbus_get_bus_address(bus_); }

private:
    GTestDBus* const bus_;
};

/// Somebody on the bus who answers no call.
class MutePeer {
public:
    explicit MutePeer(const std::string& address)
        : connection_(g_dbus_connection_new_for_address_sync(
              address.c_str(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr)) {
        g_dbus_connection_add_filter(
            connection_.get(),
            [](GDBusConnection*, GDBusMessage* message, gboolean isIncoming, gpointer self) {
                if (isIncoming != FALSE &&
                    g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
                    static_cast<MutePeer*>(self)->called_.set_value();
                    g_object_unref(message);
                    return static_cast<GDBusMessage*>(nullptr);
                }
                return message;
            },
            this, nullptr);
    }
    ~MutePeer() { close(); }
    MutePeer(const MutePeer&) = delete;
    MutePeer& operator=(const MutePeer&) = delete;

    void own(const char* name) const {
        g_variant_unref(g_dbus_connection_call_sync(
            connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "RequestName", g_variant_new("(su)", name, 0U), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    void emit(const char* name, const char* text) const {
        g_dbus_connection_emit_signal(connection_.get(), nullptr, "/peer", "test.Peer", name,
                                      g_variant_new("(s)", text), nullptr);
        g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
    }
    void close() const { g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr); }
    void waitForCall() { called_.get_future().wait(); }

private:
    const ObjectHandle<GDBusConnection> connection_;
    std::promise<void> called_;
};

/// A client whose closures land in promises.
class Client {
public:
    explicit Client(std::optional<std::string> address, std::function<void(BusThread&)> begin = {})
        : begin_(std::move(begin)),
          thread("bus-test", Bus::session,
                 {.begin =
                      [this] {
                          if (begin_) {
                              begin_(thread);
                          }
                      },
                  .end = [this] { hasEnded_.set_value(); }},
                 std::move(address)) {}
    std::future<void> ended() { return hasEnded_.get_future(); }

    /// Runs `work` on the thread and waits for what it gives.
    template <typename Value>
    Value on(std::function<Value(BusThread&)> work) {
        std::promise<Value> value;
        thread.post([&] { value.set_value(work(thread)); });
        return value.get_future().get();
    }

private:
    std::function<void(BusThread&)> begin_;
    std::promise<void> hasEnded_;

public:
    BusThread thread;
};

TEST(BusThread, BeginsWithoutABusToo) {
    Client client("unix:path=/nonexistent/bus");
    EXPECT_FALSE(client.on<bool>([](BusThread& thread) { return thread.isConnected(); }));
}

TEST(BusThread, StartsNoBusWhereTheSessionHasNone) {
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("XDG_RUNTIME_DIR", "/nonexistent", 1);
    Client client(std::nullopt);
    EXPECT_FALSE(client.on<bool>([](BusThread& thread) { return thread.isConnected(); }));
}

TEST(BusThread, ConnectsOnAThreadOfThatName) {
    const TestBus bus;
    Client client(bus.address());
    EXPECT_TRUE(client.on<bool>([](BusThread& thread) { return thread.isConnected(); }));
    EXPECT_EQ(client.on<std::string>([](BusThread&) {
        std::array<char, 16> name{};
        pthread_getname_np(pthread_self(), name.data(), name.size());
        return std::string(name.data());
    }),
              "bus-test");
}

TEST(BusThread, PostedWorkRunsInOrderAfterTheBeginning) {
    const TestBus bus;
    std::string order;
    Client client(bus.address(), [&order](BusThread&) { order += 'b'; });
    client.thread.post([&order] { order += '1'; });
    client.thread.post([&order] { order += '2'; });
    EXPECT_EQ(client.on<std::string>([&order](BusThread&) { return order; }), "b12");
}

TEST(BusThread, AnswersAndErrorsComeBack) {
    const TestBus bus;
    Client client(bus.address());
    std::promise<std::string> type;
    client.thread.post([&] {
        client.thread.call(kListNames, nullptr, {}, [&](GVariant* reply, const GError*) {
            type.set_value(g_variant_get_type_string(reply));
        });
    });
    EXPECT_EQ(type.get_future().get(), "(as)");
    std::promise<bool> hasFailed;
    client.thread.post([&] {
        client.thread.call({"test.Nobody", "/", "test.Nobody", "Call"}, nullptr,
                           {.startsService = false}, [&](GVariant* reply, const GError* error) {
                               hasFailed.set_value(reply == nullptr && error != nullptr);
                           });
    });
    EXPECT_TRUE(hasFailed.get_future().get());
}

TEST(BusThread, SignalsComeUntilUnsubscribedByTheirOwnHandlerToo) {
    const TestBus bus;
    const MutePeer peer(bus.address());
    const auto token = std::make_shared<int>();
    std::vector<std::string> heard;
    std::promise<void> isLast;
    Client client(bus.address());
    client.on<int>([&](BusThread& thread) {
        const auto number = std::make_shared<unsigned>(0);
        *number = thread.subscribe({.sender = nullptr, .interface = "test.Peer", .name = "Once"},
                                   [&heard, &thread, number, token](GVariant* parameters) {
                                       const char* text = nullptr;
                                       g_variant_get(parameters, "(&s)", &text);
                                       heard.emplace_back(text);
                                       thread.unsubscribe(*number);
                                   });
        thread.subscribe({.sender = nullptr, .interface = "test.Peer", .name = "Last"},
                         [&](GVariant*) { isLast.set_value(); });
        return 0;
    });
    // So that the bus has read the subscriptions.
    std::promise<void> isKnown;
    client.thread.post([&] {
        client.thread.call(kListNames, nullptr, {},
                           [&](GVariant*, const GError*) { isKnown.set_value(); });
    });
    isKnown.get_future().wait();
    peer.emit("Once", "first");
    peer.emit("Once", "second");
    peer.emit("Last", "");
    isLast.get_future().wait();
    EXPECT_THAT(heard, testing::ElementsAre("first"));
    // The closure went with its subscription.
    client.on<int>([](BusThread&) { return 0; });
    EXPECT_EQ(token.use_count(), 1);
}

TEST(BusThread, NamesAppearAndVanish) {
    const TestBus bus;
    const MutePeer peer(bus.address());
    std::promise<void> isAbsent, hasAppeared, hasVanished;
    bool wasThere = false;
    Client client(bus.address(), [&](BusThread& thread) {
        thread.watchName(
            "test.Name",
            [&] {
                wasThere = true;
                hasAppeared.set_value();
            },
            [&] { (wasThere ? hasVanished : isAbsent).set_value(); });
    });
    isAbsent.get_future().wait();
    peer.own("test.Name");
    hasAppeared.get_future().wait();
    peer.close();
    hasVanished.get_future().wait();
}

TEST(BusThread, NamesVanishWithTheirBus) {
    auto bus = std::make_unique<TestBus>();
    const MutePeer peer(bus->address());
    peer.own("test.Name");
    std::promise<void> hasAppeared, hasVanished;
    Client client(bus->address(), [&](BusThread& thread) {
        thread.watchName(
            "test.Name", [&] { hasAppeared.set_value(); }, [&] { hasVanished.set_value(); });
    });
    hasAppeared.get_future().wait();
    bus.reset();
    hasVanished.get_future().wait();
    // The name may be told to go a moment before its bus does.
    while (client.on<bool>([](BusThread& thread) { return thread.isConnected(); })) {
        std::this_thread::yield();
    }
}

TEST(BusThread, TheEndWaitsForNoAnswerAndLeavesNoClosure) {
    const TestBus bus;
    MutePeer peer(bus.address());
    peer.own("test.Mute");
    const auto token = std::make_shared<int>();
    std::future<void> ended;
    {
        Client client(bus.address(), [&](BusThread& thread) {
            thread.subscribe({.sender = nullptr, .interface = "test.Peer", .name = nullptr},
                             [token](GVariant*) { ADD_FAILURE(); });
            thread.watchName(
                "test.Mute", [token] {}, [token] { ADD_FAILURE(); });
            thread.call({"test.Mute", "/", "test.Mute", "Wait"}, nullptr,
                        {.milliseconds = G_MAXINT},
                        [token](GVariant*, const GError*) { ADD_FAILURE(); });
        });
        ended = client.ended();
        peer.waitForCall();
    }
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_EQ(token.use_count(), 1);
}

TEST(BusThread, WorkThatIsLeftOverIsDestroyed) {
    const auto token = std::make_shared<int>();
    std::optional<Client> client("unix:path=/nonexistent/bus");
    const std::function<void()> postAgain = [&, token] { client->thread.post(postAgain); };
    client->thread.post(postAgain);
    client.reset();
    EXPECT_EQ(token.use_count(), 2);  // Here and in `postAgain`.
}

TEST(BusThread, ABusThatHangsHoldsUpNoEnd) {
    // A socket that nobody accepts on: the greeting is never answered.
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    const std::string abstract = "velmaro-mute-bus-" + std::to_string(::getpid());
    abstract.copy(name.sun_path + 1, sizeof name.sun_path - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + abstract.size());
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&name), size), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    {
        const BusThread thread("bus-test", Bus::session, {.begin = [] {}, .end = {}},
                               "unix:abstract=" + abstract);
        pollfd waiting{listener, POLLIN, 0};
        ASSERT_EQ(::poll(&waiting, 1, -1), 1);
    }
    ::close(listener);
}

}  // namespace
}  // namespace velmaro::glib
