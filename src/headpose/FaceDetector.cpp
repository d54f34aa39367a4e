#include "headpose/FaceDetector.h"

#include <cassert>
#include <string>

#include "headpose/HeadAngles.h"

namespace velmaro {
namespace {

constexpr double kUpdateInterval = 1.0 / 30.0;
constexpr float kSmoothingFactor = 0.3F;
constexpr float kSmoothingRemainder = 0.7F;
constexpr float kPanLimit = 180.0F;
constexpr float kTiltLimit = 90.0F;

std::string describe(const HeadAngles& clamped, const HeadAngles& result) {
    std::string line;
    line.reserve(128);
    line.append("🎯 Calculated: Pan=").append(shortestDecimal(clamped.pan));
    line.append("°, Tilt=").append(shortestDecimal(clamped.tilt));
    line.append("° | Smoothed: Pan=").append(shortestDecimal(result.pan));
    line.append("°, FinalTilt=").append(shortestDecimal(result.tilt)).append("°");
    return line;
}

}  // namespace

std::shared_ptr<FaceDetector> FaceDetector::create(FaceLandmarks& faceLandmarks, Dispatch& dispatch,
                                                   const WallClock& wallClock, Log& log) {
    return std::shared_ptr<FaceDetector>(new FaceDetector(faceLandmarks, dispatch, wallClock, log));
}

FaceDetector::FaceDetector(FaceLandmarks& faceLandmarks, Dispatch& dispatch,
                           const WallClock& wallClock, Log& log)
    : faceLandmarks_(faceLandmarks),
      mainQueue_(dispatch.mainQueue()),
      wallClock_(wallClock),
      log_(log),
      lastUpdateTime_(wallClock.now()) {}

void FaceDetector::processSampleBuffer(const SampleBuffer& sampleBuffer) {
    const std::shared_ptr<const PixelBuffer>& image = sampleBuffer.imageBuffer;
    if (!image) {
        return;
    }
    const WallTime now = wallClock_.now();
    const double elapsed = now - lastUpdateTime_;
    if (!(elapsed >= kUpdateInterval)) {
        return;
    }
    lastUpdateTime_ = now;

    // An analysis that cannot be performed is no reason for a line: the next frame tries again.
    const std::weak_ptr<FaceDetector> weakSelf = weak_from_this();
    faceLandmarks_.perform(image, [&weakSelf, &image](const FaceLandmarks::Results& results,
                                                      const std::optional<Error>& error) {
        if (const auto self = weakSelf.lock()) {
            self->requestCompleted(results, error, *image);
        }
    });
}

void FaceDetector::requestCompleted(const FaceLandmarks::Results& results,
                                    const std::optional<Error>& error, const PixelBuffer& image) {
    if (error || !results || results->empty()) {
        return;
    }
    calculateOrientation(results->front(), image);
}

void FaceDetector::calculateOrientation(const FaceObservation& face, const PixelBuffer& image) {
    if (!face.landmarks) {
        log_.line("❌ No landmarks available");
        return;
    }
    log_.line("📍 Landmarks available");
    const std::optional<HeadAngles> raw =
        rawHeadAngles(face, *face.landmarks, image.width(), image.height());
    if (!raw) {
        return;
    }

    const float clampedPan = clampAngle(raw->pan, kPanLimit);
    const float clampedTilt = clampAngle(raw->tilt, kTiltLimit);
    const float smoothedPan = smoothedPan_.load(std::memory_order_relaxed) * kSmoothingRemainder +
                              clampedPan * kSmoothingFactor;
    smoothedPan_.store(smoothedPan, std::memory_order_relaxed);
    smoothedTilt_ = clampedTilt * kSmoothingFactor + smoothedTilt_ * kSmoothingRemainder;
    const float finalTilt = applyTiltDeadZone(smoothedTilt_);

    log_.line(describe({clampedPan, clampedTilt}, {smoothedPan, finalTilt}));

    mainQueue_.async([self = shared_from_this(), finalTilt] { self->publish(finalTilt); });
}

// Tilt is this frame's; pan is whatever the smoothing holds by now, maybe a later frame's.
void FaceDetector::publish(float finalTilt) {
    assert(mainQueue_.isCurrent());
    pan = smoothedPan_.load(std::memory_order_relaxed);
    tilt = finalTilt;
}

void FaceDetector::setOffset() {
    assert(mainQueue_.isCurrent());
    offsetPan = pan.get();
    offsetTilt = tilt.get();
}

float FaceDetector::getAdjustedPan() const {
    return clampAngle(pan.get() - offsetPan.get(), kPanLimit);
}

float FaceDetector::getAdjustedTilt() const {
    return clampAngle(tilt.get() - offsetTilt.get(), kTiltLimit);
}

}  // namespace velmaro
