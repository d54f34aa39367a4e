#pragma once

#include <string>

namespace velmaro {

/// Something that a person should know beside the log's fixed lines and the status text.
struct Diagnostic {
    enum class Kind {
        /// All is well; this helps to make it better.
        hint,
        /// It goes on, but not as was asked for.
        warning,
        /// What was asked for cannot be had, or has ended.
        failure,
    };
    /// What it is about, so that it can be shown beside it.
    enum class Subject { program, camera, headphones, receiver, settings, recording };

    Kind kind = Kind::hint;
    Subject subject = Subject::program;
    /// One line without a full stop, beginning in lower case: "the camera gives no pictures".
    std::string text;
    /// What to do about it, in the same form; empty where there is nothing to do.
    std::string advice = {};

    bool operator==(const Diagnostic&) const = default;

    /// The text and, after a colon, the advice.
    [[nodiscard]] std::string line() const { return advice.empty() ? text : text + ": " + advice; }
};

/// The door to the person who runs the program. It outlives whoever was given it.
class Diagnostics {
public:
    virtual ~Diagnostics() = default;

    /// Shows `diagnostic`. Any thread; returns at once and never fails.
    virtual void report(const Diagnostic& diagnostic) = 0;
};

}  // namespace velmaro
