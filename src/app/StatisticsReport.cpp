#include "app/StatisticsReport.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

namespace velmaro {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// Of the buckets: so many are of a hundredth of a millisecond, the others of ten milliseconds.
constexpr std::size_t kFineBuckets = 10'000;
constexpr double kFineLimit = 100;

std::size_t bucketOf(double milliseconds, std::size_t buckets) {
    const double bucket = milliseconds < kFineLimit
                              ? milliseconds * 100
                              : kFineBuckets + (milliseconds - kFineLimit) / 10;
    return static_cast<std::size_t>(std::clamp(bucket, 0.0, static_cast<double>(buckets - 1)));
}

double upperEdge(std::size_t bucket) {
    const auto next = static_cast<double>(bucket + 1);
    return bucket < kFineBuckets ? next / 100 : kFineLimit + (next - kFineBuckets) * 10;
}

/// Upper edge, in milliseconds, of the bucket that holds that share of the counts; 0 if none.
double percentile(const std::vector<std::uint32_t>& counts, double share) {
    std::uint64_t all = 0;
    for (const std::uint32_t count : counts) {
        all += count;
    }
    std::uint64_t seen = 0;
    for (std::size_t bucket = 0; bucket < counts.size(); ++bucket) {
        seen += counts[bucket];
        if (all > 0 && static_cast<double>(seen) >= share * static_cast<double>(all)) {
            return upperEdge(bucket);
        }
    }
    return 0;
}

}  // namespace

StatisticsReport::StatisticsReport(Telemetry& telemetry, DispatchQueue& mainQueue)
    : telemetry_(telemetry), mainQueue_(mainQueue) {
    telemetry_.onFrameToDatagram = [this](std::chrono::steady_clock::duration delay) {
        record(delay);
    };
}

StatisticsReport::~StatisticsReport() {
    telemetry_.onFrameToDatagram = nullptr;
}

void StatisticsReport::record(std::chrono::steady_clock::duration delay) {
    delays_[bucketOf(Milliseconds(delay).count(), kBuckets)].fetch_add(1,
                                                                       std::memory_order_relaxed);
}

StatisticsReport::Totals StatisticsReport::totals() const {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return {telemetry_.framesIn.load(std::memory_order_relaxed),
            telemetry_.framesAnalysed.load(std::memory_order_relaxed),
            telemetry_.framesWithFace.load(std::memory_order_relaxed),
            telemetry_.networkRuns.load(std::memory_order_relaxed),
            telemetry_.framesDropped.load(std::memory_order_relaxed),
            telemetry_.framesPassedOver.load(std::memory_order_relaxed),
            telemetry_.datagramsOut.load(std::memory_order_relaxed),
            seconds(usage.ru_utime) + seconds(usage.ru_stime),
            std::chrono::steady_clock::now()};
}

void StatisticsReport::start(Log& output) {
    output_ = &output;
    last_ = totals();
    printLater();
}

void StatisticsReport::printLater() {
    mainQueue_.asyncAfter(std::chrono::seconds(1), [weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock()) {
            self->printLine();
            self->printLater();
        }
    });
}

void StatisticsReport::printLine() {
    std::vector<std::uint32_t> delays(kBuckets);
    std::transform(delays_.begin(), delays_.end(), delays.begin(),
                   [](auto& count) { return count.exchange(0, std::memory_order_relaxed); });
    const Totals now = totals();
    const double elapsed = std::chrono::duration<double>(now.time - last_.time).count();
    std::array<char, 384> line{};
    std::snprintf(line.data(), line.size(),
                  "frames in %llu, analysed %llu, with a face %llu, network runs %llu, "
                  "dropped %llu, passed over %llu, datagrams out %llu, "
                  "frame to datagram p50 %.2f ms p99 %.2f ms, cost %.1f %% of a core",
                  static_cast<unsigned long long>(now.framesIn - last_.framesIn),
                  static_cast<unsigned long long>(now.framesAnalysed - last_.framesAnalysed),
                  static_cast<unsigned long long>(now.framesWithFace - last_.framesWithFace),
                  static_cast<unsigned long long>(now.networkRuns - last_.networkRuns),
                  static_cast<unsigned long long>(now.framesDropped - last_.framesDropped),
                  static_cast<unsigned long long>(now.framesPassedOver - last_.framesPassedOver),
                  static_cast<unsigned long long>(now.datagramsOut - last_.datagramsOut),
                  percentile(delays, 0.5), percentile(delays, 0.99),
                  100.0 * (now.cpuSeconds - last_.cpuSeconds) / elapsed);
    output_->line(line.data());
    last_ = now;
}

}  // namespace velmaro
