#include "integration/support/Receiver.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "UDPReceiver.h"

namespace velmaro::integration {
namespace {

/// A free one that the kernel picks. The library would pick by the clock: two programs that start
/// in the same second get the same port, the second as soon as the first has left it.
std::string freePort() {
    return std::to_string(UDPReceiver("").port());
}

}  // namespace

Receiver::Receiver(const std::string& port) {
    const std::string chosen = port.empty() ? freePort() : port;
    server_ = lo_server_thread_new_with_proto(
        chosen.c_str(), LO_UDP, [](int code, const char* text, const char*) {
            std::fprintf(stderr, "OSC receiver: %d %s\n", code, text);
        });
    if (server_ == nullptr) {
        std::abort();
    }
    lo_server_thread_add_method(server_, nullptr, nullptr, receive, this);
    lo_server_thread_start(server_);
}

Receiver::~Receiver() {
    lo_server_thread_free(server_);
}

std::string Receiver::port() const {
    return std::to_string(lo_server_thread_get_port(server_));
}

std::vector<Receiver::Message> Receiver::messages() const {
    const std::lock_guard lock(mutex_);
    return messages_;
}

bool Receiver::waitFor(std::size_t count, std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (messages().size() < count) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

int Receiver::receive(const char* path, const char* types, lo_arg** arguments, int count,
                      lo_message /*message*/, void* self) {
    auto& receiver = *static_cast<Receiver*>(self);
    Message received{std::chrono::steady_clock::now(), path, types, {}};
    for (int index = 0; index < count && types[index] == 'f'; ++index) {
        // The library's arguments are aligned to four bytes, its union asks for eight.
        float value;
        std::memcpy(&value, arguments[index], sizeof value);
        received.values.push_back(value);
    }
    const std::lock_guard lock(receiver.mutex_);
    receiver.messages_.push_back(std::move(received));
    return 0;
}

}  // namespace velmaro::integration
