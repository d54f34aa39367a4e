#include "backends/log/StandardErrorDiagnostics.h"

#include <unistd.h>

#include <utility>

namespace velmaro {

StandardErrorDiagnostics::StandardErrorDiagnostics(std::string programName)
    : programName_(std::move(programName)),
      writer_(STDERR_FILENO, "diagnostics", [this](std::size_t count) {
          report({.kind = Diagnostic::Kind::warning,
                  .text = std::to_string(count) + " lines were left out here since nobody read"});
      }) {}

void StandardErrorDiagnostics::report(const Diagnostic& diagnostic) {
    writer_.line(programName_ + ": " + diagnostic.line());
}

}  // namespace velmaro
