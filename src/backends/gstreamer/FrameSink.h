#pragma once

#include <gst/app/gstappsink.h>

#include <atomic>
#include <cstdint>

#include "backends/gstreamer/Handles.h"
#include "backends/gstreamer/NewestFrame.h"
#include "platform/PixelBuffer.h"

namespace velmaro::gstreamer {

/// How fast a sink passes frames on.
enum class Pace { asTheyCome, byTimestamp };

/// The common end of every pipeline: takes pictures out of it, in whatever format they can be read.
class FrameSink {
public:
    /// The pictures come out turned upright by `orientation`.
    FrameSink(Pace pace, CameraOrientation orientation);
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;
    ~FrameSink();

    [[nodiscard]] GstElement* element() const { return sink_.get(); }

    /// Before the pipeline plays. `target` outlives the playing.
    void setTarget(NewestFrame* target) { target_.store(target); }

    /// True if the stream ended, which before playing means that it held no frame at all.
    [[nodiscard]] bool isAtEnd() const;

    /// So many frames were discarded on their way here, which is told with the next one. Streaming
    /// thread.
    void addDiscarded(int count) { discarded_.fetch_add(count, std::memory_order_relaxed); }

    /// Whether a picture of `caps` that begins its way to here now, by way of a decoder say, would
    /// only be passed over at its end. Streaming thread.
    [[nodiscard]] bool passesOver(const GstCaps* caps);

    /// How many frames came out so far. Any thread.
    [[nodiscard]] std::uint64_t frames() const { return frames_.load(std::memory_order_relaxed); }

private:
    static GstFlowReturn newSample(GstAppSink* sink, gpointer self);
    std::uint64_t runOf(GstSample* sample);

    const Pace pace_;
    const CameraOrientation orientation_;
    ElementHandle sink_;
    // Atomic although set before any frame: ThreadSanitizer does not see GLib's locks.
    std::atomic<NewestFrame*> target_ = nullptr;
    std::atomic<std::uint64_t> frames_ = 0;
    std::atomic<int> discarded_ = 0;
    // Streaming thread.
    Telemetry::Clock::time_point begun_{};
    /// How long the last one was on its way.
    Telemetry::Clock::duration way_{};
    std::uint64_t run_ = 0;
    GstClockTime lastTime_ = GST_CLOCK_TIME_NONE;
};

}  // namespace velmaro::gstreamer
