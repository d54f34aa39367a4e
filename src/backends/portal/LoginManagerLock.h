#pragma once

#include "backends/glib/BusThread.h"

namespace velmaro {

/// The login manager's lock against idling (org.freedesktop.login1.Manager, "Inhibit"), for where
/// the desktop has no portal for it.
class LoginManagerLock {
public:
    /// Throws std::system_error if the system has no thread left.
    LoginManagerLock();
    LoginManagerLock(const LoginManagerLock&) = delete;
    LoginManagerLock& operator=(const LoginManagerLock&) = delete;
    /// Gives it back.
    ~LoginManagerLock() = default;

    /// Returns at once. Any thread.
    void setHeld(bool held);

private:
    void apply(bool held);
    void close();

    // The thread's own.
    /// Tells an answer from one to an earlier question.
    int turn_ = 0;
    /// Holds until it is closed; -1 if there is none.
    int descriptor_ = -1;

    glib::BusThread thread_;
};

}  // namespace velmaro
