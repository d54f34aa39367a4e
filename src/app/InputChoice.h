#pragma once

#include <string>

#include "app/CommandLine.h"
#include "app/ContentView.h"
#include "app/System.h"
#include "platform/Diagnostics.h"

namespace velmaro {

/// Chooses the source with which a run begins, as the options ask. Main thread.
class InputChoice {
public:
    /// All of it outlives the choice.
    InputChoice(const Options& options, ContentView& view, const System& system,
                Diagnostics& diagnostics);

    /// False after saying why the source that is asked for cannot be had.
    [[nodiscard]] bool make();

private:
    [[nodiscard]] bool isInTerminal() const { return options_.program == Program::terminal; }
    void chooseAnother();
    [[nodiscard]] bool isRecordingInVain();
    [[nodiscard]] bool canTrackFaces();
    void fail(Diagnostic::Subject subject, const std::string& text, const std::string& advice = "");

    const Options& options_;
    ContentView& view_;
    const System& system_;
    Diagnostics& diagnostics_;
};

/// Says that nothing is there to choose from.
void reportNoSource(Diagnostics& diagnostics, Diagnostic::Kind kind);

}  // namespace velmaro
