#include "backends/gstreamer/FrameMailbox.h"

#include <utility>

namespace velmaro::gstreamer {

FrameMailbox::FrameMailbox(std::weak_ptr<SampleBufferDelegate> delegate, Telemetry& telemetry)
    : delegate_(std::move(delegate)), telemetry_(telemetry) {}

FrameMailbox::~FrameMailbox() {
    delete slot_.load();
}

bool FrameMailbox::put(std::shared_ptr<const PixelBuffer> image,
                       Telemetry::Clock::time_point arrival, int discardedBefore) {
    if (isClosed()) {
        return false;
    }
    auto frame = std::make_unique<Frame>();
    frame->sampleBuffer.imageBuffer = std::move(image);
    frame->arrival = arrival;
    frame->discarded = lastDiscarded_ + 1 + discardedBefore;
    telemetry_.framesDropped.fetch_add(static_cast<std::uint64_t>(discardedBefore),
                                       std::memory_order_relaxed);

    Frame* waiting = lastPut_;
    if (waiting != nullptr &&
        slot_.compare_exchange_strong(waiting, frame.get(), std::memory_order_acq_rel)) {
        delete lastPut_;
        lastDiscarded_ += 1 + discardedBefore;
        lastPut_ = frame.release();
        telemetry_.framesDropped.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    frame->discarded = lastDiscarded_ = discardedBefore;
    lastPut_ = frame.release();
    slot_.store(lastPut_, std::memory_order_release);
    return true;
}

void FrameMailbox::deliver() {
    std::uint32_t idle = 0;
    if (!state_.compare_exchange_strong(idle, kDelivering)) {
        const std::unique_ptr<Frame> unwanted(slot_.exchange(nullptr, std::memory_order_acq_rel));
        return;
    }
    deliveringThread_.store(std::this_thread::get_id());
    {
        const std::unique_ptr<const Frame> frame(
            slot_.exchange(nullptr, std::memory_order_acq_rel));
        if (frame) {
            hand(*frame);
        }
    }
    deliveringThread_.store({});
    if ((state_.fetch_and(~kDelivering) & kClosed) != 0) {
        state_.notify_all();
    }
}

void FrameMailbox::hand(const Frame& frame) {
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
    telemetry_.frameBegins(frame.arrival);
    delegate->captureOutputDidOutput(frame.sampleBuffer);
    telemetry_.frameDone();
}

void FrameMailbox::close() {
    std::uint32_t state = state_.fetch_or(kClosed) | kClosed;
    if (deliveringThread_.load() == std::this_thread::get_id()) {
        return;
    }
    while ((state & kDelivering) != 0) {
        state_.wait(state);
        state = state_.load();
    }
    const std::unique_ptr<Frame> unwanted(slot_.exchange(nullptr, std::memory_order_acq_rel));
}

}  // namespace velmaro::gstreamer
