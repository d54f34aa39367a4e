#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Media.h"
#include "backends/gstreamer/GStreamerCapture.h"
#include "backends/queues/AsioSerialQueue.h"
#include "fakes/Diagnostics.h"
#include "fakes/Eventually.h"
#include "platform/Dispatch.h"
#include "platform/NotificationCenter.h"
#include "platform/Telemetry.h"

namespace velmaro::gstreamer::test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Waits until all that was posted to `queue` before has run.
inline void drain(DispatchQueue& queue) {
    std::promise<void> done;
    queue.async([&done] { done.set_value(); });
    done.get_future().wait();
}

/// Real threads: what GStreamer's threads hand over has to arrive on another one. The main queue
/// has a thread too, since the test's waits.
class ThreadDispatch : public Dispatch {
public:
    DispatchQueue& mainQueue() override { return main; }
    DispatchQueue& globalQueue(QualityOfService /*quality*/) override { return global; }
    std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label,
                                                   QualityOfService /*quality*/) override {
        return std::make_shared<AsioSerialQueue>(label);
    }

    AsioSerialQueue main{"main"};
    AsioSerialQueue global{"global"};
};

using fakes::eventually;

/// Keeps what is delivered.
class Recorder : public SampleBufferDelegate {
public:
    struct Frame {
        int number;
        Clock::time_point time;
        /// How many drops were told before it.
        std::size_t dropsBefore;
    };

    void captureOutputDidOutput(const SampleBuffer& sampleBuffer) override {
        const auto& image = sampleBuffer.imageBuffer;
        {
            const std::lock_guard lock(mutex_);
            const int grey = image ? static_cast<int>(image->baseAddress()[0]) : -1;
            frames_.push_back({frameOfGrey(grey), Clock::now(), drops_});
            if (keep) {
                kept_.push_back(image);
            }
        }
        if (onFrame) {
            onFrame();
        }
    }
    void captureOutputDidDrop() override {
        const std::lock_guard lock(mutex_);
        ++drops_;
    }

    [[nodiscard]] std::vector<Frame> frames() const {
        const std::lock_guard lock(mutex_);
        return frames_;
    }
    [[nodiscard]] std::vector<int> numbers() const {
        std::vector<int> numbers;
        for (const Frame& frame : frames()) {
            numbers.push_back(frame.number);
        }
        return numbers;
    }
    [[nodiscard]] std::size_t count() const { return frames().size(); }
    [[nodiscard]] std::size_t drops() const {
        const std::lock_guard lock(mutex_);
        return drops_;
    }
    [[nodiscard]] std::vector<std::shared_ptr<const PixelBuffer>> kept() const {
        const std::lock_guard lock(mutex_);
        return kept_;
    }
    void forget() {
        const std::lock_guard lock(mutex_);
        kept_.clear();
    }

    /// Set before the session runs.
    std::function<void()> onFrame;
    bool keep = false;

private:
    mutable std::mutex mutex_;
    std::vector<Frame> frames_;
    std::vector<std::shared_ptr<const PixelBuffer>> kept_;
    std::size_t drops_ = 0;
};

/// A capture with one file or live camera, set up as a camera manager does it; the test's thread
/// plays main.
class Rig {
public:
    explicit Rig(const std::string& file, Playback playback = Playback::looped)
        : Rig(CaptureOptions{{FileCamera::fromPath(file)}, playback, {}, nullptr, {}}) {}
    explicit Rig(CaptureOptions options)
        : Rig([&](NotificationCenter&, Diagnostics&) { return std::move(options); }) {}
    /// For cameras that post to the rig's notification centre.
    explicit Rig(
        const std::function<CaptureOptions(NotificationCenter&, Diagnostics&)>& makeOptions) {
        CaptureOptions options = makeOptions(notificationCenter, diagnostics);
        options.playbackEnded = [this] { ++ended; };
        capture = std::make_unique<GStreamerCapture>(dispatch, notificationCenter, telemetry,
                                                     diagnostics, std::move(options));
        session = capture->makeSession();
        observer_ = std::make_shared<int>();
        notificationCenter.addObserver(observer_, kCaptureSessionDidStartRunning, session.get(),
                                       [this](const Notification&) { ++didStart; });
        notificationCenter.addObserver(observer_, kCaptureSessionFirstFrame, session.get(),
                                       [this](const Notification&) { ++firstFrames; });
        notificationCenter.addObserver(
            observer_, kCaptureSessionRuntimeError, session.get(), [this](const Notification& n) {
                const std::lock_guard lock(mutex_);
                errors_.push_back(
                    std::any_cast<CaptureError>(n.userInfo.at(kCaptureSessionErrorKey)));
            });
    }
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;
    ~Rig() {
        if (session) {
            session->stopRunning();
        }
        drain(*queue);
    }

    std::vector<std::shared_ptr<CaptureDevice>> devices() {
        const CaptureDeviceType types[] = {CaptureDeviceType::external};
        return capture->discover(types);
    }
    std::shared_ptr<CaptureDevice> device() { return devices().at(0); }
    [[nodiscard]] bool isListed() { return !devices().empty(); }

    /// Why there is no input; empty if there is one, which has then been added with an output.
    std::string setUp() { return setUp(device()); }
    std::string setUp(const std::shared_ptr<CaptureDevice>& device) {
        session->beginConfiguration();
        for (const auto& input : session->inputs()) {
            session->removeInput(input);
        }
        for (const auto& output : session->outputs()) {
            session->removeOutput(output);
        }
        auto input = capture->makeDeviceInput(device);
        if (!input) {
            session->commitConfiguration();
            return input.error().localizedDescription;
        }
        session->addInput(*input);
        output = capture->makeVideoDataOutput();
        output->setVideoSettings({{kPixelFormatTypeKey, kPixelFormat32BGRA}});
        output->setAlwaysDiscardsLateVideoFrames(true);
        session->addOutput(output);
        output->setSampleBufferDelegate(recorder, queue);
        session->commitConfiguration();
        return {};
    }

    [[nodiscard]] std::vector<CaptureError> errors() const {
        const std::lock_guard lock(mutex_);
        return errors_;
    }

    ThreadDispatch dispatch;
    NotificationCenter notificationCenter;
    Telemetry telemetry;
    fakes::CapturedDiagnostics diagnostics;
    std::shared_ptr<DispatchQueue> queue = std::make_shared<AsioSerialQueue>("frames");
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::atomic<int> ended = 0;
    std::atomic<int> didStart = 0;
    std::atomic<int> firstFrames = 0;
    std::unique_ptr<GStreamerCapture> capture;
    std::shared_ptr<CaptureSession> session;
    std::shared_ptr<VideoDataOutput> output;

private:
    mutable std::mutex mutex_;
    std::vector<CaptureError> errors_;
    std::shared_ptr<void> observer_;
};

}  // namespace velmaro::gstreamer::test
