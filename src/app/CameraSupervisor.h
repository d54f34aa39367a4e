#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "app/ContentView.h"
#include "app/WatchedCapture.h"
#include "platform/Diagnostics.h"

namespace velmaro {

/// Does beside the logic, which retries nothing, what a person would do about a camera: says that
/// it has failed, starts it anew when it is back, and stops one that started after tracking was
/// switched off. Main thread.
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

    /// Whether the chosen camera failed and has not come back.
    [[nodiscard]] bool isLost() const { return isLost_; }

    /// The camera was refused before its session could start.
    void refused(const CaptureRefusal& refusal);

private:
    void observeNotifications(NotificationCenter& center);
    /// Any thread.
    void post(std::function<void(CameraSupervisor&)> work);

    [[nodiscard]] bool isCameraWanted() const;
    void sessionStarted();
    void sessionEnded(const std::string& reason);
    /// Waits for the camera's return. One that never goes, because another program has it, say,
    /// does not come back either: it is given up.
    void lose(const std::string& reason);
    void giveUp(const std::string& reason);
    void cameraConnected();
    void resumeIfBack();

    ContentView& view_;
    DispatchQueue& mainQueue_;
    Diagnostics& diagnostics_;
    const std::function<bool(const std::string&)> isFile_;
    const std::function<void()> onGivenUp_;
    bool hasStarted_ = false;
    bool isLost_ = false;
    std::uint64_t losses_ = 0;
    // A camera that failed may come back before its failure is told.
    std::uint64_t connections_ = 0;
    std::uint64_t connectionsAtStart_ = 0;
};

}  // namespace velmaro
