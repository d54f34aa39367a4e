#pragma once

#include <gio/gio.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "backends/glib/BusThread.h"
#include "platform/Capture.h"
#include "platform/Diagnostics.h"

namespace velmaro {

/// The desktop's word on whether this program may use cameras (org.freedesktop.portal.Camera). The
/// portal asks the person once and remembers the answer by itself; without a portal there is nobody
/// to ask, and access is free. Talks on a thread of its own, so that a dialog may stay open for as
/// long as it likes.
class CameraPortal {
public:
    using Completion = std::function<void(bool granted)>;

    /// `diagnostics` outlives this.
    explicit CameraPortal(Diagnostics& diagnostics);
    CameraPortal(const CameraPortal&) = delete;
    CameraPortal& operator=(const CameraPortal&) = delete;
    /// Takes an open dialog back. Completions that are still due are not called any more.
    ~CameraPortal() = default;

    /// `notDetermined` until the portal has answered this program, and again when the answer that
    /// it remembers has changed. Any thread.
    [[nodiscard]] AuthorizationStatus status() const { return status_.load(); }

    /// Returns at once; `completion` is called on the portal's thread. Any thread.
    void requestAccess(Completion completion);

private:
    void begin();
    void ask();
    void callFailed(const GError& error);
    void takeAnswer(GVariant* parameters);
    void memoryChanged(GVariant* parameters);
    void portalVanished();
    void stopListening();
    void closeDialog();
    void conclude(AuthorizationStatus status);
    void concludeWithoutAnswer(const std::string& why);
    void report(Diagnostic::Kind kind, const std::string& text, const std::string& advice = {});

    Diagnostics& diagnostics_;
    std::atomic<AuthorizationStatus> status_ = AuthorizationStatus::notDetermined;

    // The thread's own.
    /// Hears of the open dialog's answer; 0 while there is no dialog.
    unsigned response_ = 0;
    std::string dialog_;
    int dialogs_ = 0;
    bool portalIsThere_ = false;
    std::vector<Completion> waiting_;

    glib::BusThread thread_;
};

}  // namespace velmaro
