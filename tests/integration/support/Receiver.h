#pragma once

#include <lo/lo.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace velmaro::integration {

/// Listens for OSC on a UDP port of the loopback with an independent implementation.
class Receiver {
public:
    struct Message {
        std::chrono::steady_clock::time_point time;
        std::string address;
        std::string types;
        std::vector<float> values;
    };

    /// On a free port, or on the one given. Ends the test program if it cannot.
    explicit Receiver(const std::string& port = "");
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    [[nodiscard]] std::string port() const;
    /// What has come so far.
    [[nodiscard]] std::vector<Message> messages() const;
    /// The same once everything has come that was sent before the call, as by a program that has
    /// ended since.
    [[nodiscard]] std::vector<Message> allSent();
    /// Waits until that many messages have come; false after `timeout`, which only ends a test that
    /// fails.
    [[nodiscard]] bool waitFor(std::size_t count,
                               std::chrono::milliseconds timeout = std::chrono::seconds(60)) const;

private:
    static int receive(const char* path, const char* types, lo_arg** arguments, int count,
                       lo_message message, void* self);

    mutable std::mutex mutex_;
    std::vector<Message> messages_;
    int ownMessages_ = 0;
    lo_server_thread server_ = nullptr;
};

}  // namespace velmaro::integration
