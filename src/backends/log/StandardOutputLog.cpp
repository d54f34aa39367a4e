#include "backends/log/StandardOutputLog.h"

#include <unistd.h>

#include <string>

namespace velmaro {

StandardOutputLog::StandardOutputLog(Diagnostics& diagnostics)
    : LineWriter(STDOUT_FILENO, "log", [&diagnostics](std::size_t count) {
          diagnostics.report({.kind = Diagnostic::Kind::warning,
                              .text = std::to_string(count) +
                                      " lines of the log were left out since nobody read it",
                              .advice = "read standard output, or send it to /dev/null"});
      }) {}

StandardErrorLog::StandardErrorLog(Diagnostics& diagnostics)
    : LineWriter(STDERR_FILENO, "statistics", [&diagnostics](std::size_t count) {
          diagnostics.report({.kind = Diagnostic::Kind::warning,
                              .text = std::to_string(count) +
                                      " lines of statistics were left out since nobody read them",
                              .advice = "read standard error, or leave out --stats"});
      }) {}

}  // namespace velmaro
