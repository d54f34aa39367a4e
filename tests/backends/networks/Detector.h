#pragma once

#include <cstddef>
#include <vector>

#include "backends/facemesh/ModelStore.h"

namespace velmaro::networks {

/// The face detector's file, as it is installed.
inline std::vector<std::byte> detector() {
    return facemesh::loadModelFile(VELMARO_MODELS_DIR, facemesh::kDetectorFile).value();
}

}  // namespace velmaro::networks
