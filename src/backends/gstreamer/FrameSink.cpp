#include "backends/gstreamer/FrameSink.h"

#include <utility>

#include "backends/gstreamer/VideoFrame.h"

namespace velmaro::gstreamer {

namespace {

/// At most 30 frames a second. Every frame of a faster camera is handed over.
bool isSlow(const GstCaps* caps) {
    int frames = 0;
    int seconds = 0;
    return gst_structure_get_fraction(gst_caps_get_structure(caps, 0), "framerate", &frames,
                                      &seconds) != FALSE &&
           frames > 0 && frames <= 30 * seconds;
}

}  // namespace

FrameSink::FrameSink(Pace pace, CameraOrientation orientation)
    : pace_(pace),
      orientation_(orientation),
      sink_(GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("appsink", nullptr)))) {
    const CapsHandle caps = VideoFrame::readableCaps();
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

bool FrameSink::passesOver(const GstCaps* caps) {
    begun_ = Telemetry::Clock::now();
    NewestFrame* const target = target_.load();
    return target != nullptr && pace_ == Pace::asTheyCome && isSlow(caps) &&
           target->passesOver(begun_ + way_);
}

/// A run ends with its pipeline, and in a file where time begins again.
std::uint64_t FrameSink::runOf(GstSample* sample) {
    static std::atomic<std::uint64_t> runs = 0;
    const GstBuffer* const buffer = gst_sample_get_buffer(sample);
    const GstClockTime time = buffer == nullptr ? GST_CLOCK_TIME_NONE : GST_BUFFER_PTS(buffer);
    const bool isEarlier =
        GST_CLOCK_TIME_IS_VALID(time) && GST_CLOCK_TIME_IS_VALID(lastTime_) && time < lastTime_;
    if (run_ == 0 || isEarlier) {
        run_ = ++runs;
    }
    lastTime_ = time;
    return run_;
}

GstFlowReturn FrameSink::newSample(GstAppSink* sink, gpointer self) {
    const auto arrival = Telemetry::Clock::now();
    SampleHandle sample(gst_app_sink_pull_sample(sink));
    auto& frameSink = *static_cast<FrameSink*>(self);
    frameSink.frames_.fetch_add(1, std::memory_order_relaxed);
    if (frameSink.begun_ != Telemetry::Clock::time_point{}) {
        frameSink.way_ = arrival - frameSink.begun_;
    }
    NewestFrame* const target = frameSink.target_.load();
    if (!sample || target == nullptr) {
        return GST_FLOW_OK;
    }
    const int discarded = frameSink.discarded_.exchange(0, std::memory_order_relaxed);
    const bool keepsBeat =
        frameSink.pace_ == Pace::asTheyCome && isSlow(gst_sample_get_caps(sample.get()));
    const std::uint64_t run = frameSink.runOf(sample.get());
    if (auto image = VideoFrame::map(std::move(sample), run, frameSink.orientation_)) {
        target->put(std::move(image), arrival, discarded, keepsBeat);
    }
    return GST_FLOW_OK;
}

}  // namespace velmaro::gstreamer
