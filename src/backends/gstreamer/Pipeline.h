#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "backends/gstreamer/FrameSink.h"
#include "backends/gstreamer/Handles.h"
#include "backends/gstreamer/Source.h"

namespace velmaro::gstreamer {

class Pipeline;

/// Told what becomes of a pipeline that was asked to play, on its worker thread.
class PipelineListener {
public:
    virtual ~PipelineListener() = default;
    virtual void pipelineStarted(const Pipeline& pipeline) = 0;
    /// The pipeline could not start or broke down. Nothing more comes from it.
    virtual void pipelineFailed(const Pipeline& pipeline, const Error& error) = 0;
    /// Something is wrong, but the pipeline goes on.
    virtual void pipelineDisturbed(const Pipeline& pipeline, const Error& error) = 0;
    /// All frames have been received.
    virtual void pipelineEnded(const Pipeline& pipeline) = 0;
};

/// The worker threads that run now.
class Workers {
public:
    void add(const std::shared_ptr<Pipeline>& pipeline);
    void remove();

    /// Asks every pipeline to close and waits until their threads are done, but no longer than
    /// `limit`.
    void closeAll(std::chrono::milliseconds limit);

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::weak_ptr<Pipeline>> pipelines_;
    int running_ = 0;
};

/// A GStreamer pipeline with the worker thread that owns it. A change of state can block for half a
/// minute on a dead camera, so all of them happen on the worker: the others only ask, and one that
/// is asked to close while it hangs is left to itself. The thread ends when it has closed.
class Pipeline : public std::enable_shared_from_this<Pipeline> {
public:
    /// Begins to open `source`, whose pictures come out turned by `orientation`, and returns at
    /// once. Where the system has no thread to spare it has failed. The owner must call `close()`.
    /// Any thread.
    static std::shared_ptr<Pipeline> open(std::unique_ptr<Source> source,
                                          CameraOrientation orientation,
                                          const std::shared_ptr<Workers>& workers);

    Pipeline(std::unique_ptr<Source> source, CameraOrientation orientation);

    /// Asks to play to `target` as soon as possible and returns at once. Returns the reason if
    /// the pipeline has failed already; all later events are told to `listener`. Once. Any thread.
    [[nodiscard]] std::optional<Error> play(std::shared_ptr<NewestFrame> target,
                                            std::weak_ptr<PipelineListener> listener);

    /// What to tell people while the start takes long, if it may. Any thread.
    [[nodiscard]] const std::optional<Diagnostic>& slowStart() const { return slowStart_; }

    /// Fails for want of an answer, and leaves a worker that hangs to itself. Any thread.
    void giveUp();

    /// Asks to close and returns at once. Any thread, any number of times.
    void close();

private:
    enum class Stage { opening, ready, starting, playing, failed };

    void run();
    [[nodiscard]] bool openSource();
    void work();
    void wake();
    /// Null if it is time to look after the opening or the frames.
    [[nodiscard]] MessageHandle nextMessage();
    /// `isQuiet`: nothing has been said since the last look.
    void lookAfterOpening(bool isQuiet);
    void lookAfterFrames();
    void handle(GstMessage* message);
    void becomeReady();
    void startPlaying();
    void becomePlaying();
    void reachEnd(GstMessageType end);
    void failFromBus();
    /// Any thread; the first reason counts.
    void fail(const Error& error);
    void enter(Stage stage);
    [[nodiscard]] std::shared_ptr<PipelineListener> listener();

    const std::optional<Diagnostic> slowStart_;
    const Error noAnswer_;

    // The worker's own, except that anybody may post to the bus.
    std::unique_ptr<Source> source_;
    FrameSink sink_;
    ElementHandle pipeline_;
    BusHandle bus_;
    bool ended_ = false;
    // An end that came before the pipeline plays.
    GstMessageType earlyEnd_ = GST_MESSAGE_UNKNOWN;
    std::uint64_t framesAtLastEnd_ = 0;
    int emptyRounds_ = 0;
    FrameWatch frameWatch_;
    FrameWatch::Clock::time_point opened_;

    std::atomic<bool> closeRequested_ = false;
    std::atomic<bool> playRequested_ = false;

    std::mutex mutex_;
    // Written with the mutex held, by the worker but for a failure.
    std::atomic<Stage> stage_ = Stage::opening;
    Error error_;
    std::shared_ptr<NewestFrame> target_;
    std::weak_ptr<PipelineListener> listener_;
};

}  // namespace velmaro::gstreamer
