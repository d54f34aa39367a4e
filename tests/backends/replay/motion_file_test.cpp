#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

#include "backends/replay/MotionFile.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string kAngles = "# velmaro motion 1\ntime yaw pitch roll\n";
const std::string kQuaternions = "# velmaro motion 1\ntime x y z w\n";

MotionTrack track(const std::string& text) {
    auto result = parseMotionFile(text);
    if (!result) {
        ADD_FAILURE() << result.error().line << ": " << result.error().message << "\nin\n" << text;
        return {};
    }
    return std::move(*result);
}

/// The line and the message of the mistake in `text`.
std::string mistake(std::string_view text) {
    const auto result = parseMotionFile(text);
    return result ? "none" : std::to_string(result.error().line) + ": " + result.error().message;
}

TEST(MotionFile, ReadsQuaternionsToTheBit) {
    const MotionTrack samples =
        track(kQuaternions + "0.5 0.1 -0.2 0.3 0.9273618495495704\n1.25e0 0 0 -0 1\n");
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[0].time, 0.5);
    EXPECT_EQ(samples[0].attitude, (CMQuaternion{0.1, -0.2, 0.3, 0.9273618495495704}));
    EXPECT_EQ(samples[1].time, 1.25);
    EXPECT_TRUE(std::signbit(samples[1].attitude.z));
}

TEST(MotionFile, TurnsAnglesIntoAttitudes) {
    const MotionTrack samples = track(kAngles + "0 90 0 0\n1 0 90 0\n2 0 0 90\n3 -360 360 0\n");
    ASSERT_EQ(samples.size(), 4U);
    const double half = std::sqrt(0.5);
    const auto near = [](const CMQuaternion& a, const CMQuaternion& b) {
        return std::abs(a.x - b.x) + std::abs(a.y - b.y) + std::abs(a.z - b.z) +
                   std::abs(a.w - b.w) <
               1e-15;
    };
    EXPECT_TRUE(near(samples[0].attitude, {0, 0, -half, half}));
    EXPECT_TRUE(near(samples[1].attitude, {half, 0, 0, half}));
    EXPECT_TRUE(near(samples[2].attitude, {0, half, 0, half}));
}

TEST(MotionFile, PassesOverCommentsBlanksAndForeignLineEnds) {
    const MotionTrack samples = track(
        "\xEF\xBB\xBF# velmaro motion 1 \r\n\r\n# by hand\r\n  time\tyaw,pitch, roll \r\n"
        "\t\r\n-1,+10,+.5,-2.5\r\n  # half way\r\n#\r\n0 0 0 0");
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[0].time, -1);
    EXPECT_EQ(samples[1].time, 0);
}

TEST(MotionFile, KnowsItsOwnByTheFirstLine) {
    for (const char* text : {"", "\n", "time x y z w\n0 0 0 0 1\n", "# velmaro motion 2\n",
                             "# velmaro motion 10\n", "#velmaro motion 1\n",
                             "\x7F"
                             "ELF"}) {
        EXPECT_THAT(mistake(text), StartsWith("1: not a motion file")) << text;
    }
    EXPECT_THAT(mistake(std::string_view("\0\0\0", 3)), StartsWith("1: not a motion file"));
}

