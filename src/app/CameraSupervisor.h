#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "app/ContentView.h"
#include "app/WatchedCapture.h"
#include "platform/Diagnostics.h"

namespace velmaro {

/// Does beside the logic, which retries nothing, what a person would do about a camera: says that
/// it has failed, starts it anew when it is back, and stops one that started after tracking was
/// switched off. Main thread.
///
/// A camera that has given a picture in this run is never given up: while it is listed it is tried
/// again, after 5 seconds first and at last every 30. Its loss is said once, and its return.
class CameraSupervisor : public std::enable_shared_from_this<CameraSupervisor> {
    struct Private {};

public:
    /// `isFile` tells whether an input's id stands for a file, which never comes back. `onGivenUp`
    /// is called when the chosen camera has failed for good or from the start. All that is given
    /// here outlives the supervisor.
    static std::shared_ptr<CameraSupervisor> create(
        ContentView& view, const Platform& platform, Diagnostics& diagnostics,
        std::function<bool(const std::string& inputId)> isFile, std::function<void()> onGivenUp);

    CameraSupervisor(Private, ContentView& view, const Platform& platform, Diagnostics& diagnostics,
                     std::function<bool(const std::string& inputId)> isFile,
                     std::function<void()> onGivenUp);

    /// Whether the chosen camera failed and has not given a picture since.
    [[nodiscard]] bool isLost() const;

    /// The camera was refused before its session could start.
    void refused(const CaptureRefusal& refusal);

private:
    void observeNotifications(NotificationCenter& center);
    /// Any thread.
    void post(std::function<void(CameraSupervisor&)> work);

    [[nodiscard]] bool isCameraWanted() const;
    [[nodiscard]] bool hasGivenPictures() const;
    void sessionStarted();
    void firstFrame();
    void sessionEnded(const std::string& reason);
    /// Waits for the camera's return.
    void lose(const std::string& reason);
    void tryAfterAWhile(const std::string& reason);
    void giveUp(const std::string& reason);
    void cameraConnected();
    void startAnew();

    ContentView& view_;
    DispatchQueue& mainQueue_;
    Diagnostics& diagnostics_;
    const std::function<bool(const std::string&)> isFile_;
    const std::function<void()> onGivenUp_;
    bool hasStarted_ = false;
    /// The inputs that have given a picture.
    std::set<std::string> proven_;
    /// The input that failed and is waited for; empty if none is.
    std::string lostId_;
    /// The lost camera is being started.
    bool isTrying_ = false;
    std::chrono::seconds wait_{};
    std::uint64_t waits_ = 0;
    // A camera that failed may come back before its failure is told.
    std::uint64_t connections_ = 0;
    std::uint64_t connectionsAtStart_ = 0;
};

}  // namespace velmaro
