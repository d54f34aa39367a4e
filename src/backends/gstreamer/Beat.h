#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace velmaro::gstreamer {

/// Spaces the frames of a camera so that all of them are used. A frame is analysed only if a
/// thirtieth of a second has passed since the one before was, and sent only if as much has passed
/// since the one before was sent, which is after its analysis; of frames that come thirty times a
/// second, a little early or late, every third would therefore be lost. Handed over a little
/// further apart than that, and by as much more as the analysis before took longer than it can,
/// each waits a little longer than the one before, until one is passed over and it begins anew.
class Beat {
public:
    using Clock = std::chrono::steady_clock;
    using Duration = std::chrono::duration<double>;

    /// How long a frame that has come at `arrival` is to wait; nothing if it is to be passed over.
    [[nodiscard]] std::optional<Duration> wait(Clock::time_point arrival) const {
        const Duration early = last_ + kInterval + kSlack + late_ - arrival;
        if (early > kLongestWait * drift_) {
            return std::nullopt;
        }
        return std::max(early, Duration(0));
    }

    /// A frame is handed over.
    void begins(Clock::time_point now) {
        last_ = now;
        late_ = Duration(0);
    }

    /// It has been handled.
    void ends(Clock::time_point now) {
        const Duration taken = now - last_;
        quick_ = quick_.value_or(taken);
        const Duration more = std::min(taken - *quick_, kMostLate);
        *quick_ += more / (more < Duration(0) ? kSharesDown : kSharesUp);
        late_ = std::clamp(taken - *quick_, Duration(0), kMostLate);
        drift_ += (kSlack + late_ - drift_) / kSharesOfDrift;
    }

private:
    static constexpr Duration kInterval{1.0 / 30};
    /// For what the clocks of the gates see a little earlier or later.
    static constexpr Duration kSlack{0.0005};
    /// Beyond it a message is lost rather than every later frame held.
    static constexpr Duration kMostLate{0.006};
    /// In drifts: of so many frames one is passed over, and they wait half as many on average.
    static constexpr double kLongestWait = 13;
    /// The quick analysis follows quicker ones at once, slower ones in seconds.
    static constexpr double kSharesDown = 4;
    static constexpr double kSharesUp = 64;
    static constexpr double kSharesOfDrift = 32;

    Clock::time_point last_{};
    /// What a quick analysis takes, and by how much the last one took longer.
    std::optional<Duration> quick_;
    Duration late_{0};
    /// By how much more than one frame before it each waits, on average.
    Duration drift_{2 * kSlack};
};

}  // namespace velmaro::gstreamer
