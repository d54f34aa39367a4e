#pragma once

#include "app/CommandLine.h"

namespace velmaro {

class ReceiverChoice;
class Run;
struct MenuActions;

/// The program with a window: its look, its texts in the person's language, and one run of it.
/// Main thread.
class VelmaroApp {
public:
    /// `name` is the program's own, as `main` was given it.
    VelmaroApp(Options options, char* name);

    /// Blocks until the window is closed. What keeps it from being shown is said on standard error.
    [[nodiscard]] ExitStatus run();

private:
    [[nodiscard]] ExitStatus runInside();
    /// What the menu does to the run. Both outlive `actions`.
    void fill(MenuActions& actions, Run& run, ReceiverChoice& receivers) const;

    const Options options_;
    char* const name_;
};

}  // namespace velmaro
