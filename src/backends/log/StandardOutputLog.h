#pragma once

#include <string_view>

#include "platform/Log.h"

namespace velmaro {

/// Lines on standard output, each written with one system call, so that it is out at once and
/// whole among the lines of other threads.
class StandardOutputLog final : public Log {
public:
    void line(std::string_view text) override;
};

/// Writes nothing: for when standard output carries an answer that scripts read.
class SilentLog final : public Log {
public:
    void line(std::string_view) override {}
};

}  // namespace velmaro
