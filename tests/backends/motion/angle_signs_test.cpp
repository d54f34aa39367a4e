#include <gtest/gtest.h>

#include <cstdlib>

#include "backends/motion/AngleSigns.h"
#include "fakes/Diagnostics.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

TEST(AngleSigns, ReverseWhatIsListed) {
    EXPECT_EQ(AngleSigns::reversing(""), (AngleSigns{1, 1, 1}));
    EXPECT_EQ(AngleSigns::reversing("yaw"), (AngleSigns{-1, 1, 1}));
    EXPECT_EQ(AngleSigns::reversing("roll,pitch"), (AngleSigns{1, -1, -1}));
    for (const char* const wrong : {"Yaw", "yaw pitch", "yaw,,roll", ",", "up", " yaw"}) {
        EXPECT_FALSE(AngleSigns::reversing(wrong)) << wrong;
    }
}

TEST(AngleSigns, ComeFromTheEnvironment) {
    constexpr const char* kVariable = "VELMARO_TEST_REVERSE";
    fakes::CapturedDiagnostics diagnostics;
    ::unsetenv(kVariable);
    EXPECT_EQ(AngleSigns::fromEnvironment(kVariable, diagnostics), AngleSigns{});
    ::setenv(kVariable, "pitch", 1);
    EXPECT_EQ(AngleSigns::fromEnvironment(kVariable, diagnostics), (AngleSigns{1, -1, 1}));
    ::setenv(kVariable, "upside down", 1);
    EXPECT_TRUE(diagnostics.all().empty());
    EXPECT_EQ(AngleSigns::fromEnvironment(kVariable, diagnostics), AngleSigns{});
    EXPECT_EQ(diagnostics.lines(),
              (std::vector<std::string>{std::string(kVariable) +
                                        " is ignored: give some of yaw, pitch, roll, separated by "
                                        "commas"}));
    ::unsetenv(kVariable);
}

TEST(AttitudeFromAngles, TurnsRightAboutMinusZUpAboutXAndRightAboutY) {
    constexpr double kSine = 0.08715574274765817;
    constexpr double kCosine = 0.9961946980917455;
    const auto expectNear = [](const CMQuaternion& q, const CMQuaternion& expected) {
        EXPECT_NEAR(q.x, expected.x, 1e-15);
        EXPECT_NEAR(q.y, expected.y, 1e-15);
        EXPECT_NEAR(q.z, expected.z, 1e-15);
        EXPECT_NEAR(q.w, expected.w, 1e-15);
    };
    expectNear(attitudeFromAngles(10, 0, 0), {0, 0, -kSine, kCosine});
    expectNear(attitudeFromAngles(0, 10, 0), {kSine, 0, 0, kCosine});
    expectNear(attitudeFromAngles(0, 0, 10), {0, kSine, 0, kCosine});
}

}  // namespace
}  // namespace velmaro