TEST(MotionFile, NamesTheLineOfEveryMistake) {
    const std::string begin = "# velmaro motion 1\n";
    EXPECT_THAT(mistake(begin + "\n0 0 0 0 1\n"), StartsWith("3: the columns"));
    EXPECT_THAT(mistake(begin + "time x y z\n"), StartsWith("2: the columns"));
    EXPECT_THAT(mistake(begin + "time w x y z\n"), StartsWith("2: the columns"));
    EXPECT_THAT(mistake(begin + "time x y z w v\n"), StartsWith("2: the columns"));
    EXPECT_THAT(mistake(begin), HasSubstr("ends before the first sample"));
    EXPECT_THAT(mistake(kAngles), HasSubstr("ends before the first sample"));
    EXPECT_THAT(mistake(kAngles + "# nothing\n"), HasSubstr("ends before the first sample"));

    EXPECT_EQ(mistake(kAngles + "0 0 0\n"), "3: expected 4 numbers, found 3");
    EXPECT_EQ(mistake(kAngles + "0 0 0 0\n1 0 0 0 0\n"), "4: expected 4 numbers, found 5");
    EXPECT_EQ(mistake(kQuaternions + "0 0 0 0\n"), "3: expected 5 numbers, found 4");
    EXPECT_EQ(mistake(kQuaternions + "0 0 0 0 1 1\n"), "3: expected 5 numbers, found more");
    EXPECT_EQ(mistake(kQuaternions + std::string(100'000, '1') + "\n"),
              "3: expected 5 numbers, found 1");
    std::string many;
    for (int i = 0; i < 100'000; ++i) {
        many += "1 ";
    }
    EXPECT_EQ(mistake(kQuaternions + many), "3: expected 5 numbers, found more");
}

TEST(MotionFile, RefusesWhatIsNotANumber) {
    for (const char* field : {"a", "nan", "inf", "-inf", "1e999", "1.0x", "0x10", "++1", "+-1", "+",
                              "1;5", "--1", "1e"}) {
        EXPECT_EQ(mistake(kAngles + "0 0 0 0\n\n1 0 " + field + " 0\n"),
                  std::string("5: pitch is not a number: \"") + field + "\"");
    }
    EXPECT_EQ(mistake(kAngles + "0 0 0 \x1B[31m\xFF\n"), "3: roll is not a number: \"?[31m?\"");
    EXPECT_EQ(mistake(kAngles + std::string(30, 'a') + " 0 0 0\n"),
              "3: time is not a number: \"" + std::string(20, 'a') + "...\"");
}

TEST(MotionFile, RefusesTimesThatCannotBePlayed) {
    EXPECT_THAT(mistake(kAngles + "0 0 0 0\n0 0 0 0\n"), StartsWith("4: time must increase"));
    EXPECT_THAT(mistake(kAngles + "1 0 0 0\n0.5 0 0 0\n"), StartsWith("4: time must increase"));
    EXPECT_EQ(mistake(kAngles + "1e10 0 0 0\n"), "3: time is out of range: \"1e10\"");
    EXPECT_EQ(mistake(kAngles + "-1e300 0 0 0\n"), "3: time is out of range: \"-1e300\"");
}

TEST(MotionFile, RefusesWhatIsNotARotation) {
    for (const char* q : {"0 0 0 0", "0 0 0 2", "0.5 0.5 0.5 0.1", "1e200 0 0 0", "0 0 0 0.9"}) {
        EXPECT_THAT(mistake(kQuaternions + "0 " + q), StartsWith("3: x y z w is not a rotation"))
            << q;
    }
    EXPECT_THAT(mistake(kAngles + "0 361 0 0"), StartsWith("3: yaw is out of range"));
    EXPECT_THAT(mistake(kAngles + "0 0 -400 0"), StartsWith("3: pitch is out of range"));
    EXPECT_THAT(mistake(kAngles + "0 0 0 1e6"), StartsWith("3: roll is out of range"));
}

TEST(MotionFile, WritesLinesThatReadBack) {
    const CMQuaternion q{0.1, -0.2, 1.0 / 3, 0.9159457650383653};
    const std::string line = motionFileLine({12.3456789, q});
    EXPECT_EQ(line, "12.345679 0.1 -0.2 0.3333333333333333 0.9159457650383653\n");
    const MotionTrack samples = track(std::string(motionFileBeginning()) + line);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0].attitude, q);

    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const CMQuaternion& odd :
         {CMQuaternion{0, 0, 0, 2}, CMQuaternion{nan, 0, 0, 1}, CMQuaternion{0, 0, 0, 0}}) {
        EXPECT_EQ(motionFileLine({1, odd}), "# 1.000000 left out: not a rotation\n");
    }
}

class MotionFileOnDisk : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (std::filesystem::temp_directory_path() / "velmaro-XXXXXX").string();
        ASSERT_NE(::mkdtemp(name.data()), nullptr);
        folder = name;
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    static std::string refusal(const std::filesystem::path& path) {
        const auto result = readMotionFile(path);
        return result ? "none" : result.error().description;
    }

    std::filesystem::path folder;
};

TEST_F(MotionFileOnDisk, IsRead) {
    std::ofstream(folder / "a.txt") << kAngles << "0 0 0 0\n1 2 3 4\n";
    const auto result = readMotionFile(folder / "a.txt");
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->size(), 2U);
}

TEST_F(MotionFileOnDisk, ThatCannotBeReadIsNamedWithTheReason) {
    EXPECT_EQ(refusal(folder / "none"), (folder / "none").string() + ": No such file or directory");
    EXPECT_THAT(refusal(folder), HasSubstr("this is a folder"));
    std::ofstream(folder / "bad") << kAngles << "0 0 0\n";
    EXPECT_EQ(refusal(folder / "bad"),
              (folder / "bad").string() + ":3: expected 4 numbers, found 3");
    EXPECT_THAT(refusal("/dev/zero"), HasSubstr("64 MiB"));
}

}  // namespace
}  // namespace velmaro
