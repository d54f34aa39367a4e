#include "backends/gstreamer/GStreamerSession.h"

#include <any>
#include <chrono>
#include <utility>

namespace velmaro::gstreamer {

namespace {

constexpr std::chrono::seconds kSlowStart{2};

}  // namespace

GStreamerSession::GStreamerSession(std::shared_ptr<const SessionServices> services)
    : services_(std::move(services)) {}

GStreamerSession::~GStreamerSession() {
    GStreamerSession::stopRunning();
}

void GStreamerSession::startRunning() {
    std::unique_lock lock(mutex_);
    const bool isFirst = pipeline_ == nullptr;
    if (isFirst) {
        if (const auto error = begin()) {
            lock.unlock();
            postError(*error);
            return;
        }
    }
    const std::shared_ptr<Pipeline> pipeline = pipeline_;
    const auto decided = [&] { return pipeline_ != pipeline || running_.load(); };
    if (!stateChanged_.wait_for(lock, kSlowStart, decided)) {
        lock.unlock();
        if (const auto& slow = pipeline->slowStart()) {
            services_->diagnostics.report(*slow);
        }
        lock.lock();
        if (!stateChanged_.wait_for(lock, services_->longestStart, decided)) {
            lock.unlock();
            pipeline->giveUp();
            lock.lock();
        }
        stateChanged_.wait(lock, decided);
    }
    const bool started = pipeline_ == pipeline;
    lock.unlock();
    if (isFirst && started) {
        services_->notificationCenter.post(
            {kCaptureSessionDidStartRunning, static_cast<const CaptureSession*>(this), {}});
    }
}

std::optional<Error> GStreamerSession::begin() {
    if (!committed_.input || !committed_.output) {
        const std::string missing = committed_.input ? "output" : "input";
        const std::string text = "the capture session has no " + missing;
        return Error{text, text};
    }
    const VideoOutput::Target target = committed_.output->target();
    auto pipeline =
        Pipeline::open(committed_.input->makeSource(), services_->orientation, services_->workers);
    auto newestFrame = std::make_shared<NewestFrame>(
        target.delegate, target.queue, committed_.connection, services_->telemetry,
        [services = services_, object = static_cast<const CaptureSession*>(this)] {
            services->notificationCenter.post({kCaptureSessionFirstFrame, object, {}});
        });
    if (auto error = pipeline->play(newestFrame, weak_from_this())) {
        pipeline->close();
        return error;
    }
    pipeline_ = std::move(pipeline);
    newestFrame_ = std::move(newestFrame);
    return std::nullopt;
}

void GStreamerSession::stopRunning() {
    std::shared_ptr<Pipeline> pipeline;
    std::shared_ptr<NewestFrame> newestFrame;
    {
        const std::lock_guard lock(mutex_);
        pipeline.swap(pipeline_);
        newestFrame = newestFrame_;
        running_.store(false);
    }
    stateChanged_.notify_all();
    if (pipeline) {
        pipeline->close();
    }
    if (newestFrame) {
        newestFrame->close();
    }
}

void GStreamerSession::beginConfiguration() {
    ++openTransactions_;
}

void GStreamerSession::commitConfiguration() {
    if (openTransactions_ > 0) {
        --openTransactions_;
    }
    changed();
}

void GStreamerSession::changed() {
    if (openTransactions_ > 0) {
        return;
    }
    bool interrupts = false;
    Configuration earlier = pending_;
    {
        const std::lock_guard lock(mutex_);
        interrupts = pipeline_ != nullptr && committed_ != pending_;
        std::swap(committed_, earlier);
    }
    if (earlier.connection && earlier.connection != committed_.connection) {
        earlier.output->part(*earlier.connection);
    }
    // A start of the earlier input may still be under way.
    if (interrupts) {
        stopRunning();
    }
}

std::vector<std::shared_ptr<CaptureDeviceInput>> GStreamerSession::inputs() const {
    if (!pending_.input) {
        return {};
    }
    return {pending_.input};
}

std::vector<std::shared_ptr<VideoDataOutput>> GStreamerSession::outputs() const {
    if (!pending_.output) {
        return {};
    }
    return {pending_.output};
}

bool GStreamerSession::canAddInput(const std::shared_ptr<CaptureDeviceInput>& input) const {
    return !pending_.input && std::dynamic_pointer_cast<DeviceInput>(input) != nullptr;
}

void GStreamerSession::addInput(const std::shared_ptr<CaptureDeviceInput>& input) {
    if (canAddInput(input)) {
        pending_.input = std::static_pointer_cast<DeviceInput>(input);
        join();
    }
}

void GStreamerSession::removeInput(const std::shared_ptr<CaptureDeviceInput>& input) {
    if (!input || input != pending_.input) {
        return;
    }
    separate();
    pending_.input = nullptr;
    changed();
}

bool GStreamerSession::canAddOutput(const std::shared_ptr<VideoDataOutput>& output) const {
    const auto ours = std::dynamic_pointer_cast<VideoOutput>(output);
    return !pending_.output && ours && ours->settingsAreSupported();
}

void GStreamerSession::addOutput(const std::shared_ptr<VideoDataOutput>& output) {
    if (canAddOutput(output)) {
        pending_.output = std::static_pointer_cast<VideoOutput>(output);
        join();
    }
}

void GStreamerSession::removeOutput(const std::shared_ptr<VideoDataOutput>& output) {
    if (!output || output != pending_.output) {
        return;
    }
    separate();
    pending_.output = nullptr;
    changed();
}

void GStreamerSession::join() {
    if (pending_.input && pending_.output) {
        pending_.connection = std::make_shared<VideoConnection>();
        pending_.output->join(pending_.connection);
    }
    changed();
}

// A connection that is in use stays until the commit; one that never was ends here.
void GStreamerSession::separate() {
    if (pending_.connection && pending_.connection != committed_.connection) {
        pending_.output->part(*pending_.connection);
    }
    pending_.connection = nullptr;
}

void GStreamerSession::pipelineStarted(const Pipeline& pipeline) {
    {
        const std::lock_guard lock(mutex_);
        if (pipeline_.get() != &pipeline) {
            return;
        }
        running_.store(true);
    }
    stateChanged_.notify_all();
}

void GStreamerSession::pipelineFailed(const Pipeline& pipeline, const Error& error) {
    // Kept until the end: the caller may hold the last but one reference.
    std::shared_ptr<Pipeline> failed;
    {
        const std::lock_guard lock(mutex_);
        if (pipeline_.get() != &pipeline) {
            return;
        }
        failed.swap(pipeline_);
        running_.store(false);
    }
    // Told before the waiting start returns.
    postError(error);
    stateChanged_.notify_all();
}

void GStreamerSession::pipelineDisturbed(const Pipeline& pipeline, const Error& error) {
    {
        const std::lock_guard lock(mutex_);
        if (pipeline_.get() != &pipeline) {
            return;
        }
    }
    postError(error);
}

void GStreamerSession::pipelineEnded(const Pipeline& pipeline) {
    std::shared_ptr<NewestFrame> newestFrame;
    {
        const std::lock_guard lock(mutex_);
        if (pipeline_.get() != &pipeline) {
            return;
        }
        newestFrame = newestFrame_;
    }
    newestFrame->afterFrames([services = services_] {
        if (services->playbackEnded) {
            services->dispatch.mainQueue().async(services->playbackEnded);
        }
    });
}

void GStreamerSession::postError(const Error& error) {
    services_->notificationCenter.post({kCaptureSessionRuntimeError,
                                        static_cast<const CaptureSession*>(this),
                                        {{kCaptureSessionErrorKey, CaptureError{error}}}});
}

}  // namespace velmaro::gstreamer
