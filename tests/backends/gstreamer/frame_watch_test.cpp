#include <gtest/gtest.h>

#include "backends/gstreamer/FrameWatch.h"

namespace velmaro::gstreamer {
namespace {

TEST(FrameWatch, TellsEachChangeOnce) {
    using namespace std::chrono_literals;
    const FrameWatch::Clock::time_point start{};
    FrameWatch watch;
    watch.begin(start);
    EXPECT_EQ(watch.look(start + 1900ms, 0), FrameFlow::unchanged);
    EXPECT_EQ(watch.look(start + 2s, 0), FrameFlow::halted);
    EXPECT_EQ(watch.look(start + 3s, 0), FrameFlow::unchanged);
    EXPECT_EQ(watch.look(start + 4s, 1), FrameFlow::resumed);
    EXPECT_EQ(watch.look(start + 5s, 2), FrameFlow::unchanged);
    EXPECT_EQ(watch.look(start + 7s, 2), FrameFlow::halted);
    EXPECT_EQ(watch.look(start + 15s, 2), FrameFlow::stopped);
    EXPECT_EQ(watch.look(start + 16s, 2), FrameFlow::unchanged);
    EXPECT_EQ(watch.look(start + 17s, 3), FrameFlow::resumed);
}

}  // namespace
}  // namespace velmaro::gstreamer
