#pragma once

#include <span>

#include "app/CommandLine.h"

namespace CLI {
class App;
}

namespace velmaro {

/// Adds every option of the program `options.program`, in the order of the help, each with the
/// check of its value. All that is given outlives `app`, which writes into it what it reads.
void addProgramOptions(CLI::App& app, std::span<const SourceOption> sourceOptions, Options& options,
                       bool& isConfigurationLeftAlone);

}  // namespace velmaro
