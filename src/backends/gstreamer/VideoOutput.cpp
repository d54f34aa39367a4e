#include "backends/gstreamer/VideoOutput.h"

#include <utility>

namespace velmaro::gstreamer {

void VideoOutput::setSampleBufferDelegate(std::weak_ptr<SampleBufferDelegate> delegate,
                                          std::shared_ptr<DispatchQueue> queue) {
    const std::lock_guard lock(mutex_);
    target_.delegate = std::move(delegate);
    target_.queue = std::move(queue);
}

std::shared_ptr<CaptureConnection> VideoOutput::connection() const {
    const std::lock_guard lock(mutex_);
    return target_.connection;
}

bool VideoOutput::settingsAreSupported() const {
    return settings_ == VideoSettings{{kPixelFormatTypeKey, kPixelFormat32BGRA}};
}

void VideoOutput::join(std::shared_ptr<VideoConnection> connection) {
    const std::lock_guard lock(mutex_);
    target_.connection = std::move(connection);
}

void VideoOutput::part() {
    const std::lock_guard lock(mutex_);
    if (target_.connection) {
        target_.connection->cut();
        target_.connection = nullptr;
    }
}

VideoOutput::Target VideoOutput::target() const {
    const std::lock_guard lock(mutex_);
    return target_;
}

}  // namespace velmaro::gstreamer
