#pragma once

#include <memory>

#include "app/CommandLine.h"
#include "app/ContentView.h"
#include "app/linux/LinuxPlatform.h"
#include "app/window/ControlPanel.h"
#include "app/window/QtMainQueue.h"
#include "app/window/Window.h"

namespace velmaro {

/// One run of the program with a window: assembles it, shows it and takes it down again. Main
/// thread, inside the life of the application object.
class WindowSession {
public:
    explicit WindowSession(Options options);
    ~WindowSession();
    WindowSession(const WindowSession&) = delete;
    WindowSession& operator=(const WindowSession&) = delete;

    /// Blocks until the window is closed. What keeps it from being shown is told on standard error.
    ExitStatus run();

private:
    bool assemble();
    ExitStatus listInputs();
    void show();
    void handle(Request request);
    void quit();

    Options options_;
    Telemetry telemetry_;
    QtMainQueue mainQueue_;
    std::unique_ptr<LinuxPlatform> platform_;
    std::shared_ptr<ContentView> view_;
    std::unique_ptr<Window> window_;
};

}  // namespace velmaro
