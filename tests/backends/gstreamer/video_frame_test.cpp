#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

#include "backends/gstreamer/Library.h"
#include "backends/gstreamer/VideoFrame.h"

namespace velmaro::gstreamer {
namespace {

/// Grey levels by which a value may differ from what was painted, and from GStreamer's conversion,
/// which blends neighbouring colours. Red, green and blue are only rounded. Where they follow from
/// luma and differences of colour of 8 bits, rounding these alone is worth up to 2.1 levels of
/// blue, and a difference that stands for two columns another 1.2 where the painted colours
/// change; 3.4 were measured. (GStreamer's quick ways to BGRA are up to 5 levels off themselves.)
int toleranceOf(const GstVideoInfo& info) {
    return GST_VIDEO_INFO_IS_RGB(&info) ? 1 : 4;
}

using Converter = std::unique_ptr<GstVideoConverter, decltype(&gst_video_converter_free)>;

/// A picture in memory of its own, mapped for writing.
class Picture {
public:
    Picture(const std::string& format, int width, int height, const std::string& colorimetry,
            guint extraColumns = 0)
        : caps(gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, format.c_str(), "width",
                                   G_TYPE_INT, width, "height", G_TYPE_INT, height, nullptr)) {
        if (!colorimetry.empty()) {
            gst_caps_set_simple(caps.get(), "colorimetry", G_TYPE_STRING, colorimetry.c_str(),
                                nullptr);
        }
        gst_video_info_from_caps(&info, caps.get());
        GstVideoInfo padded = info;
        GstVideoAlignment alignment;
        gst_video_alignment_reset(&alignment);
        alignment.padding_right = extraColumns;
        gst_video_info_align(&padded, &alignment);
        buffer = gst_buffer_new_allocate(nullptr, padded.size, nullptr);
        gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, info.finfo->format,
                                       static_cast<guint>(width), static_cast<guint>(height),
                                       padded.finfo->n_planes, padded.offset, padded.stride);
        gst_video_frame_map(&frame, &info, buffer, GST_MAP_READWRITE);
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() {
        gst_video_frame_unmap(&frame);
        gst_buffer_unref(buffer);
    }

    void convertTo(Picture& other) {
        const Converter converter(gst_video_converter_new(&info, &other.info, nullptr),
                                  gst_video_converter_free);
        gst_video_converter_frame(converter.get(), &frame, &other.frame);
    }
    [[nodiscard]] SampleHandle sample() const {
        return SampleHandle(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    }
    /// Of ARGB64, the most exact format: alpha, red, green and blue.
    [[nodiscard]] std::uint16_t* pixel(std::ptrdiff_t x, std::ptrdiff_t y) {
        auto* const first = static_cast<std::byte*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0));
        return reinterpret_cast<std::uint16_t*>(first +
                                                y * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)) +
               4 * x;
    }

    const CapsHandle caps;
    GstVideoInfo info{};
    GstBuffer* buffer = nullptr;
    GstVideoFrame frame{};
};

/// Colours that change slowly, none so bright that a format could not tell it.
void paint(Picture& picture) {
    for (int y = 0; y < picture.info.height; ++y) {
        for (int x = 0; x < picture.info.width; ++x) {
            std::uint16_t* const pixel = picture.pixel(x, y);
            pixel[0] = 65535;
            pixel[1] = static_cast<std::uint16_t>(257 * (110 + 60 * std::sin(0.015 * (x + y))));
            pixel[2] = static_cast<std::uint16_t>(257 * (120 + 50 * std::cos(0.02 * y)));
            pixel[3] = static_cast<std::uint16_t>(257 * (128 + 60 * std::sin(0.02 * x)));
        }
    }
}

struct Format {
    const char* name;
    const char* colorimetry;
};

class AnyFormat : public testing::TestWithParam<Format> {
protected:
    static void SetUpTestSuite() { ensureLibrary(); }
};

TEST_P(AnyFormat, IsReadAsItWasPaintedAndAsGStreamerConvertsIt) {
    for (const auto& [width, height] : {std::pair{96, 64}, {97, 53}, {15, 7}}) {
        for (const guint extraColumns : {0U, 24U}) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << " + " << extraColumns);
            Picture painted("ARGB64", width, height, "");
            paint(painted);
            Picture given(GetParam().name, width, height, GetParam().colorimetry, extraColumns);
            painted.convertTo(given);
            const int tolerance = toleranceOf(given.info);
            Picture expected("ARGB64", width, height, "");
            given.convertTo(expected);

            const auto frame = VideoFrame::map(given.sample(), 7);
            ASSERT_NE(frame, nullptr);
            ASSERT_EQ(frame->width(), width);
            ASSERT_EQ(frame->height(), height);
            ASSERT_GE(frame->bytesPerRow(), 4 * width);
            for (std::ptrdiff_t y = 0; y < height; ++y) {
                for (std::ptrdiff_t x = 0; x < width; ++x) {
                    const std::byte* const bgra =
                        frame->baseAddress() + y * frame->bytesPerRow() + 4 * x;
                    for (int i = 0; i < 3; ++i) {
                        // The macro's own work for each value would take most of the test's time.
                        const int value = std::to_integer<int>(bgra[i]);
                        const double given = painted.pixel(x, y)[3 - i] / 257.0;
                        const double converted = expected.pixel(x, y)[3 - i] / 257.0;
                        if (std::abs(value - given) > tolerance ||
                            std::abs(value - converted) > tolerance) {
                            FAIL() << "at " << x << ", " << y << ": " << i << " is " << value
                                   << ", painted " << given << ", converted " << converted;
                        }
                    }
                }
            }
        }
    }
}

