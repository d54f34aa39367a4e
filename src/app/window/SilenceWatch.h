#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "app/ContentView.h"
#include "platform/Observable.h"
#include "platform/Telemetry.h"

namespace velmaro {

/// Why no angle comes although tracking is on.
enum class Silence {
    none,
    /// The camera delivers, and nobody is found in its pictures.
    noFace,
    noPictures,
    /// The same of a file that plays a camera.
    noPicturesOfFile,
    /// The headphones send nothing.
    noMotion,
};

/// Notices that no new angle has come for a second. Main thread.
class SilenceWatch {
public:
    using Clock = std::chrono::steady_clock;

    /// Both outlive the watch. `telemetry` counts the frames.
    SilenceWatch(ContentView& view, const Telemetry& telemetry,
                 std::function<Clock::time_point()> now = Clock::now);

    /// As of now. To be asked several times a second while tracking is on.
    [[nodiscard]] Silence silence();

private:
    ContentView& view_;
    const Telemetry& telemetry_;
    const std::function<Clock::time_point()> now_;
    Clock::time_point lastAngle_;
    Clock::time_point lastFrame_;
    std::uint64_t frames_ = 0;
    bool wasRunning_ = false;
    std::string source_;
    Subscription faces_;
    Subscription headphones_;
};

}  // namespace velmaro
