#include "backends/gstreamer/FrameTimes.h"

#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {
namespace {

/// Of a frame, by the caps of its pad; a thirtieth of a second if these say nothing.
GstClockTime nominalDuration(GstPad* pad) {
    const CapsHandle caps(gst_pad_get_current_caps(pad));
    int frames = 0;
    int span = 0;
    if (caps &&
        gst_structure_get_fraction(gst_caps_get_structure(caps.get(), 0), "framerate", &frames,
                                   &span) != FALSE &&
        frames > 0 && span > 0) {
        return gst_util_uint64_scale_int(GST_SECOND, span, frames);
    }
    return GST_SECOND / 30;
}

}  // namespace

void FrameTimes::watch(GstPad* pad) {
    gst_pad_add_probe(pad,
                      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                   GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
                      passes, this, nullptr);
}

GstPadProbeReturn FrameTimes::passes(GstPad* pad, GstPadProbeInfo* info, gpointer self) {
    auto& times = *static_cast<FrameTimes*>(self);
    if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
        times.giveTime(pad, info);
    } else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_SEGMENT) {
        const GstSegment* segment = nullptr;
        gst_event_parse_segment(GST_PAD_PROBE_INFO_EVENT(info), &segment);
        times.next_.store(segment->format == GST_FORMAT_TIME ? segment->start : 0);
    }
    return GST_PAD_PROBE_OK;
}

void FrameTimes::giveTime(GstPad* pad, GstPadProbeInfo* info) {
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    GstClockTime duration = GST_BUFFER_DURATION(buffer);
    if (!GST_CLOCK_TIME_IS_VALID(duration)) {
        duration = nominalDuration(pad);
    }
    if (!GST_BUFFER_PTS_IS_VALID(buffer)) {
        buffer = gst_buffer_make_writable(buffer);
        GST_BUFFER_PTS(buffer) = next_.load();
        GST_BUFFER_DURATION(buffer) = duration;
        info->data = buffer;
    }
    next_.store(GST_BUFFER_PTS(buffer) + duration);
}

}  // namespace velmaro::gstreamer
