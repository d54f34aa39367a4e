#pragma once

#include <string_view>

#include "backends/log/LineWriter.h"
#include "platform/Diagnostics.h"
#include "platform/Log.h"

namespace velmaro {

/// Lines on standard output, each whole among those of other threads, that nobody waits for. How
/// many were left out while nobody read them is told to `diagnostics`, which outlives the log.
class StandardOutputLog final : public LineWriter {
public:
    explicit StandardOutputLog(Diagnostics& diagnostics);
};

/// Lines on standard error in the same way.
class StandardErrorLog final : public LineWriter {
public:
    explicit StandardErrorLog(Diagnostics& diagnostics);
};

/// Writes nothing: for when standard output carries an answer that scripts read.
class SilentLog final : public Log {
public:
    void line(std::string_view) override {}
};

}  // namespace velmaro
