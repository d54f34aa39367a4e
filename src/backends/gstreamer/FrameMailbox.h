#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "platform/Capture.h"
#include "platform/Telemetry.h"

namespace velmaro::gstreamer {

/// One slot between the streaming thread and the delegate's queue. A new frame takes the place of
/// one that still waits, so a slow delegate sees the newest frame and never a backlog. Nothing here
/// locks: the streaming thread never waits, and only `close()` does.
class FrameMailbox {
public:
    FrameMailbox(std::weak_ptr<SampleBufferDelegate> delegate, Telemetry& telemetry);
    FrameMailbox(const FrameMailbox&) = delete;
    FrameMailbox& operator=(const FrameMailbox&) = delete;
    ~FrameMailbox();

    /// True if the slot was empty: the caller then queues one `deliver()`. Streaming thread, which
    /// must be one at a time. `discardedBefore` frames since the one before did not come so far.
    [[nodiscard]] bool put(std::shared_ptr<const PixelBuffer> image,
                           Telemetry::Clock::time_point arrival, int discardedBefore = 0);

    /// Tells the delegate of the discarded frames, then hands it the waiting one. Delegate's queue.
    void deliver();

    /// Ends delivery for good and waits for a frame that is being handled, unless the caller is the
    /// one handling it. Any thread, any number of times.
    void close();

    [[nodiscard]] bool isClosed() const { return (state_.load() & kClosed) != 0; }

private:
    struct Frame {
        SampleBuffer sampleBuffer;
        Telemetry::Clock::time_point arrival;
        /// How many frames were discarded for this one.
        int discarded = 0;
    };

    static constexpr std::uint32_t kDelivering = 1;
    static constexpr std::uint32_t kClosed = 2;

    void hand(const Frame& frame);

    const std::weak_ptr<SampleBufferDelegate> delegate_;
    Telemetry& telemetry_;

    std::atomic<Frame*> slot_ = nullptr;
    // The streaming thread's own: what it last put in. Only it fills the slot, so the slot holds
    // either this frame or nothing.
    Frame* lastPut_ = nullptr;
    int lastDiscarded_ = 0;

    std::atomic<std::uint32_t> state_ = 0;
    std::atomic<std::thread::id> deliveringThread_;
};

}  // namespace velmaro::gstreamer
