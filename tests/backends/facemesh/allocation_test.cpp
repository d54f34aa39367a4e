#include <atomic>
#include <cstdlib>
#include <new>

#include "backends/facemesh/Testing.h"

namespace {

std::atomic<int> allocations = 0;

}  // namespace

// Counts every allocation of this program; the other forms of new end up in these.
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
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace velmaro::testing {
namespace {

TEST(FaceMeshAllocations, NoneOnceAPictureOfTheSizeWasSeen) {
    FaceFinder finder;
    const auto face = std::make_shared<const Frame>(Portrait().frame(640, 360, 300, 170, 150));
    const auto nobody = std::make_shared<const Frame>(640, 360);
    std::size_t faces = 0;
    const FaceLandmarks::Completion completion = [&faces](const FaceLandmarks::Results& results,
                                                          const std::optional<Error>&) {
        faces += results->size();
    };
    const auto run = [&] {
        EXPECT_TRUE(finder.mesh().perform(face, completion));
        EXPECT_TRUE(finder.mesh().perform(nobody, completion));
    };
    run();
    const int before = allocations;
    run();
    EXPECT_EQ(allocations - before, 0);
    EXPECT_EQ(faces, 2U);
    EXPECT_GT(before, 0) << "the counter does not count";
}

}  // namespace
}  // namespace velmaro::testing
