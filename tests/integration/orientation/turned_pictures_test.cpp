// Pictures of the demonstration clip as cameras give them that hang askew or mirror, in every
// format that is read as it lies: each has to give the angles of the picture that was not turned.

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "backends/facemesh/FaceMesh.h"
#include "backends/gstreamer/Handles.h"
#include "backends/gstreamer/Library.h"
#include "backends/gstreamer/VideoFrame.h"
#include "headpose/HeadAngles.h"

namespace velmaro::integration {
namespace {

using gstreamer::CapsHandle;
using gstreamer::SampleHandle;
using gstreamer::VideoFrame;

/// Degrees. Where two columns or rows share a colour, those of a turned picture are other ones; of
/// the other formats the angles differ by rounding only.
constexpr double kToleranceOfSharedColours = 0.05;
constexpr double kTolerance = 0.001;

/// Pictures of the clip, some seconds apart.
std::vector<SampleHandle> picturesOfTheClip() {
    constexpr int kPictures = 5;
    constexpr int kApart = 47;
    const gstreamer::ElementHandle pipeline(
        gst_parse_launch("filesrc location=" VELMARO_DEMO
                         "/demo.webm ! decodebin ! videoconvert ! video/x-raw,format=BGRA ! "
                         "appsink name=sink sync=false",
                         nullptr));
    const gstreamer::ElementHandle sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    std::vector<SampleHandle> pictures;
    for (int number = 0; pictures.size() < kPictures; ++number) {
        SampleHandle sample(gst_app_sink_pull_sample(GST_APP_SINK(sink.get())));
        if (!sample) {
            break;
        }
        if (number % kApart == kApart / 2) {
            pictures.push_back(std::move(sample));
        }
    }
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    return pictures;
}

/// A mapped picture of 32 bits a pixel.
class Pixels {
public:
    Pixels(GstSample* sample, GstMapFlags flags) {
        gst_video_info_from_caps(&info, gst_sample_get_caps(sample));
        gst_video_frame_map(&frame_, &info, gst_sample_get_buffer(sample), flags);
    }
    Pixels(const Pixels&) = delete;
    Pixels& operator=(const Pixels&) = delete;
    ~Pixels() { gst_video_frame_unmap(&frame_); }

    [[nodiscard]] std::uint32_t& at(int x, int y) {
        auto* const first = static_cast<std::byte*>(GST_VIDEO_FRAME_PLANE_DATA(&frame_, 0));
        return reinterpret_cast<std::uint32_t*>(
            first + std::ptrdiff_t{y} * GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, 0))[x];
    }

    GstVideoInfo info{};

private:
    GstVideoFrame frame_{};
};

/// What a camera gives of the scene whose pictures need that to stand upright.
SampleHandle asSeenBy(GstSample* upright, CameraOrientation orientation) {
    Pixels from(upright, GST_MAP_READ);
    int width = from.info.width;
    int height = from.info.height;
    if (orientation.rotation % 180 == 90) {
        std::swap(width, height);
    }
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_BGRA, static_cast<guint>(width),
                              static_cast<guint>(height));
    info.fps_n = 30;
    const CapsHandle caps(gst_video_info_to_caps(&info));
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, info.size, nullptr);
    SampleHandle given(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    Pixels to(given.get(), GST_MAP_WRITE);
    for (int row = 0; row < from.info.height; ++row) {
        for (int column = 0; column < from.info.width; ++column) {
            int x = orientation.mirrored ? from.info.width - 1 - column : column;
            int y = row;
            int span = from.info.width;
            for (int degrees = 0; degrees < orientation.rotation; degrees += 90) {
                // Back by a quarter turn: the upper left corner goes to the lower left.
                std::tie(x, y) = std::pair{y, span - 1 - x};
                span = span == from.info.width ? from.info.height : from.info.width;
            }
            to.at(x, y) = from.at(column, row);
        }
    }
    return given;
}

SampleHandle converted(GstSample* sample, const char* format) {
    const CapsHandle caps(
        gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, format, nullptr));
    if (GST_VIDEO_FORMAT_INFO_IS_YUV(
            gst_video_format_get_info(gst_video_format_from_string(format)))) {
        // Left alone, GStreamer takes other colours for a picture that is high, and from 1.26 on
        // shares them between other columns: each shared colour is that of its pixels' middle.
        gst_caps_set_simple(caps.get(), "colorimetry", G_TYPE_STRING, "bt601", "chroma-site",
                            G_TYPE_STRING, "jpeg", nullptr);
    }
    return SampleHandle(gst_video_convert_sample(sample, caps.get(), 20 * GST_SECOND, nullptr));
}

class AnyFormatAskew : public testing::TestWithParam<const char*> {
protected:
    static void SetUpTestSuite() {
        gstreamer::ensureLibrary();
        pictures() = picturesOfTheClip();
    }
    static void TearDownTestSuite() { pictures().clear(); }
    static std::vector<SampleHandle>& pictures() {
        static std::vector<SampleHandle> pictures;
        return pictures;
    }

    /// Of the one face.
    HeadAngles angles(SampleHandle sample, CameraOrientation orientation) {
        // Nothing is remembered from one run to the next.
        const auto image = VideoFrame::map(std::move(sample), ++run_, orientation);
        std::optional<HeadAngles> angles;
        EXPECT_TRUE(mesh_->perform(
            image, [&](const FaceLandmarks::Results& results, const std::optional<Error>&) {
                if (results && results->size() == 1) {
                    angles = rawHeadAngles(results->front(), *results->front().landmarks,
                                           image->width(), image->height());
                }
            }));
        EXPECT_TRUE(angles) << "not one face";
        return angles.value_or(HeadAngles{NAN, NAN});
    }

private:
    std::unique_ptr<FaceMesh> mesh_ = std::move(FaceMesh::create(VELMARO_MODELS, nullptr).value());
    std::uint64_t run_ = 0;
};

TEST_P(AnyFormatAskew, GivesTheSameAngles) {
    const std::string format = GetParam();
    const bool sharesColours = format != "BGRA" && format != "RGB" && format != "Y444";
    const double tolerance = sharesColours ? kToleranceOfSharedColours : kTolerance;
    ASSERT_EQ(pictures().size(), 5U);
    double largestPan = 0;
    for (const SampleHandle& picture : pictures()) {
        const HeadAngles upright = angles(converted(picture.get(), GetParam()), {});
        largestPan = std::max(largestPan, std::abs(static_cast<double>(upright.pan)));
        for (const bool mirrored : {false, true}) {
            for (const int rotation : {0, 90, 180, 270}) {
                const CameraOrientation orientation{rotation, mirrored};
                const SampleHandle given = asSeenBy(picture.get(), orientation);
                const HeadAngles turned = angles(converted(given.get(), GetParam()), orientation);
                EXPECT_NEAR(turned.pan, upright.pan, tolerance) << rotation << " " << mirrored;
                EXPECT_NEAR(turned.tilt, upright.tilt, tolerance) << rotation << " " << mirrored;
            }
        }
    }
    EXPECT_GT(largestPan, 15) << "a picture without a turn of the head would show no sign";
}

INSTANTIATE_TEST_SUITE_P(Formats, AnyFormatAskew,
                         testing::Values("BGRA", "RGBx", "RGB", "YUY2", "UYVY", "YVYU", "NV12",
                                         "NV21", "I420", "YV12", "Y42B", "Y444"),
                         [](const auto& format) { return std::string(format.param); });

}  // namespace
}  // namespace velmaro::integration
