#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "platform/Capture.h"

namespace velmaro::gstreamer {

/// The one way of frames from a session's input to its output. Any thread.
class VideoConnection : public CaptureConnection {
public:
    [[nodiscard]] bool isEnabled() const override { return enabled_.load(); }
    void setEnabled(bool enabled) override { enabled_.store(enabled); }
    [[nodiscard]] bool isActive() const override { return active_.load(); }

    /// One of the two ends left the session; this connection never becomes active again.
    void cut() { active_.store(false); }

private:
    std::atomic<bool> enabled_ = true;
    std::atomic<bool> active_ = true;
};

/// Where a session's frames go. Late frames are always discarded: the newest frame wins.
class VideoOutput : public VideoDataOutput {
public:
    struct Target {
        std::weak_ptr<SampleBufferDelegate> delegate;
        std::shared_ptr<DispatchQueue> queue;
    };

    void setVideoSettings(const VideoSettings& settings) override { settings_ = settings; }
    void setAlwaysDiscardsLateVideoFrames(bool /*discards*/) override {}
    void setSampleBufferDelegate(std::weak_ptr<SampleBufferDelegate> delegate,
                                 std::shared_ptr<DispatchQueue> queue) override;
    [[nodiscard]] std::shared_ptr<CaptureConnection> connection() const override;

    /// True if the settings ask for BGRA and nothing else, the one format there is.
    [[nodiscard]] bool settingsAreSupported() const;
    /// The session joined an input to this output. Main thread.
    void join(std::shared_ptr<VideoConnection> connection);
    /// Ends `connection`; another one that has taken its place stays. Main thread.
    void part(VideoConnection& connection);
    /// Where frames go as of now. Any thread.
    [[nodiscard]] Target target() const;

private:
    VideoSettings settings_;
    mutable std::mutex mutex_;
    Target target_;
    std::shared_ptr<VideoConnection> connection_;
};

}  // namespace velmaro::gstreamer
