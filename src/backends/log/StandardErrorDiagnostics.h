#pragma once

#include <string>

#include "backends/log/LineWriter.h"
#include "platform/Diagnostics.h"

namespace velmaro {

/// Lines on standard error, after the program's name, each whole among those of other threads, that
/// nobody waits for. A line says how many were left out while nobody read them.
class StandardErrorDiagnostics final : public Diagnostics {
public:
    explicit StandardErrorDiagnostics(std::string programName);

    void report(const Diagnostic& diagnostic) override;

private:
    const std::string programName_;
    LineWriter writer_;
};

}  // namespace velmaro
