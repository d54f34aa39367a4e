// Whether every multiplication is rounded on its own. A fused multiply-add would keep the last bits
// of one product, and a stored rest pose would read differently from machine to machine.

#include <gtest/gtest.h>

#include <cmath>

#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

/// A number that the compiler knows nothing about, not even that it is the same each time.
double opaque(double value) {
    volatile double hidden = value;
    return hidden;
}

bool processorCannotFuse() {
#if defined(__x86_64__)
    return !__builtin_cpu_supports("fma");
#else
    return false;
#endif
}

// The square of 1 + 2^-27 is 1 + 2^-26 + 2^-54, whose last part is lost in rounding. So the
// difference of two such squares is 0 when both are rounded, and 2^-54 up or down when either one
// is fused into the subtraction.
double root() {
    return opaque(1 + 0x1p-27);
}
double small() {
    return opaque(root() * 0x1p-10);
}

class Rounding : public testing::Test {
protected:
    void SetUp() override {
        if (processorCannotFuse()) {
            GTEST_SKIP() << "this processor has no fused multiply-add";
        }
        ASSERT_EQ(std::fma(root(), root(), -(1 + 0x1p-26)), 0x1p-54);
    }
};

TEST_F(Rounding, OfTheProductIsOncePerOperation) {
    const CMQuaternion a{.x = root(), .y = root(), .z = root(), .w = root()};
    EXPECT_EQ((a * CMQuaternion{.x = root(), .y = 0, .z = 0, .w = -root()}).x, 0);
    EXPECT_EQ((a * CMQuaternion{.x = 0, .y = root(), .z = root(), .w = 0}).x, 0);
    EXPECT_EQ((a * CMQuaternion{.x = 0, .y = root(), .z = root(), .w = 0}).y, 0);
    EXPECT_EQ((a * CMQuaternion{.x = root(), .y = 0, .z = 0, .w = -root()}).y, 0);
    EXPECT_EQ((a * CMQuaternion{.x = 0, .y = root(), .z = -root(), .w = 0}).z, 0);
    EXPECT_EQ((a * CMQuaternion{.x = root(), .y = 0, .z = 0, .w = root()}).z, 0);
    EXPECT_EQ((a * CMQuaternion{.x = root(), .y = 0, .z = 0, .w = root()}).w, 0);
    EXPECT_EQ((a * CMQuaternion{.x = 0, .y = -root(), .z = root(), .w = 0}).w, 0);
}

TEST_F(Rounding, OfTheAnglesIsOncePerOperation) {
    EXPECT_EQ(toTaitBryan({.x = root(), .y = root(), .z = root(), .w = root()}).pitch, 0);
    EXPECT_EQ(toTaitBryan({.x = root(), .y = small(), .z = -small(), .w = root()}).yaw, 0);
    EXPECT_EQ(toTaitBryan({.x = -small(), .y = small(), .z = root(), .w = root()}).roll, 0);
}

}  // namespace
}  // namespace velmaro
