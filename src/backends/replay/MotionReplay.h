#pragma once

#include <functional>
#include <memory>

#include "backends/replay/MotionClock.h"
#include "backends/replay/MotionFile.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// Plays recorded motion at its own pace, as headphones that are always connected. Each start
/// begins at the first sample. Samples are due relative to the start, so that lateness does not add
/// up.
class MotionReplay : public HeadphoneMotion {
public:
    enum class Ending { loop, once };

    /// `track` holds at least one sample. With `Ending::once`, `onEnd` is called on the delivery
    /// queue after the last sample. `clock` is read there and on the main thread.
    MotionReplay(MotionTrack track, Ending ending, std::function<void()> onEnd = nullptr,
                 MotionClock clock = steadyMotionClock);
    MotionReplay(const MotionReplay&) = delete;
    MotionReplay& operator=(const MotionReplay&) = delete;
    ~MotionReplay() override;

    /// Recorded headphones neither come nor go, so that there is nothing for a delegate to hear.
    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> /*delegate*/) override {}
    [[nodiscard]] bool isDeviceMotionAvailable() const override { return true; }
    [[nodiscard]] bool isDeviceMotionActive() const override { return pass_ != nullptr; }
    /// Nothing if it is already active.
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) override;
    void stopDeviceMotionUpdates() override;

private:
    struct Plan;
    class Pass;

    std::shared_ptr<const Plan> plan_;
    std::shared_ptr<Pass> pass_;
};

}  // namespace velmaro
