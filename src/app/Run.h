#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/CameraSupervisor.h"
#include "app/CommandLine.h"
#include "app/ContentView.h"
#include "app/KeptDiagnostics.h"
#include "app/MainLoop.h"
#include "app/ReceiverMonitor.h"
#include "app/StatisticsReport.h"
#include "app/System.h"
#include "app/WatchedCapture.h"
#include "receivers/ReceiverNetwork.h"

namespace velmaro {

/// One run of either program, from the options to the exit status: assembles the system and the
/// controller, chooses the source and waits for one that is yet to come, handles requests, and ends
/// when it is told to, when the source has ended or cannot go on. What a window adds stands in the
/// window. Main thread.
class Run {
public:
    /// Takes the door to standard error; the loop outlives the run.
    Run(Options options, MainLoop& mainLoop, std::unique_ptr<Diagnostics> diagnostics,
        const SystemFactory& makeSystem);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// Assembles everything and chooses the source. Gives the exit status if there is nothing more
    /// to do, after saying why on standard error.
    [[nodiscard]] std::optional<ExitStatus> prepare();

    /// After `prepare`. In a terminal tracks at once, in a window if that was asked for; returns
    /// when the run is over.
    [[nodiscard]] ExitStatus execute();

    /// Stops tracking and lets `execute` return with `status`, or a worse one that was given
    /// before.
    void end(ExitStatus status);

    /// Writes what of `options` can be kept into the file for the next starts. Says on the
    /// diagnostics where, or why not, which gives false. After `prepare`.
    bool keepSettings(const Options& options);

    /// Removes the stored rest pose of the headphones, so that the next start begins without it,
    /// and says so on the diagnostics. False if it could not be removed. After `prepare`.
    bool forgetPose();

    /// After `prepare`.
    [[nodiscard]] const std::shared_ptr<ContentView>& view() const { return view_; }
    [[nodiscard]] ReceiverNetwork& receivers() { return *receivers_; }
    [[nodiscard]] KeptDiagnostics& diagnostics() { return diagnostics_; }
    /// In a window.
    [[nodiscard]] const ReceiverMonitor& receiver() const { return *receiver_; }
    [[nodiscard]] const Telemetry& telemetry() const { return telemetry_; }

    /// Called when a signal asks for the end; without it the run ends. A window closes itself.
    std::function<void()> onStopRequest;

private:
    [[nodiscard]] bool isInTerminal() const { return options_.program == Program::terminal; }
    void assemble();
    [[nodiscard]] ExitStatus listInputs();
    void watch();
    void start();
    void startWhenHeadphonesConnect();
    void startTracking();
    void reportDestination();
    void handle(Request request);
    void playbackEnded();
    /// The end that comes with the time or the file: a script reads from the status whether it was
    /// of use.
    void endByItself();
    /// False after saying so.
    [[nodiscard]] bool reportIfNothingWasSent();
    void report(Diagnostic::Kind kind, Diagnostic::Subject subject, const std::string& text,
                const std::string& advice = "");
    void fail(Diagnostic::Subject subject, const std::string& text, const std::string& advice = "");

    Options options_;
    MainLoop& mainLoop_;
    KeptDiagnostics diagnostics_;
    const SystemFactory makeSystem_;
    Telemetry telemetry_;
    std::shared_ptr<StatisticsReport> statistics_;
    std::unique_ptr<System> system_;
    std::unique_ptr<WatchedCapture> capture_;
    std::unique_ptr<ReceiverNetwork> receivers_;
    std::unique_ptr<ReceiverMonitor> receiver_;
    std::shared_ptr<ContentView> view_;
    std::shared_ptr<CameraSupervisor> camera_;
    Subscription tracking_;
    Subscription headphones_;
    bool isEnding_ = false;
    ExitStatus exitStatus_ = ExitStatus::success;
};

}  // namespace velmaro
