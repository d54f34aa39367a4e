#include "integration/support/Receiver.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "UDPReceiver.h"
#include "fakes/Eventually.h"

namespace velmaro::integration {
namespace {

/// Sent by the receiver to itself.
constexpr const char* kOwn = "/everything/before/has/come";

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

std::vector<Receiver::Message> Receiver::allSent() {
    const auto own = [this] {
        const std::lock_guard lock(mutex_);
        return ownMessages_;
    };
    const int before = own();
    const std::unique_ptr<std::remove_pointer_t<lo_address>, decltype(&lo_address_free)> itself(
        lo_address_new("127.0.0.1", port().c_str()), &lo_address_free);
    // What comes over the loopback keeps its order. Sent anew where a full socket dropped it.
    do {
        lo_send(itself.get(), kOwn, nullptr);
    } while (!fakes::eventually([&] { return own() > before; }, std::chrono::seconds(1)));
    return messages();
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
        // The library's arguments are aligned to four bytes, its union asks for eight: newer clangs
        // take even a copy from where it is said to be for a read of it.
        const auto* const place = static_cast<const void*>(arguments[index]);
        float value;
        std::memcpy(&value, place, sizeof value);
        received.values.push_back(value);
    }
    const std::lock_guard lock(receiver.mutex_);
    if (received.address == kOwn) {
        ++receiver.ownMessages_;
        return 0;
    }
    receiver.messages_.push_back(std::move(received));
    return 0;
}

}  // namespace velmaro::integration
