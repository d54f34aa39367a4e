// Answers that come when nobody wants them any more. What each asks of a desktop that answers at
// once is shown by the programs.

#include <gio/gunixfdlist.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "backends/glib/Handles.h"
#include "backends/portal/IdleInhibitor.h"
#include "backends/portal/LoginManagerLock.h"

namespace velmaro {
namespace {

using Message = glib::ObjectHandle<GDBusMessage>;

/// Somebody on a bus of the test's own who answers when the test wants it.
class SlowPeer {
public:
    explicit SlowPeer(const char* name) : bus_(g_test_dbus_new(G_TEST_DBUS_NONE)) {
        g_test_dbus_up(bus_);
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", g_test_dbus_get_bus_address(bus_), 1);
        connection_.reset(g_dbus_connection_new_for_address_sync(
            g_test_dbus_get_bus_address(bus_),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr));
        g_dbus_connection_add_filter(connection_.get(), came, this, nullptr);
        const glib::VariantHandle owned(g_dbus_connection_call_sync(
            connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "RequestName", g_variant_new("(su)", name, 0U), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    ~SlowPeer() {
        g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
        connection_.reset();
        g_test_dbus_stop(bus_);
        g_object_unref(bus_);
    }
    SlowPeer(const SlowPeer&) = delete;
    SlowPeer& operator=(const SlowPeer&) = delete;

    /// Waits for the next call.
    Message next() {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, std::chrono::seconds(60),
                               [this] { return !calls_.empty(); })) {
            throw std::runtime_error("nobody calls");
        }
        Message call = std::move(calls_.front());
        calls_.pop_front();
        return call;
    }

    void answer(const Message& call, GVariant* body, GUnixFDList* descriptors = nullptr) {
        const Message reply(g_dbus_message_new_method_reply(call.get()));
        g_dbus_message_set_body(reply.get(), body);
        if (descriptors != nullptr) {
            g_dbus_message_set_unix_fd_list(reply.get(), descriptors);
        }
        g_dbus_connection_send_message(connection_.get(), reply.get(),
                                       G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
        g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
    }

private:
    static GDBusMessage* came(GDBusConnection* /*connection*/, GDBusMessage* message,
                              gboolean isIncoming, gpointer self) {
        if (isIncoming == FALSE ||
            g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            return message;
        }
        auto& peer = *static_cast<SlowPeer*>(self);
        const std::lock_guard lock(peer.mutex_);
        peer.calls_.emplace_back(message);
        peer.changed_.notify_all();
        return nullptr;
    }

    GTestDBus* const bus_;
    glib::ObjectHandle<GDBusConnection> connection_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Message> calls_;
};

std::string member(const Message& call) {
    return g_dbus_message_get_member(call.get());
}
std::string path(const Message& call) {
    return g_dbus_message_get_path(call.get());
}

TEST(IdleInhibitor, ClosesARequestThatNobodyWantsAnyMore) {
    SlowPeer portal("org.freedesktop.portal.Desktop");
    IdleInhibitor inhibitor;
    inhibitor.setInhibited(true);
    const Message asked = portal.next();
    EXPECT_EQ(member(asked), "Inhibit");
    inhibitor.setInhibited(false);
    portal.answer(asked, g_variant_new("(o)", "/first"));
    const Message closed = portal.next();
    EXPECT_EQ(member(closed), "Close");
    EXPECT_EQ(path(closed), "/first");
}

TEST(IdleInhibitor, KeepsTheLatestOfTwoRequests) {
    SlowPeer portal("org.freedesktop.portal.Desktop");
    IdleInhibitor inhibitor;
    inhibitor.setInhibited(true);
    inhibitor.setInhibited(false);
    inhibitor.setInhibited(true);
    const Message first = portal.next();
    const Message second = portal.next();
    portal.answer(second, g_variant_new("(o)", "/second"));
    portal.answer(first, g_variant_new("(o)", "/first"));
    EXPECT_EQ(path(portal.next()), "/first");
    inhibitor.setInhibited(false);
    EXPECT_EQ(path(portal.next()), "/second");
}

TEST(LoginManagerLock, GivesBackWhatNobodyWantsAnyMore) {
    SlowPeer manager("org.freedesktop.login1");
    LoginManagerLock lock;
    lock.setHeld(true);
    const Message asked = manager.next();
    EXPECT_EQ(member(asked), "Inhibit");
    lock.setHeld(false);
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    {
        const glib::ObjectHandle<GUnixFDList> list(g_unix_fd_list_new_from_array(&ends[1], 1));
        manager.answer(asked, g_variant_new("(h)", 0), list.get());
    }
    // At the end as soon as nobody holds the other one.
    pollfd end{.fd = ends[0], .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&end, 1, 60'000), 1);
    EXPECT_NE(end.revents & POLLHUP, 0);
    ::close(ends[0]);
}

}  // namespace
}  // namespace velmaro
