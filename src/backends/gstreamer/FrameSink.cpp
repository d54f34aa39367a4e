#include "backends/gstreamer/FrameSink.h"

#include <utility>

#include "backends/gstreamer/VideoFrame.h"

namespace velmaro::gstreamer {

FrameReceiver::FrameReceiver(std::shared_ptr<FrameMailbox> mailbox,
                             std::shared_ptr<DispatchQueue> queue,
                             std::shared_ptr<const Connection> connection)
    : mailbox_(std::move(mailbox)), queue_(std::move(queue)), connection_(std::move(connection)) {}

void FrameReceiver::receive(SampleHandle sample, int discarded) const {
    const auto arrival = Telemetry::Clock::now();
    if (!queue_ || !connection_->isEnabled() || mailbox_->isClosed()) {
        return;
    }
    auto image = VideoFrame::map(std::move(sample));
    if (image && mailbox_->put(std::move(image), arrival, discarded)) {
        queue_->async([mailbox = mailbox_] { mailbox->deliver(); });
    }
}

void FrameReceiver::afterFrames(Work work) const {
    if (queue_) {
        queue_->async([mailbox = mailbox_, work = std::move(work)] {
            if (!mailbox->isClosed()) {
                work();
            }
        });
    }
}

FrameSink::FrameSink(Pace pace)
    : sink_(GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("appsink", nullptr)))) {
    const CapsHandle caps(gst_caps_from_string("video/x-raw, format=BGRA"));
    // Frames are dropped only where every drop is told, which is not here.
    g_object_set(sink_.get(), "caps", caps.get(), "sync", pace == Pace::byTimestamp, "max-buffers",
                 1U, "drop", FALSE, "qos", FALSE, "wait-on-eos", FALSE, "enable-last-sample", FALSE,
                 nullptr);
    if (pace == Pace::asTheyCome) {
        // A camera runs as soon as it is connected; whether pictures come is looked after later.
        g_object_set(sink_.get(), "async", FALSE, nullptr);
    }
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = newSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink_.get()), &callbacks, this, nullptr);
}

FrameSink::~FrameSink() {
    GstAppSinkCallbacks none{};
    gst_app_sink_set_callbacks(GST_APP_SINK(sink_.get()), &none, nullptr, nullptr);
}

bool FrameSink::isAtEnd() const {
    return gst_app_sink_is_eos(GST_APP_SINK(sink_.get())) != FALSE;
}

GstFlowReturn FrameSink::newSample(GstAppSink* sink, gpointer self) {
    SampleHandle sample(gst_app_sink_pull_sample(sink));
    auto& frameSink = *static_cast<FrameSink*>(self);
    frameSink.frames_.fetch_add(1, std::memory_order_relaxed);
    const FrameReceiver* const receiver = frameSink.receiver_.load();
    if (sample && receiver != nullptr) {
        receiver->receive(std::move(sample),
                          frameSink.discarded_.exchange(0, std::memory_order_relaxed));
    }
    return GST_FLOW_OK;
}

}  // namespace velmaro::gstreamer
