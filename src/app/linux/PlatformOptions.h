#pragma once

#include "app/CommandLine.h"
#include "app/linux/LinuxPlatform.h"

namespace velmaro {

/// What the command line asks of the platform, the same for both programs.
[[nodiscard]] LinuxPlatformOptions platformOptions(const Options& options);

}  // namespace velmaro
