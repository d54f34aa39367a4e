#include "backends/log/StandardErrorDiagnostics.h"

#include <iostream>

namespace velmaro {

void StandardErrorDiagnostics::report(const Diagnostic& diagnostic) {
    std::cerr << programName_ + ": " + diagnostic.line() + "\n";
}

}  // namespace velmaro
