#include "backends/replay/MotionReplay.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <chrono>
#include <cstddef>
#include <utility>

namespace velmaro {

using Seconds = std::chrono::duration<double>;

namespace {

/// After a longer standstill, of the machine or of the queue, the replay goes on from where it was
/// rather than hurry after its clock.
constexpr Seconds kLongestLateness{1};
/// The pace of a file with a single sample: the usual one of headphones.
constexpr double kUsualInterval = 0.04;
constexpr double kShortestInterval = 0.001;

}  // namespace

struct MotionReplay::Plan {
    MotionTrack track;
    Ending ending;
    std::function<void()> onEnd;
    MotionClock clock;

    /// From the first sample of one round to that of the next: the last sample lasts as long as the
    /// one before it.
    [[nodiscard]] Seconds period() const {
        const std::size_t count = track.size();
        const double last =
            count > 1 ? track[count - 1].time - track[count - 2].time : kUsualInterval;
        return Seconds(track.back().time - track.front().time + std::max(last, kShortestInterval));
    }
};

/// One replay from a start to its stop.
class MotionReplay::Pass : public std::enable_shared_from_this<Pass> {
public:
    Pass(std::shared_ptr<const Plan> plan, DispatchQueue& queue, Handler handler)
        : plan_(std::move(plan)),
          queue_(queue),
          handler_(std::move(handler)),
          origin_(plan_->clock()) {}

    /// Queues the delivery of the current sample.
    void schedule() {
        const MotionTrack& track = plan_->track;
        const Seconds due = origin_ + Seconds(track[index_].time - track.front().time);
        const Seconds now = plan_->clock();
        if (now - due > kLongestLateness) {
            origin_ += now - due;
        }
        queue_.asyncAfter(std::max(due - now, Seconds(0)),
                          [self = shared_from_this()] { self->deliver(); });
    }

    void stop() { stopped_.store(true); }

private:
    void deliver() {
        if (stopped_.load()) {
            return;
        }
        handler_(std::make_shared<const DeviceMotion>(
                     DeviceMotion{.attitude = {.quaternion = plan_->track[index_].attitude}}),
                 std::nullopt);
        if (stopped_.load()) {
            return;
        }
        if (++index_ == plan_->track.size()) {
            if (plan_->ending == Ending::once) {
                if (plan_->onEnd) {
                    plan_->onEnd();
                }
                return;
            }
            index_ = 0;
            origin_ += plan_->period();
        }
        schedule();
    }

    const std::shared_ptr<const Plan> plan_;
    DispatchQueue& queue_;
    const Handler handler_;
    Seconds origin_;
    std::size_t index_ = 0;
    std::atomic<bool> stopped_ = false;
};

MotionReplay::MotionReplay(MotionTrack track, Ending ending, std::function<void()> onEnd,
                           MotionClock clock)
    : plan_(std::make_shared<const Plan>(
          Plan{std::move(track), ending, std::move(onEnd), std::move(clock)})) {
    assert(!plan_->track.empty());
}

MotionReplay::~MotionReplay() {
    if (pass_) {
        pass_->stop();
    }
}

void MotionReplay::startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) {
    if (pass_) {
        return;
    }
    pass_ = std::make_shared<Pass>(plan_, queue, std::move(handler));
    pass_->schedule();
}

void MotionReplay::stopDeviceMotionUpdates() {
    if (pass_) {
        pass_->stop();
        pass_.reset();
    }
}

}  // namespace velmaro
