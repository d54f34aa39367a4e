#include "app/window/SilenceWatch.h"

#include <utility>

#include "app/Configuration.h"

namespace velmaro {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s;

}  // namespace

SilenceWatch::SilenceWatch(ContentView& view, const Telemetry& telemetry,
                           std::function<Clock::time_point()> now)
    : view_(view),
      telemetry_(telemetry),
      now_(std::move(now)),
      faces_(view.faceDetector->observeChanges([this] { lastAngle_ = now_(); })),
      headphones_(view.headphoneManager->observeChanges([this] { lastAngle_ = now_(); })) {}

Silence SilenceWatch::silence() {
    const Clock::time_point now = now_();
    const bool isRunning = view_.isRunning.get();
    const std::uint64_t frames = telemetry_.framesIn.load(std::memory_order_relaxed);
    if (frames != frames_) {
        frames_ = frames;
        lastFrame_ = now;
    }
    const auto source = view_.selectedInputId.snapshot();
    if (isRunning != wasRunning_ || *source != source_) {
        wasRunning_ = isRunning;
        source_ = *source;
        lastAngle_ = now;
        lastFrame_ = now;
    }
    if (!isRunning || source->empty() || now - lastAngle_ < kPatience) {
        return Silence::none;
    }
    if (*source == InputSource::airpods().id()) {
        return Silence::noMotion;
    }
    if (now - lastFrame_ < kPatience) {
        return Silence::noFace;
    }
    return isFileInput(*source) ? Silence::noPicturesOfFile : Silence::noPictures;
}

}  // namespace velmaro
