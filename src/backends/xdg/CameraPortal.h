#pragma once

#include <gio/gio.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/Capture.h"

namespace velmaro {

/// The desktop's word on whether this program may use cameras (org.freedesktop.portal.Camera). The
/// portal asks the person once and remembers the answer by itself; without a portal there is nobody
/// to ask, and access is free. Talks on a thread of its own, so that a dialog may stay open for as
/// long as it likes.
class CameraPortal {
public:
    using Completion = std::function<void(bool granted)>;

    CameraPortal();
    CameraPortal(const CameraPortal&) = delete;
    CameraPortal& operator=(const CameraPortal&) = delete;
    /// Takes an open dialog back. Completions that are still due are not called any more.
    ~CameraPortal();

    /// `notDetermined` until the portal has answered this program, and again when the answer that
    /// it remembers has changed. Any thread.
    [[nodiscard]] AuthorizationStatus status() const { return status_.load(); }

    /// Returns at once; `completion` is called on the portal's thread. Any thread.
    void requestAccess(Completion completion);

private:
    static void callEnded(GObject* connection, GAsyncResult* result, gpointer self);
    static void answered(GDBusConnection* connection, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* parameters,
                         gpointer self);
    static void memoryChanged(GDBusConnection* connection, const char* sender, const char* path,
                              const char* interface, const char* signal, GVariant* parameters,
                              gpointer self);
    static void portalAppeared(GDBusConnection* connection, const char* name, const char* owner,
                               gpointer self);
    static void portalVanished(GDBusConnection* connection, const char* name, gpointer self);

    void run();
    void connect();
    void disconnect();
    void takeRequests();
    void ask();
    void callFailed(const GError& error);
    void closeDialog();
    void settle(AuthorizationStatus status);
    void settleWithoutAnswer(const std::string& why);

    std::atomic<AuthorizationStatus> status_ = AuthorizationStatus::notDetermined;
    std::atomic<bool> ending_ = false;

    std::mutex mutex_;
    std::vector<Completion> requested_;

    // The thread's own.
    GMainContext* const context_ = g_main_context_new();
    GCancellable* const cancellable_ = g_cancellable_new();
    GDBusConnection* connection_ = nullptr;
    guint watch_ = 0;
    guint memory_ = 0;
    guint response_ = 0;
    std::string dialog_;
    int dialogs_ = 0;
    int pendingCalls_ = 0;
    bool portalIsThere_ = false;
    std::vector<Completion> waiting_;

    std::thread thread_;
};

}  // namespace velmaro
