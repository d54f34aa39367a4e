#pragma once

#include <chrono>
#include <cstdint>

namespace velmaro::gstreamer {

/// What became of the flow of frames.
enum class FrameFlow {
    /// Nothing that was not told before.
    unchanged,
    /// None came for two seconds.
    halted,
    /// None came for ten seconds.
    stopped,
    /// They come again.
    resumed,
};

/// Notices that a camera gives no more frames, or has not begun to. The caller looks now and then.
class FrameWatch {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds kHalt{2};
    static constexpr std::chrono::seconds kStop{10};

    /// Frames are expected from now on.
    void begin(Clock::time_point now) { lastFrame_ = now; }

    /// `frames` is how many have come so far. Each change is told once.
    FrameFlow look(Clock::time_point now, std::uint64_t frames) {
        if (frames != frames_) {
            frames_ = frames;
            lastFrame_ = now;
            return change(FrameFlow::resumed, FrameFlow::unchanged);
        }
        if (now - lastFrame_ >= kStop) {
            return change(FrameFlow::stopped, FrameFlow::stopped);
        }
        if (now - lastFrame_ >= kHalt && told_ != FrameFlow::stopped) {
            return change(FrameFlow::halted, FrameFlow::halted);
        }
        return FrameFlow::unchanged;
    }

private:
    FrameFlow change(FrameFlow flow, FrameFlow state) {
        if (told_ == state) {
            return FrameFlow::unchanged;
        }
        told_ = state;
        return flow;
    }

    Clock::time_point lastFrame_;
    std::uint64_t frames_ = 0;
    FrameFlow told_ = FrameFlow::unchanged;
};

}  // namespace velmaro::gstreamer
