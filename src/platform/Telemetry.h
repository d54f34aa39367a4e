#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

namespace velmaro {

/// Counts what passes through the backends, for `--stats` and the benchmarks. All members are safe
/// on any thread; nothing that is counted ever waits.
struct Telemetry {
    using Clock = std::chrono::steady_clock;

    std::atomic<std::uint64_t> framesIn = 0;
    std::atomic<std::uint64_t> framesAnalysed = 0;
    /// Of those analysed: in how many a face was found, and how often a network ran for all of
    /// them.
    std::atomic<std::uint64_t> framesWithFace = 0;
    std::atomic<std::uint64_t> networkRuns = 0;
    std::atomic<std::uint64_t> framesDropped = 0;
    /// Left out so that those before and after are far enough apart to be used.
    std::atomic<std::uint64_t> framesPassedOver = 0;
    std::atomic<std::uint64_t> datagramsOut = 0;

    /// Told how long a datagram came after the arrival of the frame that caused it, on the thread
    /// that sent it. Set before anything runs.
    std::function<void(Clock::duration)> onFrameToDatagram;

    /// The current thread handles a frame that arrived at `arrival`, until `frameDone()`.
    void frameBegins(Clock::time_point arrival) {
        currentArrival() = arrival;
        framesIn.fetch_add(1, std::memory_order_relaxed);
    }
    void frameDone() { currentArrival() = {}; }

    /// The current thread has just sent a datagram.
    void datagramSent() {
        datagramsOut.fetch_add(1, std::memory_order_relaxed);
        const Clock::time_point arrival = currentArrival();
        if (onFrameToDatagram && arrival != Clock::time_point{}) {
            onFrameToDatagram(Clock::now() - arrival);
        }
    }

private:
    static Clock::time_point& currentArrival() {
        thread_local Clock::time_point arrival;
        return arrival;
    }
};

}  // namespace velmaro
