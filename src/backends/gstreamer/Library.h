#pragma once

#include <optional>

#include "platform/Error.h"

namespace velmaro::gstreamer {

/// Starts GStreamer on the first call and keeps what it prints off standard output. Returns why it
/// cannot be used, each time. Any thread.
std::optional<Error> ensureLibrary();

}  // namespace velmaro::gstreamer
