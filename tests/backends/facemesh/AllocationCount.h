#pragma once

namespace velmaro::testing {

/// How often this program has allocated with new since it started.
int allocationCount();

}  // namespace velmaro::testing
