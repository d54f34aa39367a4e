#include "backends/facemesh/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

// Apart from the tests: where the compiler sees both the caller and these, it takes the pair of
// new and free for a mistake.

namespace {

std::atomic<int> allocations = 0;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size == 0 ? 1 : size);
}

// Every other form of new ends up in this one, but for the one above where a sanitizer has its own.
void* operator new(std::size_t size) {
    if (void* memory = operator new(size, std::nothrow)) {
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
