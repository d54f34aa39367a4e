#include "backends/cameras/PipeWireLink.h"

#include <glib-unix.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

namespace velmaro::cameras {

namespace {

/// Milliseconds between attempts, doubled each time.
constexpr guint kFirstDelay = 100;
constexpr guint kLastDelay = 3200;

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

void drop(GSource*& source) {
    if (source != nullptr) {
        g_source_destroy(source);
        g_source_unref(source);
        source = nullptr;
    }
}

void drop(int& descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

}  // namespace

std::string PipeWireLink::socketOfEnvironment() {
    std::string name = variable("PIPEWIRE_REMOTE");
    if (name.empty()) {
        name = "pipewire-0";
    }
    std::string folder = variable("PIPEWIRE_RUNTIME_DIR");
    if (folder.empty()) {
        folder = variable("XDG_RUNTIME_DIR");
    }
    if (name.front() == '/') {
        return name;
    }
    return folder.empty() ? "" : folder + "/" + name;
}

PipeWireLink::PipeWireLink(GMainContext* context, std::string socket, Events events)
    : context_(context), socket_(std::move(socket)), events_(std::move(events)) {}

PipeWireLink::~PipeWireLink() {
    disconnect();
    drop(retrySource_);
    drop(folderSource_);
    drop(folder_);
}

bool PipeWireLink::begin() {
    if (socket_.empty()) {
        return false;
    }
    watchFolder();
    return connect();
}

bool PipeWireLink::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket_.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, socket_.c_str(), socket_.size() + 1);
    connection_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (connection_ < 0 ||
        ::connect(connection_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        drop(connection_);
        return false;
    }
    connectionSource_ =
        g_unix_fd_source_new(connection_, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR));
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
    folder_ = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    const std::string folder = std::filesystem::path(socket_).parent_path();
    if (folder_ < 0 || ::inotify_add_watch(folder_, folder.c_str(), IN_CREATE | IN_MOVED_TO) < 0) {
        drop(folder_);
        return;
    }
    folderSource_ = g_unix_fd_source_new(folder_, G_IO_IN);
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
    if (created && link.connection_ < 0) {
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
    drop(connection_);
}

}  // namespace velmaro::cameras
