#include "backends/xdg/CameraPortal.h"

#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <utility>

namespace velmaro {

namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kCamera = "org.freedesktop.portal.Camera";
constexpr const char* kRequest = "org.freedesktop.portal.Request";
constexpr const char* kMemory = "org.freedesktop.impl.portal.PermissionStore";
constexpr const char* kMemoryPath = "/org/freedesktop/impl/portal/PermissionStore";
/// Where the answers about devices are kept, and the entry for cameras.
constexpr const char* kMemoryTable = "devices";
constexpr std::string_view kMemoryEntry = "camera";
/// Milliseconds until the portal must have taken the request, which may have to start it first. The
/// person's own time is not limited.
constexpr int kCallLimit = 10'000;
/// What the portal says of a dialog (org.freedesktop.portal.Request, "Response").
constexpr guint32 kGranted = 0;
constexpr guint32 kRefused = 1;

struct FreeError {
    void operator()(GError* error) const { g_error_free(error); }
};
using ErrorHandle = std::unique_ptr<GError, FreeError>;
struct FreeText {
    void operator()(char* text) const { g_free(text); }
};
using TextHandle = std::unique_ptr<char, FreeText>;

void say(const std::string& text) {
    std::cerr << "velmaro: " + text + "\n";
}

/// Without either, GLib would start a bus of its own where there is a display.
bool hasSessionBus() {
    if (const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        address != nullptr && *address != '\0') {
        return true;
    }
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    return folder != nullptr && std::filesystem::exists(folder + std::string("/bus"), error);
}

/// The object that stands for a dialog, which is known before it is asked for, so that no answer
/// can be missed.
std::string dialogPath(GDBusConnection* connection, const std::string& token) {
    std::string caller = g_dbus_connection_get_unique_name(connection) + 1;
    std::ranges::replace(caller, '.', '_');
    return std::string(kPortalPath) + "/request/" + caller + "/" + token;
}

/// True if there is no portal, or one that knows nothing of cameras.
bool meansNoPortal(const GError& error) {
    return error.domain == G_DBUS_ERROR && (error.code == G_DBUS_ERROR_SERVICE_UNKNOWN ||
                                            error.code == G_DBUS_ERROR_NAME_HAS_NO_OWNER ||
                                            error.code == G_DBUS_ERROR_UNKNOWN_METHOD ||
                                            error.code == G_DBUS_ERROR_UNKNOWN_INTERFACE ||
                                            error.code == G_DBUS_ERROR_UNKNOWN_OBJECT);
}

/// An administrator's lock, say. The portal's own error has no name in GLib.
bool meansForbidden(const GError& error) {
    const TextHandle name(g_dbus_error_get_remote_error(&error));
    return name && (std::string_view(name.get()) == "org.freedesktop.portal.Error.NotAllowed" ||
                    std::string_view(name.get()) == "org.freedesktop.DBus.Error.AccessDenied");
}

}  // namespace

CameraPortal::CameraPortal() : thread_([this] { run(); }) {}

CameraPortal::~CameraPortal() {
    ending_.store(true);
    g_cancellable_cancel(cancellable_);
    g_main_context_wakeup(context_);
    thread_.join();
    g_object_unref(cancellable_);
    g_main_context_unref(context_);
}

void CameraPortal::requestAccess(Completion completion) {
    {
        const std::lock_guard lock(mutex_);
        requested_.push_back(std::move(completion));
    }
    g_main_context_wakeup(context_);
}

void CameraPortal::run() {
    pthread_setname_np(pthread_self(), "portal");
    g_main_context_push_thread_default(context_);
    connect();
    while (!ending_.load()) {
        takeRequests();
        g_main_context_iteration(context_, TRUE);
    }
    closeDialog();
    // A call that was cancelled is told, and must find this object.
    while (pendingCalls_ > 0) {
        g_main_context_iteration(context_, TRUE);
    }
    disconnect();
    g_main_context_pop_thread_default(context_);
}

void CameraPortal::connect() {
    if (!hasSessionBus()) {
        status_.store(AuthorizationStatus::authorized);
        return;
    }
    const TextHandle address(
        g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable_, nullptr));
    // Not the connection that others in this process share, so that its end is this object's own.
    connection_ =
        !address
            ? nullptr
            : g_dbus_connection_new_for_address_sync(
                  address.get(),
                  static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                    G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                  nullptr, cancellable_, nullptr);
    if (connection_ == nullptr) {
        status_.store(AuthorizationStatus::authorized);
        return;
    }
    watch_ = g_bus_watch_name_on_connection(connection_, kPortal, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                            portalAppeared, portalVanished, this, nullptr);
    memory_ = g_dbus_connection_signal_subscribe(
        connection_, kMemory, kMemory, "Changed", kMemoryPath, kMemoryTable,
        G_DBUS_SIGNAL_FLAGS_NONE, memoryChanged, this, nullptr);
}

void CameraPortal::disconnect() {
    if (connection_ == nullptr) {
        return;
    }
    g_bus_unwatch_name(watch_);
    g_dbus_connection_signal_unsubscribe(connection_, memory_);
    g_dbus_connection_flush_sync(connection_, nullptr, nullptr);
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_clear_object(&connection_);
    while (g_main_context_iteration(context_, FALSE) != FALSE) {
    }
}

