#pragma once

#include <filesystem>
#include <memory>

#include "app/CommandLine.h"
#include "app/MainLoop.h"
#include "app/System.h"
#include "platform/Diagnostics.h"
#include "platform/Result.h"

namespace velmaro {

/// The Linux side of the doors, assembled for what the options choose: a `SystemFactory`.
[[nodiscard]] Result<std::unique_ptr<System>> makeLinuxPlatform(const Options& options,
                                                                DispatchQueue& mainQueue,
                                                                Telemetry& telemetry,
                                                                Diagnostics& diagnostics);

/// Where this user's options are kept, whether or not the file is there; empty without a home.
[[nodiscard]] std::filesystem::path configurationFile();

/// Prints on standard error under the program's name.
[[nodiscard]] std::unique_ptr<Diagnostics> makeDiagnostics(Program program);

/// The main loop of a program without a window.
[[nodiscard]] std::unique_ptr<MainLoop> makeMainLoop();

}  // namespace velmaro
