#include "backends/facemesh/AllocationCount.h"
#include "backends/facemesh/Testing.h"

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
    const int before = allocationCount();
    run();
    EXPECT_EQ(allocationCount() - before, 0);
    EXPECT_EQ(faces, 2U);
    EXPECT_GT(before, 0) << "the counter does not count";
}

}  // namespace
}  // namespace velmaro::testing
