#include <gtest/gtest.h>

#include <ctime>

#include "backends/queues/SystemClock.h"

namespace velmaro {
namespace {

TEST(SystemClock, TellsSecondsSince1970) {
    const WallTime now = SystemClock().now();
    EXPECT_NEAR(now, static_cast<double>(::time(nullptr)), 2.0);
}

}  // namespace
}  // namespace velmaro
