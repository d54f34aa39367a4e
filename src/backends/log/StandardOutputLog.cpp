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

StandardErrorLog::StandardErrorLog()
    : LineWriter(STDERR_FILENO, "statistics", [](std::size_t) {}) {}

}  // namespace velmaro
