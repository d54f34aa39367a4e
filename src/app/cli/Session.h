#pragma once

#include <memory>

#include "app/CommandLine.h"
#include "app/ContentView.h"
#include "app/cli/StatisticsReport.h"
#include "app/linux/LinuxPlatform.h"

namespace velmaro {

/// One run of the program without a window: chooses the source, tracks until it is told to stop or
/// cannot go on, and says on standard error what a person needs to know. Main thread.
class Session {
public:
    explicit Session(Options options);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Blocks until the run is over.
    ExitStatus run();

private:
    ExitStatus listInputs();
    /// False after saying why the chosen source cannot be had.
    bool chooseInput();
    /// Whether the source to track is headphones that were asked for and have yet to come.
    bool awaitsHeadphones();
    void startWhenHeadphonesConnect();
    void startTracking();
    void sayWhatIsSent() const;
    void watch();
    void handle(Request request);
    void stop(ExitStatus status);

    Options options_;
    Telemetry telemetry_;
    std::unique_ptr<MainLoop> mainLoop_;
    std::shared_ptr<StatisticsReport> statistics_;
    std::unique_ptr<LinuxPlatform> platform_;
    std::shared_ptr<ContentView> view_;
    Subscription status_;
    Subscription headphones_;
    bool hasStarted_ = false;
    ExitStatus exitStatus_ = ExitStatus::success;
};

}  // namespace velmaro
