#pragma once

#include <string_view>

namespace velmaro {

/// The diagnostic lines whose texts are fixed. Everything else that the program has to say goes to
/// standard error and not through this door.
class Log {
public:
    virtual ~Log() = default;

    /// Writes `text` and a newline to standard output, whole and at once. Any thread; lines of
    /// different threads never mix. A failing output is ignored: tracking matters more than its
    /// log.
    virtual void line(std::string_view text) = 0;
};

}  // namespace velmaro
