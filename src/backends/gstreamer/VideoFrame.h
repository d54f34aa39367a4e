#pragma once

#include <gst/video/video.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "backends/gstreamer/Handles.h"
#include "platform/PixelBuffer.h"

namespace velmaro::gstreamer {

/// A picture where the camera or the decoder left it: holds the sample and keeps it mapped for
/// reading. In BGRA it is had by who asks for that, the others look at it as it lies.
class VideoFrame : public PixelBuffer {
public:
    /// The formats that can be looked at as they lie. Any thread.
    [[nodiscard]] static CapsHandle readableCaps();

    /// Null if the sample holds no picture in such a format that can be mapped. `run` is the
    /// picture's. Any thread.
    static std::shared_ptr<const VideoFrame> map(SampleHandle sample, std::uint64_t run);

    VideoFrame(SampleHandle sample, std::uint64_t run) : sample_(std::move(sample)), run_(run) {}
    VideoFrame(const VideoFrame&) = delete;
    VideoFrame& operator=(const VideoFrame&) = delete;
    ~VideoFrame() override;

    [[nodiscard]] int width() const override { return view_.width; }
    [[nodiscard]] int height() const override { return view_.height; }
    [[nodiscard]] std::ptrdiff_t bytesPerRow() const override;
    [[nodiscard]] const std::byte* baseAddress() const override;
    [[nodiscard]] ImageView view() const override { return view_; }
    [[nodiscard]] std::uint64_t run() const override { return run_; }

private:
    [[nodiscard]] bool isBGRA() const {
        return GST_VIDEO_FRAME_FORMAT(&frame_) == GST_VIDEO_FORMAT_BGRA;
    }

    SampleHandle sample_;
    std::uint64_t run_;
    GstVideoFrame frame_{};
    bool mapped_ = false;
    ImageView view_;
    /// Empty until somebody asks for it.
    mutable std::once_flag converted_;
    mutable std::vector<std::byte> bgra_;
};

}  // namespace velmaro::gstreamer
