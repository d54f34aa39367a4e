#include "backends/portal/CameraPortal.h"

#include <string_view>
#include <utility>

#include "backends/portal/Portal.h"

namespace velmaro {

namespace {

constexpr const char* kCamera = "org.freedesktop.portal.Camera";
constexpr const char* kMemory = "org.freedesktop.impl.portal.PermissionStore";
constexpr const char* kMemoryPath = "/org/freedesktop/impl/portal/PermissionStore";
/// Where the answers about devices are kept, and the entry for cameras.
constexpr const char* kMemoryTable = "devices";
constexpr std::string_view kMemoryEntry = "camera";
/// What the portal says of a dialog that was refused, as its `kGranted`.
constexpr guint32 kRefused = 1;

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
    const glib::TextHandle name(g_dbus_error_get_remote_error(&error));
    return name && (std::string_view(name.get()) == "org.freedesktop.portal.Error.NotAllowed" ||
                    std::string_view(name.get()) == "org.freedesktop.DBus.Error.AccessDenied");
}

}  // namespace

CameraPortal::CameraPortal(Diagnostics& diagnostics)
    : diagnostics_(diagnostics),
      thread_("portal", glib::BusThread::Bus::session,
              {.begin = [this] { begin(); }, .end = [this] { closeDialog(); }}) {}

void CameraPortal::requestAccess(Completion completion) {
    thread_.post([this, completion = std::move(completion)] {
        waiting_.push_back(completion);
        if (!thread_.isConnected()) {
            conclude(AuthorizationStatus::authorized);
        } else if (response_ == 0) {
            ask();
        }
    });
}

void CameraPortal::begin() {
    if (!thread_.isConnected()) {
        status_.store(AuthorizationStatus::authorized);
        return;
    }
    thread_.watchName(
        portal::kName, [this] { portalIsThere_ = true; }, [this] { portalVanished(); });
    thread_.subscribe({.sender = kMemory,
                       .interface = kMemory,
                       .name = "Changed",
                       .path = kMemoryPath,
                       .firstArgument = kMemoryTable},
                      [this](GVariant* parameters) { memoryChanged(parameters); });
}

void CameraPortal::ask() {
    const std::string token = "velmaro" + std::to_string(dialogs_++);
    dialog_ = portal::requestPath(thread_.ownName(), token);
    response_ = thread_.subscribe({.sender = portal::kName,
                                   .interface = portal::kRequest,
                                   .name = "Response",
                                   .path = dialog_.c_str()},
                                  [this](GVariant* parameters) { takeAnswer(parameters); });
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&options, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
    thread_.call({portal::kName, portal::kPath, kCamera, "AccessCamera"},
                 g_variant_new("(a{sv})", &options),
                 {.replyType = "(o)", .milliseconds = portal::kCallLimit},
                 [this](GVariant* /*reply*/, const GError* error) {
                     if (error != nullptr && response_ != 0) {
                         callFailed(*error);
                     }
                 });
}

void CameraPortal::callFailed(const GError& error) {
    if (meansNoPortal(error)) {
        conclude(AuthorizationStatus::authorized);
    } else if (meansForbidden(error)) {
        report(Diagnostic::Kind::failure, "this computer's administrator has switched cameras off");
        conclude(AuthorizationStatus::restricted);
    } else {
        report(Diagnostic::Kind::warning,
               std::string("the desktop's camera portal does not work, so cameras are used without "
                           "it (") +
                   error.message + ")");
        conclude(AuthorizationStatus::authorized);
    }
}

void CameraPortal::takeAnswer(GVariant* parameters) {
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})")) == FALSE || response_ == 0) {
        return;
    }
    guint32 response = 0;
    g_variant_get_child(parameters, 0, "u", &response);
    if (response == portal::kGranted) {
        conclude(AuthorizationStatus::authorized);
    } else if (response == kRefused) {
        report(Diagnostic::Kind::failure, "the desktop denies access to cameras",
               "allow it in its privacy settings and press start again (see docs/cameras.md)");
        conclude(AuthorizationStatus::denied);
    } else {
        concludeWithoutAnswer("the question about cameras was not answered");
    }
}

void CameraPortal::memoryChanged(GVariant* parameters) {
    if (g_variant_n_children(parameters) < 2) {
        return;
    }
    const glib::VariantHandle entry(g_variant_get_child_value(parameters, 1));
    if (g_variant_is_of_type(entry.get(), G_VARIANT_TYPE_STRING) != FALSE &&
        g_variant_get_string(entry.get(), nullptr) == kMemoryEntry) {
        // Whose answer it was is the portal's to know. The next start asks it, without a dialog.
        status_.store(AuthorizationStatus::notDetermined);
    }
}

// Also called when it has not been started yet.
void CameraPortal::portalVanished() {
    if ((portalIsThere_ || !thread_.isConnected()) && response_ != 0) {
        concludeWithoutAnswer("the desktop's portal ended before it answered");
    }
    portalIsThere_ = false;
}

void CameraPortal::stopListening() {
    if (response_ != 0) {
        thread_.unsubscribe(std::exchange(response_, 0));
    }
}

void CameraPortal::closeDialog() {
    if (response_ != 0) {
        thread_.callWithoutReply({portal::kName, dialog_.c_str(), portal::kRequest, "Close"});
        stopListening();
    }
}

void CameraPortal::concludeWithoutAnswer(const std::string& why) {
    report(Diagnostic::Kind::failure, why, "press start again");
    conclude(AuthorizationStatus::notDetermined);
}

void CameraPortal::report(Diagnostic::Kind kind, const std::string& text,
                          const std::string& advice) {
    diagnostics_.report(
        {.kind = kind, .subject = Diagnostic::Subject::camera, .text = text, .advice = advice});
}

void CameraPortal::conclude(AuthorizationStatus status) {
    stopListening();
    status_.store(status);
    for (const Completion& completion : std::exchange(waiting_, {})) {
        completion(status == AuthorizationStatus::authorized);
    }
}

}  // namespace velmaro