TEST_P(AnyFormat, LiesWhereTheCameraLeftIt) {
    Picture given(GetParam().name, 32, 16, GetParam().colorimetry);
    const auto frame = VideoFrame::map(given.sample(), 7);
    ASSERT_NE(frame, nullptr);
    for (guint i = 0; i < 3; ++i) {
        EXPECT_EQ(frame->view().components.at(i).base, GST_VIDEO_FRAME_COMP_DATA(&given.frame, i));
    }
}

TEST_P(AnyFormat, TurnedIsThePictureTurned) {
    constexpr int kWidth = 32;
    constexpr int kHeight = 16;
    Picture painted("ARGB64", kWidth, kHeight, "");
    paint(painted);
    Picture given(GetParam().name, kWidth, kHeight, GetParam().colorimetry, 24);
    painted.convertTo(given);
    const auto upright = VideoFrame::map(given.sample(), 7);
    ASSERT_NE(upright, nullptr);
    const auto pixel = [](const VideoFrame& frame, std::ptrdiff_t x, std::ptrdiff_t y) {
        const std::byte* const at = frame.baseAddress() + y * frame.bytesPerRow() + 4 * x;
        return std::array{at[0], at[1], at[2]};
    };
    struct Turn {
        CameraOrientation orientation;
        /// Where the first pixel of the turned picture was, and the one right of it.
        int x;
        int y;
        int nextX;
        int nextY;
    };
    for (const auto& [orientation, x, y, nextX, nextY] :
         {Turn{{90, false}, 0, kHeight - 1, 0, kHeight - 2},
          {{180, false}, kWidth - 1, kHeight - 1, kWidth - 2, kHeight - 1},
          {{270, false}, kWidth - 1, 0, kWidth - 1, 1},
          {{0, true}, kWidth - 1, 0, kWidth - 2, 0},
          {{90, true}, 0, 0, 0, 1}}) {
        SCOPED_TRACE(testing::Message()
                     << orientation.rotation << (orientation.mirrored ? ", mirrored" : ""));
        const auto turned = VideoFrame::map(given.sample(), 7, orientation);
        ASSERT_NE(turned, nullptr);
        const bool exchanges = orientation.rotation % 180 == 90;
        ASSERT_EQ(turned->width(), exchanges ? kHeight : kWidth);
        ASSERT_EQ(turned->height(), exchanges ? kWidth : kHeight);
        ASSERT_EQ(turned->view().width, turned->width());
        ASSERT_EQ(turned->view().height, turned->height());
        ASSERT_GE(turned->bytesPerRow(), 4 * turned->width());
        EXPECT_EQ(pixel(*turned, 0, 0), pixel(*upright, x, y));
        EXPECT_EQ(pixel(*turned, 1, 0), pixel(*upright, nextX, nextY));
        EXPECT_EQ(pixel(*turned, turned->width() - 1, turned->height() - 1),
                  pixel(*upright, kWidth - 1 - x, kHeight - 1 - y));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AnyFormat,
    testing::Values(Format{"BGRA", ""}, Format{"BGRx", ""}, Format{"RGBA", ""}, Format{"RGBx", ""},
                    Format{"BGR", ""}, Format{"RGB", ""}, Format{"YUY2", "bt601"},
                    Format{"YUY2", "bt709"}, Format{"UYVY", "bt601"}, Format{"YVYU", "bt601"},
                    Format{"NV12", "bt709"}, Format{"NV21", "bt601"}, Format{"I420", "bt601"},
                    // As a decoder of JPEG gives it: the full range.
                    Format{"I420", "1:4:0:0"}, Format{"Y42B", "1:4:0:0"}, Format{"Y444", "1:4:0:0"},
                    Format{"YV12", "bt601"}, Format{"YUY2", "1:4:0:0"}, Format{"NV12", "bt2020"},
                    Format{"I420", ""}));

TEST(VideoFrame, OfAnotherFormatIsNone) {
    ensureLibrary();
    for (const char* const name : {"GRAY8", "P010_10LE", "ARGB", "v210", "RGB16"}) {
        Picture given(name, 32, 16, "");
        EXPECT_EQ(VideoFrame::map(given.sample(), 7), nullptr) << name;
    }
}

TEST(VideoFrame, ASecondLookAtItsBytesSeesTheSame) {
    ensureLibrary();
    Picture given("YUY2", 32, 16, "bt601");
    const auto frame = VideoFrame::map(given.sample(), 7);
    ASSERT_NE(frame, nullptr);
    const std::byte* const bytes = frame->baseAddress();
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(frame->baseAddress(), bytes);
}

}  // namespace
}  // namespace velmaro::gstreamer
