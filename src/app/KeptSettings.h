#pragma once

#include "app/CommandLine.h"
#include "app/System.h"
#include "platform/Diagnostics.h"
#include "platform/UserDefaults.h"

namespace velmaro {

/// Writes what of `options` can be kept into `options.configuration` for the next starts. Says on
/// the diagnostics where, or why not, which gives false. Main thread.
bool keepSettings(const Options& options, System& system, Diagnostics& diagnostics);

/// Removes the stored rest pose of the headphones and says so on the diagnostics; if `isInUse`,
/// also that this run goes on with it. False if it could not be removed. Main thread.
bool forgetPose(UserDefaults& stored, Diagnostics& diagnostics, bool isInUse);

}  // namespace velmaro
