#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "backends/gstreamer/Beat.h"
#include "platform/Capture.h"
#include "platform/Telemetry.h"

namespace velmaro::gstreamer {

/// One slot between the streaming thread and the delegate's queue. A new frame takes the place of
/// one that still waits, so a slow delegate sees the newest frame and never a backlog.
class NewestFrame : public std::enable_shared_from_this<NewestFrame> {
public:
    /// Without a queue nothing is delivered. Frames that come while `connection` is disabled are
    /// ignored. `onFirst`, which may be empty, is called on the queue before the first delivery.
    NewestFrame(std::weak_ptr<SampleBufferDelegate> delegate, std::shared_ptr<DispatchQueue> queue,
                std::shared_ptr<const CaptureConnection> connection, Telemetry& telemetry,
                Work onFirst = {});
    NewestFrame(const NewestFrame&) = delete;
    NewestFrame& operator=(const NewestFrame&) = delete;

    /// Queues the delivery of `image` unless one is queued already, which will then find this one.
    /// `discardedBefore` frames since the one before did not come so far. Streaming thread.
    /// With `keepsBeat` it may wait for the beat or be passed over for a later one.
    void put(std::shared_ptr<const PixelBuffer> image, Telemetry::Clock::time_point arrival,
             int discardedBefore = 0, bool keepsBeat = false);

    /// Whether a picture that would come at `arrival` is passed over for the beat, and then counts
    /// it, so that it need not be decoded. Streaming thread.
    [[nodiscard]] bool passesOver(Telemetry::Clock::time_point arrival);

    /// Queues `work` behind every frame put so far; it is skipped once this is closed. Any thread.
    void afterFrames(Work work);

    /// Ends delivery for good and waits for a frame that is being handled, unless the caller is the
    /// one handling it. Any thread, any number of times.
    void close();

private:
    struct Frame {
        std::shared_ptr<const PixelBuffer> image;
        Telemetry::Clock::time_point arrival;
        /// How many frames were discarded for this one.
        int discarded = 0;
    };

    void deliver();
    void hand(const Frame& frame);
    [[nodiscard]] bool isClosed();

    const std::weak_ptr<SampleBufferDelegate> delegate_;
    const std::shared_ptr<DispatchQueue> queue_;
    const std::shared_ptr<const CaptureConnection> connection_;
    Telemetry& telemetry_;
    /// The queue's own.
    Work onFirst_;

    // Held for a few assignments, never over a call to the outside.
    std::mutex mutex_;
    std::condition_variable handled_;
    std::optional<Frame> waiting_;
    /// Until then a frame waits for the beat, not for the delegate.
    Telemetry::Clock::time_point heldUntil_{};
    /// Discarded before a frame that was passed over.
    int discarded_ = 0;
    Beat beat_;
    bool closed_ = false;
    std::thread::id deliveringThread_;
};

}  // namespace velmaro::gstreamer
