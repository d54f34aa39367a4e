#include "backends/cameras/PipeWireLink.h"

#include <glib-unix.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <utility>

#include "backends/cameras/PipeWireSocket.h"

namespace velmaro::cameras {

namespace {

/// Milliseconds between attempts, doubled each time.
constexpr guint kFirstDelay = 100;
constexpr guint kLastDelay = 3200;

void drop(GSource*& source) {
    if (source != nullptr) {
        g_source_destroy(source);
        g_source_unref(source);
        source = nullptr;
    }
}

}  // namespace

PipeWireLink::PipeWireLink(GMainContext* context, std::string socket, Events events)
    : context_(context), socket_(std::move(socket)), events_(std::move(events)) {}

PipeWireLink::~PipeWireLink() {
    disconnect();
    drop(retrySource_);
    drop(folderSource_);
}

bool PipeWireLink::begin() {
    if (socket_.empty()) {
        return false;
    }
    watchFolder();
    return connect();
}

bool PipeWireLink::connect() {
    auto connection = connectToPipeWire(socket_);
    if (!connection) {
        return false;
    }
    connection_.emplace(std::move(*connection));
    connectionSource_ = g_unix_fd_source_new(
        connection_->get(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR));
    g_source_set_callback(connectionSource_, G_SOURCE_FUNC(socketEvent), this, nullptr);
    g_source_attach(connectionSource_, context_);
    return true;
}

gboolean PipeWireLink::socketEvent(int descriptor, GIOCondition /*condition*/, gpointer self) {
    std::array<char, 1024> unread{};
    const ssize_t length = ::recv(descriptor, unread.data(), unread.size(), MSG_DONTWAIT);
    if (length > 0 || (length < 0 && (errno == EAGAIN || errno == EINTR))) {
        return G_SOURCE_CONTINUE;
    }
    auto& link = *static_cast<PipeWireLink*>(self);
    link.disconnect();
    link.delay_ = kFirstDelay;
    link.retryLater();
    link.events_.lost();
    return G_SOURCE_REMOVE;
}

void PipeWireLink::watchFolder() {
    folder_.emplace(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const std::string folder = std::filesystem::path(socket_).parent_path();
    if (::inotify_add_watch(folder_->get(), folder.c_str(), IN_CREATE | IN_MOVED_TO) < 0) {
        folder_.reset();
        return;
    }
    folderSource_ = g_unix_fd_source_new(folder_->get(), G_IO_IN);
    g_source_set_callback(folderSource_, G_SOURCE_FUNC(folderEvent), this, nullptr);
    g_source_attach(folderSource_, context_);
}

gboolean PipeWireLink::folderEvent(int descriptor, GIOCondition /*condition*/, gpointer self) {
    auto& link = *static_cast<PipeWireLink*>(self);
    const std::string name = std::filesystem::path(link.socket_).filename();
    bool created = false;
    alignas(inotify_event) std::array<char, 4096> events{};
    for (;;) {
        const ssize_t length = ::read(descriptor, events.data(), events.size());
        if (length <= 0) {
            break;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* const event =
                reinterpret_cast<const inotify_event*>(events.data() + offset);
            created = created || (event->len > 0 && name == event->name);
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    // The socket appears a moment before anybody listens on it.
    if (created && !link.connection_) {
        link.delay_ = kFirstDelay;
        link.retryLater();
    }
    return G_SOURCE_CONTINUE;
}

void PipeWireLink::retryLater() {
    drop(retrySource_);
    retrySource_ = g_timeout_source_new(delay_);
    g_source_set_callback(retrySource_, retry, this, nullptr);
    g_source_attach(retrySource_, context_);
}

gboolean PipeWireLink::retry(gpointer self) {
    auto& link = *static_cast<PipeWireLink*>(self);
    drop(link.retrySource_);
    if (link.connect()) {
        link.events_.appeared();
    } else if (link.delay_ < kLastDelay) {
        link.delay_ *= 2;
        link.retryLater();
    } else {
        link.events_.stayedAway();
    }
    return G_SOURCE_REMOVE;
}

void PipeWireLink::disconnect() {
    drop(connectionSource_);
    connection_.reset();
}

}  // namespace velmaro::cameras
