#include "app/InputChoice.h"

#include <optional>

namespace velmaro {
InputChoice::InputChoice(const Options& options, ContentView& view, const System& system,
                         Diagnostics& diagnostics)
    : options_(options), view_(view), system_(system), diagnostics_(diagnostics) {}

bool InputChoice::make() {
    if (options_.input) {
        view_.select(*options_.input);
    } else if (options_.choosesHeadphones) {
        view_.select(InputSource::airpods().id());
    }
    const std::optional<InputSource> input = view_.selectedInput();
    if (!input && options_.awaitsHeadphones &&
        options_.input.value_or(InputSource::airpods().id()) == InputSource::airpods().id()) {
        view_.select(InputSource::airpods().id());
        return true;
    }
    if (!input && options_.isInputKept && !isInTerminal()) {
        chooseAnother();
        return true;
    }
    if (!input && options_.input) {
        fail(Diagnostic::Subject::program, "there is no source '" + *options_.input + "'",
             "see --list-inputs");
        return false;
    }
    if (!input && isInTerminal()) {
        reportNoSource(diagnostics_, Diagnostic::Kind::failure);
        return false;
    }
    return !input || input->isAirpods() || (!isRecordingInVain() && canTrackFaces());
}

/// What was kept some day must not keep the window from opening today.
void InputChoice::chooseAnother() {
    diagnostics_.report(
        {.kind = Diagnostic::Kind::warning,
         .subject = Diagnostic::Subject::settings,
         .text = "the source that was kept, '" + *options_.input + "', is not there",
         .advice = "connect it and choose it, or choose another"});
    if (const auto inputs = view_.availableInputs(); !inputs.empty()) {
        view_.select(inputs.front().id());
    }
}

/// In a window another source may be chosen later, unless one was named.
bool InputChoice::isRecordingInVain() {
    if (!options_.recordMotion || !(isInTerminal() || options_.input)) {
        return false;
    }
    fail(Diagnostic::Subject::recording,
         "only headphones' motion can be recorded, and a camera is the source",
         "choose the headphones with --input airpods, or leave out --record-motion");
    return true;
}

bool InputChoice::canTrackFaces() {
    if (const auto& error = system_.faceLandmarksError()) {
        fail(Diagnostic::Subject::camera, error->description);
        return false;
    }
    return true;
}

void InputChoice::fail(Diagnostic::Subject subject, const std::string& text,
                       const std::string& advice) {
    diagnostics_.report(
        {.kind = Diagnostic::Kind::failure, .subject = subject, .text = text, .advice = advice});
}

void reportNoSource(Diagnostics& diagnostics, Diagnostic::Kind kind) {
    diagnostics.report({.kind = kind,
                        .subject = Diagnostic::Subject::program,
                        .text = "no source is there",
                        .advice = "connect a camera or headphones, or try --demo"});
}

}  // namespace velmaro
