#pragma once

#include <asio/ip/udp.hpp>
#include <optional>
#include <string>

#include "platform/Network.h"

namespace velmaro {

/// The destination that an address literal names, in every spelling that the system knows, such as
/// 127.1 or fe80::1%eth0; nothing if the text is none. Never asks a name server. Any thread.
[[nodiscard]] std::optional<asio::ip::udp::endpoint> parseAddress(const std::string& text,
                                                                  Port port);

}  // namespace velmaro
