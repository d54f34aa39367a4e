#pragma once

#include "app/CommandLine.h"
#include "app/linux/LinuxPlatform.h"

namespace velmaro {

/// What the command line asks of the platform.
[[nodiscard]] LinuxPlatformOptions platformOptions(Program program, const Options& options);

}  // namespace velmaro
