#pragma once

#include <map>
#include <span>
#include <vector>

#include "backends/networks/Model.h"

namespace velmaro::testing {

/// Runs a model by the definitions of its operators, in double precision and without any library.
/// Gives the values of every tensor that is computed.
std::map<std::size_t, std::vector<double>> runReference(const networks::Model& model,
                                                        std::span<const float> input);

}  // namespace velmaro::testing
