#include "backends/gstreamer/VideoFrame.h"

namespace velmaro::gstreamer {

std::shared_ptr<const VideoFrame> VideoFrame::map(SampleHandle sample, std::uint64_t run) {
    GstBuffer* const buffer = gst_sample_get_buffer(sample.get());
    GstCaps* const caps = gst_sample_get_caps(sample.get());
    GstVideoInfo info;
    if (buffer == nullptr || caps == nullptr || gst_video_info_from_caps(&info, caps) == FALSE ||
        GST_VIDEO_INFO_FORMAT(&info) != GST_VIDEO_FORMAT_BGRA) {
        return nullptr;
    }
    auto frame = std::make_shared<VideoFrame>(std::move(sample), run);
    // The sample already holds the buffer, so the map need not.
    const auto flags =
        static_cast<GstMapFlags>(GST_MAP_READ | static_cast<int>(GST_VIDEO_FRAME_MAP_FLAG_NO_REF));
    frame->mapped_ = gst_video_frame_map(&frame->frame_, &info, buffer, flags) != FALSE;
    return frame->mapped_ ? frame : nullptr;
}

VideoFrame::~VideoFrame() {
    if (mapped_) {
        gst_video_frame_unmap(&frame_);
    }
}

}  // namespace velmaro::gstreamer
