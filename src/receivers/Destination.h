#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Result.h"

namespace velmaro {

/// Where else the values go.
struct Destination {
    /// An address literal or a host name.
    std::string host;
    std::uint16_t port = 0;
    /// The OSC address; empty means that of the first receiver.
    std::string address = {};

    bool operator==(const Destination&) const = default;
};

/// Reads HOST:PORT or HOST:PORT/ADDRESS; a version 6 address stands in brackets. Fails with one
/// line that says what form is wanted.
[[nodiscard]] Result<Destination> parseDestination(std::string_view text);

}  // namespace velmaro
