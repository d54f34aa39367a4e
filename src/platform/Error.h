#pragma once

#include <string>

namespace velmaro {

/// Why something outside this program did not work, as text for the log and for a person.
struct Error {
    /// For the log; may name the failing component.
    std::string description;
    /// For the status line: one short sentence.
    std::string localizedDescription;
};

}  // namespace velmaro
