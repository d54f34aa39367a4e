#pragma once

#include "platform/PixelBuffer.h"

namespace velmaro::facemesh {

/// A part of a picture, in whole pixels and inside it.
struct Region {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

struct PixelPoint {
    float x = 0;
    float y = 0;
};

}  // namespace velmaro::facemesh
