#include "backends/portal/LoginManagerLock.h"

#include <unistd.h>

#include <utility>

namespace velmaro {

LoginManagerLock::LoginManagerLock()
    : thread_("login manager", glib::BusThread::Bus::system,
              {.begin = [] {}, .end = [this] { close(); }}) {}

void LoginManagerLock::setHeld(bool held) {
    thread_.post([this, held] { apply(held); });
}

void LoginManagerLock::apply(bool held) {
    const int turn = ++turn_;
    close();
    if (!held || !thread_.isConnected()) {
        return;
    }
    thread_.callForDescriptor({"org.freedesktop.login1", "/org/freedesktop/login1",
                               "org.freedesktop.login1.Manager", "Inhibit"},
                              g_variant_new("(ssss)", "idle", "Velmaro", "Head tracking", "block"),
                              [this, turn](int descriptor) {
                                  if (turn == turn_) {
                                      descriptor_ = descriptor;
                                  } else if (descriptor >= 0) {
                                      // It was given back before the answer came.
                                      ::close(descriptor);
                                  }
                              });
}

void LoginManagerLock::close() {
    if (descriptor_ >= 0) {
        ::close(std::exchange(descriptor_, -1));
    }
}

}  // namespace velmaro
