#pragma once

#include <string>
#include <utility>

#include "platform/Diagnostics.h"

namespace velmaro {

/// Lines on standard error, after the program's name, each whole among those of other threads.
class StandardErrorDiagnostics final : public Diagnostics {
public:
    explicit StandardErrorDiagnostics(std::string programName)
        : programName_(std::move(programName)) {}

    void report(const Diagnostic& diagnostic) override;

private:
    const std::string programName_;
};

}  // namespace velmaro
