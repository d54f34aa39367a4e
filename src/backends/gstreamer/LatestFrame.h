#pragma once

#include <atomic>
#include <cstdint>

#include "backends/gstreamer/FrameSink.h"
#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {

/// A place for one frame between a camera and the decoding and conversion of its frames. While
/// these are slow, a new frame takes the place of the one that waits. Without it the frames would
/// wait in the camera's own buffers, a dozen late ones, and then be lost where nobody counts. A
/// frame that the beat passes over ends here too, before anybody decodes it.
class LatestFrame {
public:
    /// Tells `sink`, which outlives the pipeline, of what is discarded.
    explicit LatestFrame(FrameSink& sink);
    LatestFrame(const LatestFrame&) = delete;
    LatestFrame& operator=(const LatestFrame&) = delete;

    /// For a pipeline that stops before this is destroyed.
    [[nodiscard]] GstElement* element() const { return queue_.get(); }

private:
    static GstPadProbeReturn arrives(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    static GstPadProbeReturn leaves(GstPad* pad, GstPadProbeInfo* info, gpointer self);

    FrameSink& sink_;
    ElementHandle queue_;
    // Each is written by one thread and read by the other, which then sees what the first one did
    // to the frame. GLib's locks do the same, but ThreadSanitizer does not see them.
    std::atomic<std::uint64_t> arrived_;
    std::atomic<std::uint64_t> accounted_;
};

}  // namespace velmaro::gstreamer
