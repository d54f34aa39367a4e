#pragma once

#include <atomic>
#include <memory>
#include <optional>

#include "platform/Dispatch.h"
#include "platform/FaceLandmarks.h"
#include "platform/Log.h"
#include "platform/Observable.h"
#include "platform/PixelBuffer.h"
#include "platform/WallClock.h"

namespace velmaro {

/// Turns camera frames into two head angles: at most one frame per 1/30 s is analysed; its raw
/// angles are clamped, smoothed, passed through a dead zone (tilt only) and published on the main
/// thread. Smoothing and angles persist when frames stop.
///
/// Frames arrive on one serial queue; everything else belongs to the main thread, but for the reads
/// that say otherwise. Constants, orders and texts are fixed: see docs/behaviour.md.
class FaceDetector : public Observable, public std::enable_shared_from_this<FaceDetector> {
public:
    /// The doors outlive the detector. A frame within 1/30 s of this call is skipped.
    static std::shared_ptr<FaceDetector> create(FaceLandmarks& faceLandmarks, Dispatch& dispatch,
                                                const WallClock& wallClock, Log& log);

    /// Analyses one frame on the current thread, the frame queue; publishes later, on the main
    /// thread. A frame without a picture, or too soon after the last one, is ignored.
    void processSampleBuffer(const SampleBuffer& sampleBuffer);

    /// Makes the published pose the neutral one. Main thread.
    void setOffset();

    /// Published pan less its offset, clamped to [-180, 180] degrees. Any thread.
    [[nodiscard]] float getAdjustedPan() const;
    /// Published tilt less its offset, clamped to [-90, 90] degrees. Any thread.
    [[nodiscard]] float getAdjustedTilt() const;

    /// Degrees. Written by the publication only.
    Published<float> pan{*this, 0.0F};
    Published<float> tilt{*this, 0.0F};
    /// Degrees. The pose that reads as zero; applied on reading only, never to the smoothing.
    Published<float> offsetPan{*this, 0.0F};
    Published<float> offsetTilt{*this, 0.0F};

private:
    FaceDetector(FaceLandmarks& faceLandmarks, Dispatch& dispatch, const WallClock& wallClock,
                 Log& log);

    void requestCompleted(const FaceLandmarks::Results& results, const std::optional<Error>& error,
                          const PixelBuffer& image);
    void calculateOrientation(const FaceObservation& face, const PixelBuffer& image);
    void publish(float finalTilt);

    FaceLandmarks& faceLandmarks_;
    DispatchQueue& mainQueue_;
    const WallClock& wallClock_;
    Log& log_;

    // Touched by the frame queue only, but for smoothedPan_, which the publication reads as it is
    // when it runs.
    WallTime lastUpdateTime_;
    std::atomic<float> smoothedPan_ = 0;
    float smoothedTilt_ = 0;
};

}  // namespace velmaro
