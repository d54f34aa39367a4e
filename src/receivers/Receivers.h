#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "receivers/Conversion.h"

namespace velmaro {

/// A receiver that is known by name.
struct Receiver {
    std::string_view name;
    /// Where it listens unless it was told otherwise.
    std::uint16_t port;
    /// The OSC address that it takes without a change of its settings.
    std::string_view address;
    Conversion conversion;
    /// What it is and what to set in it, for a person.
    std::string_view description;
};

/// All of them, in the order in which they are listed.
[[nodiscard]] std::span<const Receiver> receivers();

/// The one of that name, or null.
[[nodiscard]] const Receiver* findReceiver(std::string_view name);

/// Their names, with commas between.
[[nodiscard]] std::string receiverNames();

/// One line per receiver: name, a tab, port, a tab, address, a tab, description.
[[nodiscard]] std::string receiverList();

}  // namespace velmaro
