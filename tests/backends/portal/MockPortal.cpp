#include "MockPortal.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace velmaro::test {

namespace {

constexpr const char* kName = "org.freedesktop.portal.Desktop";
constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kInterfaces = R"(<node>
  <interface name="org.freedesktop.portal.Camera">
    <method name="AccessCamera">
      <arg type="a{sv}" direction="in"/>
      <arg type="o" direction="out"/>
    </method>
  </interface>
  <interface name="org.freedesktop.portal.Request">
    <method name="Close"/>
    <signal name="Response"><arg type="u"/><arg type="a{sv}"/></signal>
  </interface>
  <interface name="org.freedesktop.portal.Other"/>
</node>)";
constexpr std::chrono::seconds kPatience{20};

GDBusNodeInfo* description() {
    static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kInterfaces, nullptr);
    return node;
}

GVariant* emptyDictionary() {
    return g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0);
}

}  // namespace

MockPortal::MockPortal() : bus_(g_test_dbus_new(G_TEST_DBUS_NONE)) {
    g_test_dbus_up(bus_);
    thread_ = std::thread([this] {
        g_main_context_push_thread_default(context_);
        while (!ending_.load()) {
            {
                const std::lock_guard lock(mutex_);
                if (work_ != nullptr) {
                    (*work_)();
                    work_ = nullptr;
                    changed_.notify_all();
                }
            }
            g_main_context_iteration(context_, TRUE);
        }
        g_main_context_pop_thread_default(context_);
    });
}

MockPortal::~MockPortal() {
    vanish();
    ending_.store(true);
    g_main_context_wakeup(context_);
    thread_.join();
    g_main_context_unref(context_);
    g_test_dbus_stop(bus_);
    g_object_unref(bus_);
}

void MockPortal::perform(const std::function<void()>& work) {
    std::unique_lock lock(mutex_);
    work_ = &work;
    g_main_context_wakeup(context_);
    changed_.wait(lock, [this] { return work_ == nullptr; });
}

guint MockPortal::exportObject(const char* path, const char* interface) {
    static const GDBusInterfaceVTable table{called, nullptr, nullptr, {}};
    return g_dbus_connection_register_object(
        connection_, path, g_dbus_node_info_lookup_interface(description(), interface), &table,
        this, nullptr, nullptr);
}

void MockPortal::appear(Camera camera) {
    perform([this, camera] {
        camera_ = camera;
        connection_ = g_dbus_connection_new_for_address_sync(
            g_test_dbus_get_bus_address(bus_),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        exportObject(kPath, camera == Camera::absent ? "org.freedesktop.portal.Other"
                                                     : "org.freedesktop.portal.Camera");
        g_variant_unref(g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", kName, 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
            nullptr, nullptr));
    });
}

void MockPortal::vanish() {
    perform([this] {
        if (connection_ != nullptr) {
            g_dbus_connection_close_sync(connection_, nullptr, nullptr);
            g_clear_object(&connection_);
        }
    });
}

void MockPortal::called(GDBusConnection* /*connection*/, const char* sender, const char* path,
                        const char* /*interface*/, const char* method, GVariant* parameters,
                        GDBusMethodInvocation* invocation, gpointer self) {
    auto& portal = *static_cast<MockPortal*>(self);
    if (std::strcmp(method, "AccessCamera") == 0) {
        portal.accessCamera(sender, parameters, invocation);
        return;
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
    const std::lock_guard lock(portal.mutex_);
    if (portal.dialog_ == path) {
        ++portal.closings_;
        portal.changed_.notify_all();
    }
}

void MockPortal::accessCamera(const char* sender, GVariant* parameters,
                              GDBusMethodInvocation* invocation) {
    if (camera_ == Camera::locked) {
        g_dbus_method_invocation_return_dbus_error(
            invocation, "org.freedesktop.portal.Error.NotAllowed", "Camera access is disabled");
        return;
    }
    GVariant* const options = g_variant_get_child_value(parameters, 0);
    const char* token = nullptr;
    g_variant_lookup(options, "handle_token", "&s", &token);
    std::string caller = sender + 1;
    std::ranges::replace(caller, '.', '_');
    dialog_ = std::string(kPath) + "/request/" + caller + "/" + (token == nullptr ? "" : token);
    g_variant_unref(options);
    exportObject(dialog_.c_str(), "org.freedesktop.portal.Request");
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", dialog_.c_str()));
    const std::lock_guard lock(mutex_);
    ++dialogs_;
    changed_.notify_all();
}

bool MockPortal::waitForDialog() {
    std::unique_lock lock(mutex_);
    ++awaited_;
    return changed_.wait_for(lock, kPatience, [this] { return dialogs_ >= awaited_; });
}

bool MockPortal::waitForClosing() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [this] { return closings_ > 0; });
}

void MockPortal::answer(unsigned response) {
    perform([this, response] {
        g_dbus_connection_emit_signal(
            connection_, nullptr, dialog_.c_str(), "org.freedesktop.portal.Request", "Response",
            g_variant_new("(u@a{sv})", response, emptyDictionary()), nullptr);
    });
}

void MockPortal::tellMemory(const std::string& table, const std::string& entry) {
    perform([&] {
        constexpr const char* memory = "org.freedesktop.impl.portal.PermissionStore";
        g_variant_unref(g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", memory, 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
            nullptr, nullptr));
        g_dbus_connection_emit_signal(
            connection_, nullptr, "/org/freedesktop/impl/portal/PermissionStore", memory, "Changed",
            g_variant_new("(ssbv@a{sas})", table.c_str(), entry.c_str(), FALSE,
                          g_variant_new_byte(0),
                          g_variant_new_array(G_VARIANT_TYPE("{sas}"), nullptr, 0)),
            nullptr);
    });
}

}  // namespace velmaro::test
