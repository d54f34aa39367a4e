#pragma once

#include "app/CommandLine.h"

namespace velmaro {

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

    const Options options_;
    char* const name_;
};

}  // namespace velmaro
