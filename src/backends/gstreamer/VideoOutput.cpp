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
    return connection_;
}

bool VideoOutput::settingsAreSupported() const {
    return settings_ == VideoSettings{{kPixelFormatTypeKey, kPixelFormat32BGRA}};
}

void VideoOutput::join(std::shared_ptr<VideoConnection> connection) {
    const std::lock_guard lock(mutex_);
    connection_ = std::move(connection);
}

void VideoOutput::part(VideoConnection& connection) {
    connection.cut();
    const std::lock_guard lock(mutex_);
    if (connection_.get() == &connection) {
        connection_ = nullptr;
    }
}

VideoOutput::Target VideoOutput::target() const {
    const std::lock_guard lock(mutex_);
    return target_;
}

}  // namespace velmaro::gstreamer
