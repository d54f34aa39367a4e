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
/// reading. In BGRA it is had by who asks for that, the others look at it as it lies. A camera that
/// hangs askew costs nothing: the view steps through the memory in another order, while GStreamer's
/// own element for it would copy every picture.
class VideoFrame : public PixelBuffer {
public:
    /// The formats that can be looked at as they lie. Any thread.
    [[nodiscard]] static CapsHandle readableCaps();

    /// Null if the sample holds no picture in such a format that can be mapped. `run` is the
    /// picture's; everything else that is told of it is told of the picture turned upright by
    /// `orientation`. Any thread.
    static std::shared_ptr<const VideoFrame> map(SampleHandle sample, std::uint64_t run,
                                                 CameraOrientation orientation = {});

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
    /// Whether the memory holds what others ask for.
    [[nodiscard]] bool isUprightBGRA() const {
        return GST_VIDEO_FRAME_FORMAT(&frame_) == GST_VIDEO_FORMAT_BGRA && !isTurned_;
    }

    SampleHandle sample_;
    std::uint64_t run_;
    GstVideoFrame frame_{};
    bool mapped_ = false;
    bool isTurned_ = false;
    ImageView view_;
    /// Empty until somebody asks for it.
    mutable std::once_flag converted_;
    mutable std::vector<std::byte> bgra_;
};

}  // namespace velmaro::gstreamer
