#include <gst/app/gstappsrc.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "Rig.h"
#include "backends/gstreamer/LatestFrame.h"
#include "backends/gstreamer/Library.h"
#include "backends/gstreamer/VideoOutput.h"
#include "fakes/Dispatch.h"

namespace velmaro::gstreamer {
namespace {

class Nobody : public SampleBufferDelegate {
public:
    void captureOutputDidOutput(const SampleBuffer& /*sampleBuffer*/) override {}
    void captureOutputDidDrop() override {}
};

/// A source of grey pictures, the place for one, an element in the decoder's place and the sink.
class LatestFrameTest : public testing::Test {
protected:
    void play(const char* framerate, int decodingMicroseconds = 0) {
        pipeline.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
        source = gst_element_factory_make("appsrc", nullptr);
        GstElement* const decoder = gst_element_factory_make("identity", nullptr);
        g_object_set(decoder, "sleep-time", static_cast<guint>(decodingMicroseconds), nullptr);
        latest.emplace(sink);
        const CapsHandle caps(gst_caps_from_string(
            ("video/x-raw,format=BGRA,width=8,height=8,framerate=" + std::string(framerate))
                .c_str()));
        g_object_set(source, "caps", caps.get(), "is-live", TRUE, "format", GST_FORMAT_TIME,
                     nullptr);
        g_signal_connect(decoder, "handoff",
                         G_CALLBACK(+[](GstElement*, GstBuffer*, std::atomic<unsigned>* count) {
                             count->fetch_add(1);
                         }),
                         &decoded);
        gst_bin_add_many(GST_BIN(pipeline.get()), source, latest->element(), decoder,
                         sink.element(), nullptr);
        ASSERT_TRUE(
            gst_element_link_many(source, latest->element(), decoder, sink.element(), nullptr));
        sink.setTarget(newest.get());
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    }
    void TearDown() override {
        if (pipeline) {
            gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        }
        // What waits in the queue holds the queue.
        queue->advance(1);
    }
    /// Returns when the picture has been passed over, or is handed over.
    void push() {
        const std::uint64_t over = telemetry.framesPassedOver;
        gst_app_src_push_buffer(GST_APP_SRC(source),
                                gst_buffer_new_allocate(nullptr, std::size_t{8} * 8 * 4, nullptr));
        ++pushed;
        while (telemetry.framesPassedOver == over && !isHandedOver()) {
            std::this_thread::yield();
        }
    }
    [[nodiscard]] bool isHandedOver() const {
        return queue->pending() + queue->pendingDelayed() > 0;
    }

    const bool hasLibrary = !ensureLibrary();
    Telemetry telemetry;
    std::shared_ptr<Nobody> delegate = std::make_shared<Nobody>();
    std::shared_ptr<fakes::HandCrankedQueue> queue =
        std::make_shared<fakes::HandCrankedQueue>("frames");
    std::shared_ptr<VideoConnection> connection = std::make_shared<VideoConnection>();
    std::shared_ptr<NewestFrame> newest =
        std::make_shared<NewestFrame>(delegate, queue, connection, telemetry, [] {});
    FrameSink sink{Pace::asTheyCome, {}};
    std::optional<LatestFrame> latest;
    ElementHandle pipeline;
    GstElement* source = nullptr;
    std::atomic<unsigned> decoded = 0;
    unsigned pushed = 0;
};

TEST_F(LatestFrameTest, APictureThatTheBeatPassesOverIsNotDecoded) {
    ASSERT_TRUE(hasLibrary);
    play("30/1");
    // On a busy machine one may come so late after the one before that it is wanted. One that was
    // decoded sooner than the one before it may be passed over behind the decoder.
    for (int i = 0; i < 1000 && decoded == pushed; ++i) {
        push();
        queue->advance(1);
    }
    while (!isHandedOver()) {
        push();
    }
    EXPECT_LT(decoded, pushed);
    EXPECT_GE(telemetry.framesPassedOver, pushed - decoded);
    EXPECT_EQ(sink.frames(), decoded);
    EXPECT_EQ(telemetry.framesDropped, 0U);
}

TEST_F(LatestFrameTest, EveryPictureOfAFasterCameraIsDecoded) {
    ASSERT_TRUE(hasLibrary);
    play("60/1");
    for (int i = 0; i < 20; ++i) {
        push();
        queue->advance(1);
    }
    EXPECT_EQ(telemetry.framesPassedOver, 0U);
    EXPECT_EQ(decoded, 20U);
}

TEST_F(LatestFrameTest, ThePictureOfASlowDecoderIsJudgedByWhenItWillBeThere) {
    ASSERT_TRUE(hasLibrary);
    play("30/1", 50000);
    for (int i = 0; i < 4; ++i) {
        push();
        queue->advance(1);
    }
    EXPECT_EQ(telemetry.framesPassedOver, 0U);
    EXPECT_EQ(decoded, 4U);
}

}  // namespace
}  // namespace velmaro::gstreamer