void CameraPortal::takeRequests() {
    std::vector<Completion> requested;
    {
        const std::lock_guard lock(mutex_);
        requested.swap(requested_);
    }
    if (requested.empty()) {
        return;
    }
    std::ranges::move(requested, std::back_inserter(waiting_));
    if (connection_ == nullptr) {
        settle(AuthorizationStatus::authorized);
    } else if (response_ == 0) {
        ask();
    }
}

void CameraPortal::ask() {
    const std::string token = "velmaro" + std::to_string(dialogs_++);
    dialog_ = dialogPath(connection_, token);
    response_ = g_dbus_connection_signal_subscribe(
        connection_, kPortal, kRequest, "Response", dialog_.c_str(), nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, answered, this, nullptr);
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&options, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
    ++pendingCalls_;
    g_dbus_connection_call(connection_, kPortal, kPortalPath, kCamera, "AccessCamera",
                           g_variant_new("(a{sv})", &options), G_VARIANT_TYPE("(o)"),
                           G_DBUS_CALL_FLAGS_NONE, kCallLimit, cancellable_, callEnded, this);
}

void CameraPortal::callEnded(GObject* connection, GAsyncResult* result, gpointer self) {
    auto& portal = *static_cast<CameraPortal*>(self);
    --portal.pendingCalls_;
    GError* error = nullptr;
    GVariant* const reply =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error);
    if (reply != nullptr) {
        g_variant_unref(reply);
        return;
    }
    const ErrorHandle held(error);
    if (!portal.ending_.load() && portal.response_ != 0) {
        portal.callFailed(*error);
    }
}

void CameraPortal::callFailed(const GError& error) {
    if (meansNoPortal(error)) {
        settle(AuthorizationStatus::authorized);
    } else if (meansForbidden(error)) {
        say("this computer's administrator has switched cameras off");
        settle(AuthorizationStatus::restricted);
    } else {
        say(std::string("the desktop's camera portal does not work, so cameras are used without "
                        "it: ") +
            error.message);
        settle(AuthorizationStatus::authorized);
    }
}

void CameraPortal::answered(GDBusConnection* /*connection*/, const char* /*sender*/,
                            const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                            GVariant* parameters, gpointer self) {
    auto& portal = *static_cast<CameraPortal*>(self);
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})")) == FALSE ||
        portal.response_ == 0) {
        return;
    }
    guint32 response = 0;
    g_variant_get_child(parameters, 0, "u", &response);
    if (response == kGranted) {
        portal.settle(AuthorizationStatus::authorized);
    } else if (response == kRefused) {
        say("the desktop denies access to cameras: allow it in its privacy settings and press "
            "start again (see docs/cameras.md)");
        portal.settle(AuthorizationStatus::denied);
    } else {
        portal.settleWithoutAnswer("the question about cameras was not answered");
    }
}

void CameraPortal::memoryChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                 const char* /*path*/, const char* /*interface*/,
                                 const char* /*signal*/, GVariant* parameters, gpointer self) {
    if (g_variant_n_children(parameters) < 2) {
        return;
    }
    GVariant* const entry = g_variant_get_child_value(parameters, 1);
    if (g_variant_is_of_type(entry, G_VARIANT_TYPE_STRING) != FALSE &&
        g_variant_get_string(entry, nullptr) == kMemoryEntry) {
        // Whose answer it was is the portal's to know. The next start asks it, without a dialog.
        static_cast<CameraPortal*>(self)->status_.store(AuthorizationStatus::notDetermined);
    }
    g_variant_unref(entry);
}

void CameraPortal::portalAppeared(GDBusConnection* /*connection*/, const char* /*name*/,
                                  const char* /*owner*/, gpointer self) {
    static_cast<CameraPortal*>(self)->portalIsThere_ = true;
}

// Also called when it has not been started yet.
void CameraPortal::portalVanished(GDBusConnection* connection, const char* /*name*/,
                                  gpointer self) {
    auto& portal = *static_cast<CameraPortal*>(self);
    const bool busHasEnded =
        connection == nullptr || g_dbus_connection_is_closed(connection) != FALSE;
    if ((portal.portalIsThere_ || busHasEnded) && portal.response_ != 0) {
        portal.settleWithoutAnswer("the desktop's portal ended before it answered");
    }
    portal.portalIsThere_ = false;
}

void CameraPortal::closeDialog() {
    if (response_ == 0) {
        return;
    }
    g_dbus_connection_call(connection_, kPortal, dialog_.c_str(), kRequest, "Close", nullptr,
                           nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
    g_dbus_connection_signal_unsubscribe(connection_, response_);
    response_ = 0;
}

void CameraPortal::settleWithoutAnswer(const std::string& why) {
    say(why + ": press start again");
    settle(AuthorizationStatus::notDetermined);
}

void CameraPortal::settle(AuthorizationStatus status) {
    if (response_ != 0) {
        g_dbus_connection_signal_unsubscribe(connection_, response_);
        response_ = 0;
    }
    status_.store(status);
    for (const Completion& completion : std::exchange(waiting_, {})) {
        completion(status == AuthorizationStatus::authorized);
    }
}

}  // namespace velmaro
