#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "backends/gstreamer/Pipeline.h"
#include "backends/gstreamer/PlayableDevice.h"
#include "backends/gstreamer/VideoOutput.h"
#include "platform/Capture.h"
#include "platform/Telemetry.h"

namespace velmaro::gstreamer {

/// What every session of one capture shares.
struct SessionServices {
    Dispatch& dispatch;
    NotificationCenter& notificationCenter;
    Telemetry& telemetry;
    Diagnostics& diagnostics;
    const std::shared_ptr<Workers> workers;
    /// How all cameras hang.
    const CameraOrientation orientation;
    /// Called on the main queue when the frames ended and all were handled. May be empty.
    std::function<void()> playbackEnded;
    /// After it has been said to be slow.
    const std::chrono::seconds longestStart;
};

/// One input, one output and, while it runs, one pipeline between them.
class GStreamerSession : public CaptureSession,
                         public PipelineListener,
                         public std::enable_shared_from_this<GStreamerSession> {
public:
    explicit GStreamerSession(std::shared_ptr<const SessionServices> services);
    GStreamerSession(const GStreamerSession&) = delete;
    GStreamerSession& operator=(const GStreamerSession&) = delete;
    /// Stops first.
    ~GStreamerSession() override;

    [[nodiscard]] bool isRunning() const override { return running_.load(); }
    void startRunning() override;
    void stopRunning() override;

    void beginConfiguration() override;
    void commitConfiguration() override;

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDeviceInput>> inputs() const override;
    [[nodiscard]] std::vector<std::shared_ptr<VideoDataOutput>> outputs() const override;
    void removeInput(const std::shared_ptr<CaptureDeviceInput>& input) override;
    void removeOutput(const std::shared_ptr<VideoDataOutput>& output) override;
    /// One input of this backend, once.
    [[nodiscard]] bool canAddInput(const std::shared_ptr<CaptureDeviceInput>& input) const override;
    void addInput(const std::shared_ptr<CaptureDeviceInput>& input) override;
    /// One output of this backend, once, whose settings ask for BGRA.
    [[nodiscard]] bool canAddOutput(const std::shared_ptr<VideoDataOutput>& output) const override;
    void addOutput(const std::shared_ptr<VideoDataOutput>& output) override;

    void pipelineStarted(const Pipeline& pipeline) override;
    void pipelineFailed(const Pipeline& pipeline, const Error& error) override;
    void pipelineDisturbed(const Pipeline& pipeline, const Error& error) override;
    void pipelineEnded(const Pipeline& pipeline) override;

private:
    struct Configuration {
        std::shared_ptr<DeviceInput> input;
        std::shared_ptr<VideoOutput> output;
        /// Null unless both are there.
        std::shared_ptr<VideoConnection> connection;
        bool operator==(const Configuration&) const = default;
    };

    [[nodiscard]] std::optional<Error> begin();
    void join();
    void separate();
    void changed();
    void postError(const Error& error);

    const std::shared_ptr<const SessionServices> services_;

    // Main thread.
    Configuration pending_;
    int openTransactions_ = 0;

    std::atomic<bool> running_ = false;

    std::mutex mutex_;
    std::condition_variable stateChanged_;
    // Written by the main thread only. What a start uses until the next commit.
    Configuration committed_;
    // The pipeline that is starting or running. A stop takes it away, and whoever held on to
    // another one has been abandoned.
    std::shared_ptr<Pipeline> pipeline_;
    // Kept after the stop, so that a second stop also waits for the last frame.
    std::shared_ptr<NewestFrame> newestFrame_;
};

}  // namespace velmaro::gstreamer
