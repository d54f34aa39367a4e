#pragma once

#include <gst/video/video.h>

#include <cstdint>
#include <memory>

#include "backends/gstreamer/Handles.h"
#include "platform/PixelBuffer.h"

namespace velmaro::gstreamer {

/// A decoded picture where the decoder left it: holds the sample and keeps it mapped for reading.
class VideoFrame : public PixelBuffer {
public:
    /// Null if the sample holds no BGRA picture that can be mapped. `run` is the picture's. Any
    /// thread.
    static std::shared_ptr<const VideoFrame> map(SampleHandle sample, std::uint64_t run);

    VideoFrame(SampleHandle sample, std::uint64_t run) : sample_(std::move(sample)), run_(run) {}
    VideoFrame(const VideoFrame&) = delete;
    VideoFrame& operator=(const VideoFrame&) = delete;
    ~VideoFrame() override;

    [[nodiscard]] int width() const override { return GST_VIDEO_FRAME_WIDTH(&frame_); }
    [[nodiscard]] int height() const override { return GST_VIDEO_FRAME_HEIGHT(&frame_); }
    [[nodiscard]] std::ptrdiff_t bytesPerRow() const override {
        return GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, 0);
    }
    [[nodiscard]] const std::byte* baseAddress() const override {
        return static_cast<const std::byte*>(GST_VIDEO_FRAME_PLANE_DATA(&frame_, 0));
    }

    [[nodiscard]] std::uint64_t run() const override { return run_; }

private:
    SampleHandle sample_;
    std::uint64_t run_;
    GstVideoFrame frame_{};
    bool mapped_ = false;
};

}  // namespace velmaro::gstreamer
