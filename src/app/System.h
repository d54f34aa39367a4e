#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "app/CommandLine.h"
#include "platform/Diagnostics.h"
#include "platform/Dispatch.h"
#include "platform/Platform.h"
#include "platform/Result.h"
#include "platform/Telemetry.h"

namespace velmaro {

/// What a person or a script asks of a running program from outside its window.
enum class Request { stop, setOffset, resetOffset };

/// The doors of one operating system and what a program needs of it besides. Made and destroyed on
/// the main thread; outlives the logic that is given its doors.
class System {
public:
    virtual ~System() = default;

    [[nodiscard]] virtual const Platform& doors() const = 0;

    /// Why faces cannot be found, if they cannot: every frame then passes unanalysed.
    [[nodiscard]] virtual const std::optional<Error>& faceLandmarksError() const = 0;

    /// Lines on standard error that are no diagnostics, as they are.
    [[nodiscard]] virtual Log& errorLines() = 0;

    /// Calls `handler` on the main queue when a file that plays once has ended, its last frame
    /// handled.
    virtual void onPlaybackEnded(std::function<void()> handler) = 0;

    /// Calls `handler` on the main queue when the recording of the headphones' motion cannot go on,
    /// which was reported.
    virtual void onRecordingFailed(std::function<void()> handler) = 0;

    /// Calls `handler` on the main queue for each request from now on.
    virtual void onRequest(std::function<void(Request)> handler) = 0;

    /// Puts a whole file that holds `text` in the place of `file`, with the folders that lead to
    /// it.
    [[nodiscard]] virtual Result<void> replaceFile(const std::filesystem::path& file,
                                                   std::string_view text) = 0;

    /// Tells the desktop that tracking begins or ends, so that it does not take the person for
    /// absent meanwhile. Returns at once.
    virtual void setTracking(bool isTracking) = 0;

    /// Ends the global queues: waits for running work, drops the rest. After it, close the main
    /// queue, so that what its work still holds goes before the doors do.
    virtual void shutDown() = 0;
};

/// Assembles a system for what the options choose, or says why something that they ask for cannot
/// be had. The queue, the counters and the diagnostics outlive it.
using SystemFactory =
    std::function<Result<std::unique_ptr<System>>(const Options& options, DispatchQueue& mainQueue,
                                                  Telemetry& telemetry, Diagnostics& diagnostics)>;

}  // namespace velmaro
