#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "backends/cameras/CameraRegistry.h"

namespace velmaro::cameras {

/// Follows which cameras there are. One thread of the process asks the system: that can take long,
/// and for ever if a daemon hangs, which nobody else waits for. It runs until the process ends,
/// because PipeWire's provider of devices damages its memory when it is stopped while its daemon
/// talks to it.
class CameraMonitor {
public:
    using OnChange = std::function<void(CameraChange)>;

    /// `onChange` is called on the monitor's thread after each change of the list that comes after
    /// the first return of `waitUntilListed`.
    explicit CameraMonitor(OnChange onChange);
    CameraMonitor(const CameraMonitor&) = delete;
    CameraMonitor& operator=(const CameraMonitor&) = delete;
    /// No call of `onChange` is under way after it. The last one also halts the thread, so that the
    /// process may end; if it hangs, that is not awaited for long.
    ~CameraMonitor();

    [[nodiscard]] const std::shared_ptr<CameraRegistry>& registry() const;

    /// Waits until the cameras that were there at the beginning are known, at most `limit`; later
    /// calls return at once.
    void waitUntilListed(std::chrono::milliseconds limit);

private:
    class Watcher;
    struct Subscriber {
        OnChange onChange;
        bool asked = false;
    };

    Watcher& watcher_;
    const std::shared_ptr<Subscriber> subscriber_;
};

}  // namespace velmaro::cameras
