#pragma once

#include <memory>
#include <string>

#include "backends/glib/BusThread.h"

namespace velmaro {

class LoginManagerLock;

/// Keeps the desktop from taking the person for absent, who turns the head and touches neither
/// mouse nor keyboard: by the desktop's portal or else by the login manager. Where there is
/// neither, or they refuse, nothing happens.
class IdleInhibitor {
public:
    /// Throws std::system_error if the system has no thread left.
    IdleInhibitor();
    IdleInhibitor(const IdleInhibitor&) = delete;
    IdleInhibitor& operator=(const IdleInhibitor&) = delete;
    /// Ends it.
    ~IdleInhibitor();

    /// Returns at once. Any thread.
    void setInhibited(bool inhibited);

private:
    void apply(bool inhibited);
    void askPortal();
    void askLoginManager();
    void closeRequest();

    // The thread's own.
    /// Tells an answer from one to an earlier question.
    int turn_ = 0;
    /// The portal's request, which lasts until it is closed.
    std::string request_;
    std::unique_ptr<LoginManagerLock> login_;

    glib::BusThread thread_;
};

}  // namespace velmaro
