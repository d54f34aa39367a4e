#include "backends/cameras/PipeWireSocket.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>

namespace velmaro::cameras {

namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

std::string pipeWireSocket() {
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

std::optional<FileDescriptor> connectToPipeWire(const std::string& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket.empty() || socket.size() >= sizeof(address.sun_path)) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, socket.c_str(), socket.size() + 1);
    FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connection.get() < 0 ||
        ::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) !=
            0) {
        return std::nullopt;
    }
    return connection;
}

}  // namespace velmaro::cameras
