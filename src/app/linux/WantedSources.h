#pragma once

#include "app/CommandLine.h"

namespace velmaro {

/// What is done about the cameras of this computer.
enum class CameraSearch {
    /// Nothing: not even looked for.
    none,
    /// Listed when they are found, after the files.
    listedLater,
    /// Waited for by the first listing, for as long as a person waits for a window.
    awaited,
    /// The same, for as long as a slow computer may need.
    awaitedPatiently,
};

/// Which kinds of sources a run looks for, each of which costs threads.
struct WantedSources {
    CameraSearch cameraSearch = CameraSearch::awaited;
    /// Whether faces are ever looked for, in pictures of a camera or a file.
    bool faces = true;
    bool headphones = true;
};

/// In a terminal only what may be chosen; a window and a listing want everything.
[[nodiscard]] WantedSources wantedSources(const Options& options);

}  // namespace velmaro
