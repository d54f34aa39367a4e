#pragma once

#include <span>

namespace velmaro::facemesh {

/// Lightens what a network is about to see if it is dark, in place, until its mean is that of a dim
/// room or something in it is white. In the dark the networks miss faces and make too little of
/// their turns. What is lit is left as it is.
///
/// `cells` are from `black` to 1; `covered` is the share of them that shows the picture, the others
/// being black.
void lighten(std::span<float> cells, float black, float covered = 1);

}  // namespace velmaro::facemesh
