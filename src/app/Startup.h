#pragma once

#include "app/CommandLine.h"
#include "app/ContentView.h"
#include "app/ReceiverChoice.h"

namespace velmaro {

/// Gives the view the settings of the command line. Main thread.
void applySettings(const Options& options, ContentView& view);

/// `options` as they would have to be for a start to begin with what the view and the menu hold
/// now. Main thread.
[[nodiscard]] Options currentSettings(Options options, const ContentView& view,
                                      const ReceiverChoice& receiver);

/// One line per source on standard output: its id, a tab, its label. False if it could not be
/// written.
bool printInputs(const ContentView& view);

}  // namespace velmaro
