#include <gtest/gtest.h>

#include <cstdlib>

#include "backends/hid/HeadTrackerAxes.h"
#include "backends/hid/HidrawSystem.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

TEST(HeadTrackerAxes, ParseAndApply) {
    EXPECT_EQ(HeadTrackerAxes::parse("xyz"), HeadTrackerAxes{});
    const auto axes = HeadTrackerAxes::parse("+x-zy");
    ASSERT_TRUE(axes);
    EXPECT_EQ(axes->apply({1, 2, 3}), (RotationVector{1, -3, 2}));
    for (const char* const wrong : {"", "xy", "xyy", "xyzx", "xyw", "--xyz", "xy-", "XYZ"}) {
        EXPECT_FALSE(HeadTrackerAxes::parse(wrong)) << wrong;
    }
}

TEST(HeadTrackerAxes, TheEnvironmentComesFirst) {
    ::unsetenv("VELMARO_HEAD_TRACKER_AXES");
    fakes::CapturedDiagnostics diagnostics;
    EXPECT_EQ(headTrackerAxes(1, 2, diagnostics), HeadTrackerAxes{});
    ::setenv("VELMARO_HEAD_TRACKER_AXES", "-x-yz", 1);
    EXPECT_EQ(headTrackerAxes(1, 2, diagnostics).sign, (std::array<double, 3>{-1, -1, 1}));
    ::setenv("VELMARO_HEAD_TRACKER_AXES", "left", 1);
    EXPECT_TRUE(diagnostics.all().empty());
    EXPECT_EQ(headTrackerAxes(1, 2, diagnostics), HeadTrackerAxes{});
    ASSERT_EQ(diagnostics.lines().size(), 1U);
    EXPECT_NE(diagnostics.lines()[0].find("VELMARO_HEAD_TRACKER_AXES is ignored: give x"),
              std::string::npos);
    ::unsetenv("VELMARO_HEAD_TRACKER_AXES");
}

TEST(HidUevent, HoldsNumbersAndName) {
    const HidIdentity identity = parseHidUevent(
        "DRIVER=hid-generic\nHID_ID=0005:0000054C:00000DF0\nHID_NAME=Head = Tracker\n"
        "HID_UNIQ=02:00:00:00:00:02\n");
    EXPECT_EQ(identity.vendor, 0x54CU);
    EXPECT_EQ(identity.product, 0xDF0U);
    EXPECT_EQ(identity.name, "Head = Tracker");
    EXPECT_EQ(parseHidUevent("HID_ID=0005").vendor, 0U);
    EXPECT_EQ(parseHidUevent("HID_ID=:x:y\n=\n\n").vendor, 0U);
    EXPECT_EQ(parseHidUevent("").name, "");
}

}  // namespace
}  // namespace velmaro
