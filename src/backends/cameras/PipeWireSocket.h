#pragma once

#include <optional>
#include <string>

#include "backends/posix/FileDescriptor.h"

namespace velmaro::cameras {

/// Where this process's environment puts the socket of PipeWire's daemon; empty if there is no
/// place for one. Any thread.
[[nodiscard]] std::string pipeWireSocket();

/// A connection to the daemon on which nothing has been said, without waiting for the daemon. None
/// if nobody listens there. Any thread.
[[nodiscard]] std::optional<FileDescriptor> connectToPipeWire(const std::string& socket);

}  // namespace velmaro::cameras
