#pragma once

#include <functional>
#include <string>

#include "backends/glib/BusThread.h"
#include "backends/portal/Desktop.h"

namespace velmaro {

/// Keys that work wherever the focus is (org.freedesktop.portal.GlobalShortcuts): one makes the
/// current pose the zero pose, one resets it. Which keys, the desktop asks the person. Where there
/// is no such portal, or the person wants none, nothing happens.
class GlobalShortcuts {
public:
    /// `handler` is called on the portal's thread. Throws std::system_error if the system has no
    /// thread left.
    explicit GlobalShortcuts(std::function<void(ShortcutAction)> handler);
    GlobalShortcuts(const GlobalShortcuts&) = delete;
    GlobalShortcuts& operator=(const GlobalShortcuts&) = delete;
    /// Gives the keys back; the handler is not called any more.
    ~GlobalShortcuts() = default;

private:
    void begin();
    void createSession();
    void sessionAnswered(GVariant* parameters);
    void bind();
    void activated(GVariant* parameters);
    void closeSession();

    const std::function<void(ShortcutAction)> handler_;

    // The thread's own.
    /// The portal's object that holds the keys until it is closed.
    std::string session_;
    unsigned response_ = 0;

    glib::BusThread thread_;
};

}  // namespace velmaro
