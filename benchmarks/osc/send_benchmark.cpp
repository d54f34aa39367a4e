#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

#include "backends/net/AsioNetwork.h"
#include "backends/queues/AsioDispatch.h"
#include "backends/queues/AsioMainQueue.h"
#include "osc/OSCManager.h"
#include "osc/OSCMessage.h"

// Messages "/ypr" with three floats to a receiver on the loopback that reads them all.
namespace {

using namespace velmaro;

int checked(int result) {
    if (result < 0) {
        throw std::system_error(errno, std::system_category());
    }
    return result;
}

/// Reads and counts datagrams on a thread of its own.
class DrainingReceiver {
public:
    DrainingReceiver() : socket_(checked(socket(AF_INET, SOCK_DGRAM, 0))) {
        checked(bind(socket_, reinterpret_cast<sockaddr*>(&address_), sizeof address_));
        socklen_t size = sizeof address_;
        checked(getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size));
        const timeval patience{0, 50'000};
        checked(setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience));
        thread_ = std::thread([this] {
            std::array<char, 2048> buffer;
            while (!isEnding_.load(std::memory_order_relaxed)) {
                if (recv(socket_, buffer.data(), buffer.size(), 0) >= 0) {
                    received_.fetch_add(1, std::memory_order_relaxed);
                }
            }
        });
    }

    ~DrainingReceiver() {
        isEnding_ = true;
        thread_.join();
        close(socket_);
    }

    DrainingReceiver(const DrainingReceiver&) = delete;
    DrainingReceiver& operator=(const DrainingReceiver&) = delete;

    [[nodiscard]] const sockaddr_in& address() const { return address_; }
    [[nodiscard]] double received() const { return static_cast<double>(received_); }

private:
    static sockaddr_in loopback() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    sockaddr_in address_ = loopback();
    int socket_;
    std::atomic<bool> isEnding_ = false;
    std::atomic<std::uint64_t> received_ = 0;
    std::thread thread_;
};

void report(benchmark::State& state, const DrainingReceiver& receiver) {
    state.SetItemsProcessed(state.iterations());
    // The rest was sent, and dropped by the system where the receiver could not keep up.
    state.counters["arrived"] = receiver.received() / static_cast<double>(state.iterations());
}

class SystemClock : public WallClock {
public:
    [[nodiscard]] WallTime now() const override {
        const auto time = std::chrono::system_clock::now().time_since_epoch();
        return std::chrono::duration<double>(time).count();
    }
};

class ErrorCountingLog : public Log {
public:
    void line(std::string_view text) override {
        if (!text.starts_with("✅")) {
            ++errors;
        }
    }
    std::atomic<int> errors = 0;
};

void send_loopback(benchmark::State& state) {
    const DrainingReceiver receiver;
    const SystemClock clock;
    ErrorCountingLog log;
    AsioMainQueue mainQueue;
    AsioDispatch dispatch(mainQueue);
    AsioNetwork network;
    OSCManager manager(network, dispatch, clock, log);
    manager.port = std::to_string(ntohs(receiver.address().sin_port));
    manager.frameRate = -1;
    float pan = 0;
    for ([[maybe_unused]] auto _ : state) {
        manager.sendOSC(pan, -5.0F, 0.5F);
        pan += 0.5F;
    }
    report(state, receiver);
    if (log.errors > 0) {
        state.SkipWithError("some sends failed");
    }
}
BENCHMARK(send_loopback)->UseRealTime();

/// The least that any sender can do: the same bytes each time, one system call.
void send_loopback_raw(benchmark::State& state) {
    const DrainingReceiver receiver;
    const int sender = checked(socket(AF_INET, SOCK_DGRAM, 0));
    checked(connect(sender, reinterpret_cast<const sockaddr*>(&receiver.address()),
                    sizeof receiver.address()));
    const auto message = createOSCMessage("/ypr", std::array{10.0F, -5.0F, 0.5F});
    for ([[maybe_unused]] auto _ : state) {
        if (send(sender, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
            state.SkipWithError("a send failed");
            break;
        }
    }
    report(state, receiver);
    close(sender);
}
BENCHMARK(send_loopback_raw)->UseRealTime();

}  // namespace
