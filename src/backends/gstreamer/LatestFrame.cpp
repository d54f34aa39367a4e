#include "backends/gstreamer/LatestFrame.h"

namespace velmaro::gstreamer {

LatestFrame::LatestFrame(FrameSink& sink)
    : sink_(sink),
      queue_(GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("queue", nullptr)))) {
    gst_util_set_object_arg(G_OBJECT(queue_.get()), "leaky", "downstream");
    g_object_set(queue_.get(), "max-size-buffers", 1U, "max-size-bytes", 0U, "max-size-time",
                 static_cast<guint64>(0), "silent", TRUE, nullptr);
    arrived_.store(0);
    accounted_.store(0);
    const PadHandle input(gst_element_get_static_pad(queue_.get(), "sink"));
    const PadHandle output(gst_element_get_static_pad(queue_.get(), "src"));
    gst_pad_add_probe(input.get(), GST_PAD_PROBE_TYPE_BUFFER, arrives, this, nullptr);
    gst_pad_add_probe(output.get(), GST_PAD_PROBE_TYPE_BUFFER, leaves, this, nullptr);
}

// The queue's own signal of an overrun comes before it looks again, and may count one too many.
GstPadProbeReturn LatestFrame::arrives(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer self) {
    auto& latest = *static_cast<LatestFrame*>(self);
    (void)latest.accounted_.load(std::memory_order_acquire);
    const std::uint64_t number = latest.arrived_.load(std::memory_order_relaxed);
    GstBuffer* const buffer = gst_buffer_make_writable(GST_PAD_PROBE_INFO_BUFFER(info));
    GST_BUFFER_OFFSET(buffer) = number;
    info->data = buffer;
    latest.arrived_.store(number + 1, std::memory_order_release);
    return GST_PAD_PROBE_OK;
}

GstPadProbeReturn LatestFrame::leaves(GstPad* pad, GstPadProbeInfo* info, gpointer self) {
    auto& latest = *static_cast<LatestFrame*>(self);
    (void)latest.arrived_.load(std::memory_order_acquire);
    const std::uint64_t expected = latest.accounted_.load(std::memory_order_relaxed);
    const std::uint64_t number = GST_BUFFER_OFFSET(GST_PAD_PROBE_INFO_BUFFER(info));
    latest.sink_.addDiscarded(static_cast<int>(number - expected));
    latest.accounted_.store(number + 1, std::memory_order_release);
    const CapsHandle caps(gst_pad_get_current_caps(pad));
    return caps && latest.sink_.passesOver(caps.get()) ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

}  // namespace velmaro::gstreamer
