#include "backends/gstreamer/VideoFrame.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace velmaro::gstreamer {

namespace {

/// Of 8 bits a value, each where a step finds it. Where a pixel has a fourth byte, it is the last.
constexpr std::array kReadable = {
    GST_VIDEO_FORMAT_BGRA, GST_VIDEO_FORMAT_BGRx, GST_VIDEO_FORMAT_RGBA, GST_VIDEO_FORMAT_RGBx,
    GST_VIDEO_FORMAT_BGR,  GST_VIDEO_FORMAT_RGB,  GST_VIDEO_FORMAT_YUY2, GST_VIDEO_FORMAT_UYVY,
    GST_VIDEO_FORMAT_YVYU, GST_VIDEO_FORMAT_NV12, GST_VIDEO_FORMAT_NV21, GST_VIDEO_FORMAT_I420,
    GST_VIDEO_FORMAT_YV12, GST_VIDEO_FORMAT_Y42B, GST_VIDEO_FORMAT_Y444};

/// From luma and the two differences of colour, whose ranges and weights the caps say.
std::array<ImageView::Mixture, 3> mixturesOf(const GstVideoInfo& info) {
    const GstVideoColorimetry& color = GST_VIDEO_INFO_COLORIMETRY(&info);
    gdouble red = 0;
    gdouble blue = 0;
    if (gst_video_color_matrix_get_Kr_Kb(color.matrix, &red, &blue) == FALSE) {
        gst_video_color_matrix_get_Kr_Kb(GST_VIDEO_COLOR_MATRIX_BT601, &red, &blue);
    }
    std::array<gint, GST_VIDEO_MAX_COMPONENTS> offsets{};
    std::array<gint, GST_VIDEO_MAX_COMPONENTS> scales{};
    gst_video_color_range_offsets(color.range, info.finfo, offsets.data(), scales.data());
    const double green = 1 - red - blue;
    const auto mixture = [&](double fromBlue, double fromRed) {
        const double luma = 255.0 / scales[0];
        const double u = fromBlue * 255 / scales[1];
        const double v = fromRed * 255 / scales[2];
        return ImageView::Mixture{
            static_cast<float>(luma), static_cast<float>(u), static_cast<float>(v),
            static_cast<float>(-luma * offsets[0] - u * offsets[1] - v * offsets[2])};
    };
    return {mixture(0, 2 * (1 - red)),
            mixture(-2 * blue * (1 - blue) / green, -2 * red * (1 - red) / green),
            mixture(2 * (1 - blue), 0)};
}

ImageView viewOf(const GstVideoFrame& frame) {
    ImageView view;
    view.width = GST_VIDEO_FRAME_WIDTH(&frame);
    view.height = GST_VIDEO_FRAME_HEIGHT(&frame);
    for (std::size_t i = 0; i < 3; ++i) {
        const auto component = static_cast<guint>(i);
        view.components[i] = {
            GST_VIDEO_FRAME_COMP_DATA(&frame, component),
            GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component),
            GST_VIDEO_FRAME_COMP_STRIDE(&frame, component),
            static_cast<int>(GST_VIDEO_FORMAT_INFO_W_SUB(frame.info.finfo, component)),
            static_cast<int>(GST_VIDEO_FORMAT_INFO_H_SUB(frame.info.finfo, component))};
    }
    if (GST_VIDEO_INFO_IS_YUV(&frame.info)) {
        view.toRGB = mixturesOf(frame.info);
    }
    return view;
}

std::vector<std::byte> toBGRA(const ImageView& view) {
    std::vector<std::byte> bgra;
    bgra.reserve(std::size_t{4} * static_cast<std::size_t>(view.width) *
                 static_cast<std::size_t>(view.height));
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            const float a = *view.components[0].at(x, y);
            const float b = *view.components[1].at(x, y);
            const float c = *view.components[2].at(x, y);
            for (const std::size_t channel : {2, 1, 0}) {
                const auto& [fromA, fromB, fromC, summand] = view.toRGB[channel];
                const float value = fromA * a + fromB * b + fromC * c + summand;
                bgra.push_back(std::byte(std::lround(std::clamp(value, 0.0F, 255.0F))));
            }
            bgra.push_back(std::byte{255});
        }
    }
    return bgra;
}

}  // namespace

CapsHandle VideoFrame::readableCaps() {
    return CapsHandle(gst_video_make_raw_caps(kReadable.data(), kReadable.size()));
}

std::shared_ptr<const VideoFrame> VideoFrame::map(SampleHandle sample, std::uint64_t run,
                                                  CameraOrientation orientation) {
    GstBuffer* const buffer = gst_sample_get_buffer(sample.get());
    GstCaps* const caps = gst_sample_get_caps(sample.get());
    GstVideoInfo info;
    if (buffer == nullptr || caps == nullptr || gst_video_info_from_caps(&info, caps) == FALSE ||
        std::ranges::find(kReadable, GST_VIDEO_INFO_FORMAT(&info)) == kReadable.end()) {
        return nullptr;
    }
    auto frame = std::make_shared<VideoFrame>(std::move(sample), run);
    // The sample already holds the buffer, so the map need not.
    const auto flags =
        static_cast<GstMapFlags>(GST_MAP_READ | static_cast<int>(GST_VIDEO_FRAME_MAP_FLAG_NO_REF));
    frame->mapped_ = gst_video_frame_map(&frame->frame_, &info, buffer, flags) != FALSE;
    if (!frame->mapped_) {
        return nullptr;
    }
    frame->view_ = viewOf(frame->frame_).turned(orientation);
    frame->isTurned_ = orientation != CameraOrientation{};
    return frame;
}

VideoFrame::~VideoFrame() {
    if (mapped_) {
        gst_video_frame_unmap(&frame_);
    }
}

std::ptrdiff_t VideoFrame::bytesPerRow() const {
    return isUprightBGRA() ? GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, 0)
                           : std::ptrdiff_t{4} * view_.width;
}

const std::byte* VideoFrame::baseAddress() const {
    if (isUprightBGRA()) {
        return static_cast<const std::byte*>(GST_VIDEO_FRAME_PLANE_DATA(&frame_, 0));
    }
    std::call_once(converted_, [this] { bgra_ = toBGRA(view_); });
    return bgra_.data();
}

}  // namespace velmaro::gstreamer
