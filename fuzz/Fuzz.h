#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

/// Ends the run with a report if what must hold does not.
inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// What each fuzzer does with one input; defined by it.
void fuzz(std::span<const std::uint8_t> input);

/// The name and the C linkage are libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz({data, size});
    return 0;
}
