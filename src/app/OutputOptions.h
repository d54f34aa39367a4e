#pragma once

#include <string>
#include <vector>

#include "app/CommandLine.h"

namespace CLI {
class App;
}

namespace velmaro {

/// Adds the options that say how and where else to send. When the line has been read they are put
/// together into `options.output`, and a named receiver's port and address into `options` where
/// none are given. Those of `options` that they need are added before.
void addOutputOptions(CLI::App& app, Options& options);

/// The values of each message, for a person: "pan tilt roll in degrees".
[[nodiscard]] std::string describeValues(const Options& options);

}  // namespace velmaro
