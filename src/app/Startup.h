#pragma once

#include "app/CommandLine.h"
#include "app/ContentView.h"

namespace velmaro {

/// Gives the view the settings of the command line. Main thread.
void applySettings(const Options& options, ContentView& view);

/// One line per source on standard output: its id, a tab, its label. False if it could not be
/// written.
bool printInputs(const ContentView& view);

}  // namespace velmaro
