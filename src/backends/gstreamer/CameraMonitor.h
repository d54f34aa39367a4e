#pragma once

#include <gst/gst.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "backends/gstreamer/CameraRegistry.h"

namespace velmaro::gstreamer {

/// Keeps a registry of cameras up to date, on a thread of its own: asking the system for its
/// cameras can take long, and for ever if a daemon hangs, which nobody else waits for.
class CameraMonitor {
public:
    using OnChange = std::function<void(CameraChange)>;

    /// Begins at once. `onChange` is called on the monitor's thread after each change of the list
    /// that comes after the first answer of `waitUntilListed`.
    CameraMonitor(std::shared_ptr<CameraRegistry> registry, OnChange onChange);
    CameraMonitor(const CameraMonitor&) = delete;
    CameraMonitor& operator=(const CameraMonitor&) = delete;
    /// No call of `onChange` is under way after it. Does not wait for a daemon that hangs.
    ~CameraMonitor();

    /// Waits until the cameras that were there at the beginning are known, at most `limit`.
    void waitUntilListed(std::chrono::milliseconds limit);

private:
    class Watcher;
    const std::shared_ptr<Watcher> watcher_;
};

}  // namespace velmaro::gstreamer
