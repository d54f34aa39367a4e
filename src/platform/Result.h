#pragma once

#include <tl/expected.hpp>

#include "platform/Error.h"

namespace velmaro {

/// A value, or why there is none. Used as the standard's `std::expected`, which a later language
/// version brings.
template <typename Value>
using Result = tl::expected<Value, Error>;

/// For a function that gives a `Result` and has failed: `return failure("no such file");`. The
/// status line shows the same text as the log.
[[nodiscard]] inline tl::unexpected<Error> failure(const std::string& description) {
    return tl::unexpected(Error{.description = description, .localizedDescription = description});
}

}  // namespace velmaro
