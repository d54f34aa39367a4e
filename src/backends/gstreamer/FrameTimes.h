#pragma once

#include <gst/gst.h>

#include <atomic>

namespace velmaro::gstreamer {

/// When the frames of a file are due. Some videos, such as bare streams, do not say it, and each
/// frame would be due at once: such a frame follows the one before.
class FrameTimes {
public:
    /// Looks at what passes `pad`. Outlives it.
    void watch(GstPad* pad);

    /// Where the last frame ended. Any thread.
    [[nodiscard]] GstClockTime end() const { return next_.load(); }

private:
    static GstPadProbeReturn passes(GstPad* pad, GstPadProbeInfo* info, gpointer self);

    void giveTime(GstPad* pad, GstPadProbeInfo* info);

    /// Written by the streaming thread.
    std::atomic<GstClockTime> next_ = 0;
};

}  // namespace velmaro::gstreamer
