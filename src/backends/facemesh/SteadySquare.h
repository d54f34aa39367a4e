#pragma once

#include "backends/facemesh/FacePoints.h"
#include "backends/facemesh/Warp.h"

namespace velmaro::facemesh {

struct Detection;

/// Where the landmarks of a face that is followed are looked for. The detector's box shakes by more
/// than the face moves, and the landmarks shake with it; so the square takes over small differences
/// in part only, and large ones at once. Measured, that is steadier than a second look at where a
/// first one found the face, which costs half a frame more.
class SteadySquare {
public:
    /// Begins with a face that was just found.
    void begin(const TurnedSquare& square) { square_ = square; }

    /// The square for the next picture. `points` are the landmarks of the last one: the less sure
    /// the detector is, the more they count.
    const TurnedSquare& follow(const Detection& detection, const FacePoints& points);

private:
    TurnedSquare square_;
};

}  // namespace velmaro::facemesh
