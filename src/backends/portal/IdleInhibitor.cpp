#include "backends/portal/IdleInhibitor.h"

#include <system_error>

#include "backends/portal/LoginManagerLock.h"
#include "backends/portal/Portal.h"

namespace velmaro {
namespace {

/// The portal's flag for idling, of those that its documentation gives.
constexpr guint32 kIdle = 8;

}  // namespace

IdleInhibitor::IdleInhibitor()
    : thread_("inhibitor", glib::BusThread::Bus::session,
              {.begin = [] {}, .end = [this] { closeRequest(); }}) {}

IdleInhibitor::~IdleInhibitor() = default;

void IdleInhibitor::setInhibited(bool inhibited) {
    thread_.post([this, inhibited] { apply(inhibited); });
}

void IdleInhibitor::apply(bool inhibited) {
    ++turn_;
    closeRequest();
    if (login_) {
        login_->setHeld(false);
    }
    if (inhibited) {
        askPortal();
    }
}

void IdleInhibitor::askPortal() {
    if (!thread_.isConnected()) {
        askLoginManager();
        return;
    }
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&options, "{sv}", "reason", g_variant_new_string("Head tracking"));
    thread_.call({portal::kName, portal::kPath, "org.freedesktop.portal.Inhibit", "Inhibit"},
                 g_variant_new("(sua{sv})", "", kIdle, &options),
                 {.replyType = "(o)", .milliseconds = portal::kCallLimit},
                 [this, turn = turn_](GVariant* reply, const GError* error) {
                     if (error != nullptr) {
                         if (turn == turn_) {
                             askLoginManager();
                         }
                         return;
                     }
                     const char* path = nullptr;
                     g_variant_get(reply, "(&o)", &path);
                     if (turn == turn_) {
                         request_ = path;
                     } else {
                         // Tracking was stopped, or stopped and started, before the answer came.
                         thread_.callWithoutReply({portal::kName, path, portal::kRequest, "Close"});
                     }
                 });
}

void IdleInhibitor::askLoginManager() {
    try {
        if (!login_) {
            login_ = std::make_unique<LoginManagerLock>();
        }
        login_->setHeld(true);
    } catch (const std::system_error&) {
        // Without a thread it stays as it is.
    }
}

void IdleInhibitor::closeRequest() {
    if (!request_.empty() && thread_.isConnected()) {
        thread_.callWithoutReply({portal::kName, request_.c_str(), portal::kRequest, "Close"});
    }
    request_.clear();
}

}  // namespace velmaro
