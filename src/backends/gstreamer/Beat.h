#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace velmaro::gstreamer {

/// Spaces the frames of a camera so that all of them are used. A frame is analysed and sent only if
/// a thirtieth of a second has passed since the one before; of frames that come thirty times a
/// second, a little early or late, every third would therefore be lost. Handed over a little
/// further apart than that, each waits a little longer than the one before, until one is passed
/// over and it begins anew.
class Beat {
public:
    using Clock = std::chrono::steady_clock;
    using Duration = std::chrono::duration<double>;

    /// How long a frame that has come at `arrival` is to wait; nothing if it is to be passed over.
    [[nodiscard]] std::optional<Duration> wait(Clock::time_point arrival) const {
        const Duration early = last_ + kInterval + slack() - arrival;
        if (early > kLongestWait * slack()) {
            return std::nullopt;
        }
        return std::max(early, Duration(0));
    }

    /// A frame is handed over.
    void begins(Clock::time_point now) { last_ = now; }

    /// It has been handled.
    void ends(Clock::time_point now) {
        const Duration taken = now - last_;
        const Duration change = std::chrono::abs(taken - taken_);
        spread_ += (std::min(change, kMostSlack) - spread_) / 16;
        taken_ = taken;
    }

    /// What the frames are further apart than they need be: what is sent is so after the analysis,
    /// which does not always take the same time.
    [[nodiscard]] Duration slack() const {
        return std::clamp(kSlackOfSpread * spread_, kLeastSlack, kMostSlack);
    }

private:
    static constexpr Duration kInterval{1.0 / 30};
    static constexpr Duration kLeastSlack{0.001};
    static constexpr Duration kMostSlack{0.003};
    static constexpr double kSlackOfSpread = 3;
    /// In slacks: of so many frames one is passed over, and they wait half as many on average.
    static constexpr double kLongestWait = 12;

    Clock::time_point last_{};
    Duration taken_{0};
    Duration spread_{0};
};

}  // namespace velmaro::gstreamer
