#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Error.h"
#include "platform/Platform.h"
#include "platform/SourceOption.h"
#include "platform/Telemetry.h"
#include "receivers/ReceiverNetwork.h"

namespace velmaro {

/// What is done about the cameras of this computer.
enum class LiveCameras {
    /// Nothing: not even looked for.
    none,
    /// Listed when they are found, after the files.
    listedLater,
    /// Waited for by the first listing, for as long as a person waits for a window.
    awaited,
    /// The same, for as long as a slow computer may need.
    awaitedPatiently,
};

struct LinuxPlatformOptions {
    /// Videos and pictures that play cameras, in the order in which they are listed.
    std::vector<std::string> cameraFiles;
    /// The built-in clip is listed as the first camera.
    bool demo = false;
    LiveCameras liveCameras = LiveCameras::awaited;
    /// Files play once instead of looping.
    bool once = false;
    /// What was given for the options of the sources of headphone motion.
    SourceValues sourceValues;
    /// A new file for all motion that is tracked.
    std::optional<std::string> recordMotion;
    /// What becomes of each message on its way.
    Output output;
    /// Where requests come by OSC, and the address of this machine at which they do.
    std::optional<std::uint16_t> controlPort;
    std::string controlAddress = "127.0.0.1";
    /// The name under which diagnostics are shown.
    std::string programName = "velmaro";
    /// False keeps standard output free of the log.
    bool logs = true;
};

/// What a person, a script or a control surface asks of a running program.
enum class Request { stop, setOffset, resetOffset };

/// The main thread's queue and loop for a program without a window.
class MainLoop {
public:
    static std::unique_ptr<MainLoop> create();
    virtual ~MainLoop() = default;

    virtual DispatchQueue& queue() = 0;
    /// Runs the queue's work on this thread until `stop`.
    virtual void run() = 0;
    /// Any thread; `run` returns after the work that is under way.
    virtual void stop() = 0;
    /// Destroys queued work without running it, and all that is queued later. Main thread, after
    /// `run`.
    virtual void close() = 0;
};

/// Assembles the doors' Linux side. Created and destroyed on the main thread; outlives the logic
/// that is given its doors.
class LinuxPlatform {
public:
    /// `mainQueue` runs on the main thread; it and `telemetry` outlive the platform. What cannot be
    /// had is told by the members below.
    LinuxPlatform(const LinuxPlatformOptions& options, DispatchQueue& mainQueue,
                  Telemetry& telemetry);
    ~LinuxPlatform();
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    [[nodiscard]] const Platform& doors() const;

    /// Why faces cannot be found, if they cannot: every frame then passes unanalysed.
    [[nodiscard]] const std::optional<Error>& faceLandmarksError() const;
    /// Why the motion file, the UDP port, the AirPods' address or the recording that was asked for
    /// cannot be had, if it cannot.
    [[nodiscard]] const std::optional<Error>& headphonesError() const;

    /// Why requests cannot be taken by OSC, if they cannot though they were asked for.
    [[nodiscard]] const std::optional<Error>& controlError() const;

    /// Calls `handler` on the main queue when a file that plays once has ended, its last frame
    /// handled.
    void onPlaybackEnded(std::function<void()> handler);

    /// Calls `handler` on the main queue when the recording of the headphones' motion cannot go on,
    /// which was reported.
    void onRecordingFailed(std::function<void()> handler);

    /// Ends the global queues: waits for running work, drops the rest. After it, close the main
    /// queue, so that what its work still holds goes before the doors do.
    void shutDown();

    /// Calls `handler` on the main queue for each SIGINT, SIGTERM, SIGUSR1 and SIGUSR2,
    /// and for each request that comes by OSC.
    void onRequest(std::function<void(Request)> handler);

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace velmaro
