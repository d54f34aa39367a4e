#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>

#include "platform/Dispatch.h"
#include "platform/Log.h"
#include "platform/Telemetry.h"

namespace velmaro {

/// One line a second: what came in, was analysed, showed a face, was dropped, passed over and sent
/// in that second, how long datagrams came after their frames, and what it cost.
class StatisticsReport : public std::enable_shared_from_this<StatisticsReport> {
public:
    /// Listens to `telemetry`, which must not run yet. Both arguments outlive the report.
    StatisticsReport(Telemetry& telemetry, DispatchQueue& mainQueue);
    ~StatisticsReport();
    StatisticsReport(const StatisticsReport&) = delete;
    StatisticsReport& operator=(const StatisticsReport&) = delete;

    /// Gives the lines to `output`, which outlives the queue's last work, from a second from now
    /// on, until destroyed. Main thread.
    void start(Log& output);

private:
    // Hundredths of a millisecond up to 100 ms, then tens of milliseconds, up to 100 s.
    static constexpr std::size_t kBuckets = 20'000;

    struct Totals {
        std::uint64_t framesIn = 0;
        std::uint64_t framesAnalysed = 0;
        std::uint64_t framesWithFace = 0;
        std::uint64_t networkRuns = 0;
        std::uint64_t framesDropped = 0;
        std::uint64_t framesPassedOver = 0;
        std::uint64_t datagramsOut = 0;
        double cpuSeconds = 0;
        std::chrono::steady_clock::time_point time;
    };

    void record(std::chrono::steady_clock::duration delay);
    [[nodiscard]] Totals totals() const;
    void printLine();
    void printLater();

    Telemetry& telemetry_;
    DispatchQueue& mainQueue_;
    std::array<std::atomic<std::uint32_t>, kBuckets> delays_{};
    Totals last_;
    Log* output_ = nullptr;
};

}  // namespace velmaro
