#pragma once

#include "platform/Result.h"

namespace velmaro {

/// To be called first in `main`: opens whichever of the descriptors 0 to 2 are closed on /dev/null,
/// so that no file of ours becomes one of them; ignores SIGPIPE and SIGXFSZ, which would end the
/// program for a reader that leaves or a disk that is full; and blocks SIGUSR1 and SIGUSR2 in every
/// thread but the one that listens for them, so that they are harmless before and after it. Keeps
/// the heap in one piece, so that memory does not grow with threads that come and go.
void prepareProcess();

/// Says why if the system has not as many threads to spare as a run may need: GLib and the decoders
/// of videos answer that by ending the process.
[[nodiscard]] Result<void> requireThreads();

}  // namespace velmaro
