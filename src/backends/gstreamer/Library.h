#pragma once

#include <optional>

#include "platform/Diagnostics.h"
#include "platform/Error.h"

namespace velmaro::gstreamer {

/// Starts GStreamer on the first call and keeps what it prints off standard output. Returns why it
/// cannot be used, each time. Any thread.
std::optional<Error> ensureLibrary();

/// While it lives, what GStreamer and GLib have to say is reported, a line each; else it is
/// dropped. Of several the last one made is told. Any thread.
class LibraryMessages {
public:
    explicit LibraryMessages(Diagnostics& diagnostics);
    LibraryMessages(const LibraryMessages&) = delete;
    LibraryMessages& operator=(const LibraryMessages&) = delete;
    ~LibraryMessages();

private:
    Diagnostics& diagnostics_;
};

}  // namespace velmaro::gstreamer
