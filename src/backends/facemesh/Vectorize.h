#pragma once

/// Compiles a function also for AVX2 and takes that one at run time where the processor has it.
/// The sanitizers cannot run the choice, which is made before they are ready.
#if defined(__x86_64__) && !defined(VELMARO_SANITIZED)
#define VELMARO_VECTORIZE __attribute__((target_clones("avx2", "default")))
#else
#define VELMARO_VECTORIZE
#endif

namespace velmaro::facemesh {

/// Four numbers that are computed at once; the compilers map it to the processor's registers.
using Float4 = float __attribute__((vector_size(16)));

}  // namespace velmaro::facemesh
