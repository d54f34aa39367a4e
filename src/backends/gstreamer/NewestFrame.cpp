#include "backends/gstreamer/NewestFrame.h"

#include <utility>

namespace velmaro::gstreamer {

namespace {

void count(std::atomic<std::uint64_t>& counter, int frames) {
    counter.fetch_add(static_cast<std::uint64_t>(frames), std::memory_order_relaxed);
}

}  // namespace

NewestFrame::NewestFrame(std::weak_ptr<SampleBufferDelegate> delegate,
                         std::shared_ptr<DispatchQueue> queue,
                         std::shared_ptr<const CaptureConnection> connection, Telemetry& telemetry,
                         Work onFirst)
    : delegate_(std::move(delegate)),
      queue_(std::move(queue)),
      connection_(std::move(connection)),
      telemetry_(telemetry),
      onFirst_(std::move(onFirst)) {}

void NewestFrame::put(std::shared_ptr<const PixelBuffer> image,
                      Telemetry::Clock::time_point arrival, int discardedBefore, bool keepsBeat) {
    if (!queue_ || !connection_->isEnabled()) {
        return;
    }
    std::optional<Frame> frame(Frame{std::move(image), arrival, discardedBefore});
    Beat::Duration wait{0};
    {
        const std::lock_guard lock(mutex_);
        if (closed_) {
            return;
        }
        count(telemetry_.framesDropped, discardedBefore);
        frame->discarded += std::exchange(discarded_, 0);
        if (waiting_) {
            const bool isHeld = arrival < heldUntil_;
            count(isHeld ? telemetry_.framesPassedOver : telemetry_.framesDropped, 1);
            frame->discarded += waiting_->discarded + (isHeld ? 0 : 1);
        } else if (keepsBeat) {
            const auto early = beat_.wait(arrival);
            if (!early) {
                count(telemetry_.framesPassedOver, 1);
                discarded_ = frame->discarded;
                return;
            }
            wait = *early;
            heldUntil_ = arrival + std::chrono::duration_cast<Telemetry::Clock::duration>(wait);
        }
        // The one that waited is released after the lock.
        waiting_.swap(frame);
    }
    if (frame) {
        return;
    }
    // A queue that ends before its work would be held by it for ever.
    const auto work = [weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock()) {
            self->deliver();
        }
    };
    if (wait > Beat::Duration(0)) {
        queue_->asyncAfter(wait, work);
    } else {
        queue_->async(work);
    }
}

bool NewestFrame::passesOver(Telemetry::Clock::time_point arrival) {
    if (!queue_ || !connection_->isEnabled()) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    if (closed_ || waiting_ || beat_.wait(arrival)) {
        return false;
    }
    count(telemetry_.framesPassedOver, 1);
    return true;
}

void NewestFrame::afterFrames(Work work) {
    if (queue_) {
        queue_->async([weakSelf = weak_from_this(), work = std::move(work)] {
            if (const auto self = weakSelf.lock(); self && !self->isClosed()) {
                work();
            }
        });
    }
}

void NewestFrame::deliver() {
    std::optional<Frame> frame;
    {
        const std::lock_guard lock(mutex_);
        waiting_.swap(frame);
        if (!frame) {
            return;
        }
        // The next frame may come before this one has been handled.
        beat_.begins(Telemetry::Clock::now());
        deliveringThread_ = std::this_thread::get_id();
    }
    hand(*frame);
    {
        const std::lock_guard lock(mutex_);
        beat_.ends(Telemetry::Clock::now());
        deliveringThread_ = {};
    }
    handled_.notify_all();
}

void NewestFrame::hand(const Frame& frame) {
    const auto delegate = delegate_.lock();
    if (!delegate) {
        return;
    }
    // The delegate may stop the session in any of these calls.
    for (int i = 0; i < frame.discarded && !isClosed(); ++i) {
        delegate->captureOutputDidDrop();
    }
    if (isClosed()) {
        return;
    }
    if (onFirst_) {
        std::exchange(onFirst_, nullptr)();
    }
    telemetry_.frameBegins(frame.arrival);
    delegate->captureOutputDidOutput({frame.image});
    telemetry_.frameDone();
}

void NewestFrame::close() {
    std::optional<Frame> unwanted;
    std::unique_lock lock(mutex_);
    closed_ = true;
    waiting_.swap(unwanted);
    if (deliveringThread_ != std::this_thread::get_id()) {
        handled_.wait(lock, [this] { return deliveringThread_ == std::thread::id{}; });
    }
}

bool NewestFrame::isClosed() {
    const std::lock_guard lock(mutex_);
    return closed_;
}

}  // namespace velmaro::gstreamer
