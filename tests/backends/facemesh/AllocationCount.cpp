#include "backends/facemesh/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

// Apart from the tests: where the compiler sees both the caller and these, it takes the pair of
// new and free for a mistake.

namespace {

std::atomic<int> allocations = 0;

}  // namespace

// Every other form of new ends up in this one.
void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

int velmaro::testing::allocationCount() {
    return allocations;
}
