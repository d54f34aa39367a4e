#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "backends/motion/MotionSource.h"
#include "fakes/Diagnostics.h"
#include "fakes/HeadphoneMotion.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The sources that were made, by their first options.
std::vector<std::string>& made() {
    static std::vector<std::string> names;
    return names;
}

template <char kName>
Result<std::unique_ptr<HeadphoneMotion>> make(const MotionSetup& setup) {
    made().emplace_back(1, kName);
    if (setup.value("--broken", "") == std::string(1, kName)) {
        return failure("broken");
    }
    auto headphones = std::make_unique<fakes::ScriptedHeadphoneMotion>();
    headphones->available = setup.value("--there", "") == std::string(1, kName);
    return headphones;
}

constexpr std::array kOptionsA{
    SourceOption{.name = "--a", .valueName = "X", .description = ""},
    SourceOption{.name = "--a-too", .valueName = "X", .description = "", .needs = "--a"},
};
constexpr std::array kOptionsB{SourceOption{.name = "--b", .valueName = "X", .description = ""}};

const MotionSource kAlways{.options = {}, .findsItself = true, .make = make<'f'>};
const MotionSource kOptional{.options = kOptionsA, .findsItself = true, .make = make<'a'>};
const MotionSource kAsked{.options = kOptionsB, .make = make<'b'>};
const std::array<const MotionSource*, 3> kSources{&kAlways, &kOptional, &kAsked};

class MotionSourceTable : public testing::Test {
protected:
    void SetUp() override { made().clear(); }
    Result<std::unique_ptr<HeadphoneMotion>> makeFor(const SourceValues& values) {
        return makeHeadphoneMotion(kSources, {.values = values, .diagnostics = diagnostics});
    }
    fakes::CapturedDiagnostics diagnostics;
};

TEST_F(MotionSourceTable, HasTheOptionsOfAllInTheirOrder) {
    const auto options = optionsOf(kSources);
    ASSERT_EQ(options.size(), 3U);
    EXPECT_STREQ(options[0].name, "--a");
    EXPECT_STREQ(options[1].name, "--a-too");
    EXPECT_STREQ(options[2].name, "--b");
}

TEST_F(MotionSourceTable, UsesThoseThatFindThemselvesWhereNoneIsAskedFor) {
    const auto headphones = makeFor({{"--there", "a"}});
    EXPECT_THAT(made(), ElementsAre("f", "a"));
    ASSERT_TRUE(headphones.has_value());
    EXPECT_TRUE((*headphones)->isDeviceMotionAvailable());
}

TEST_F(MotionSourceTable, UsesOnlyWhatIsAskedFor) {
    EXPECT_TRUE(makeFor({{"--b", "1"}}).has_value());
    EXPECT_THAT(made(), ElementsAre("b"));
    made().clear();
    EXPECT_TRUE(makeFor({{"--a", "1"}, {"--b", "1"}}).has_value());
    EXPECT_THAT(made(), ElementsAre("a", "b"));
    made().clear();
    EXPECT_TRUE(makeFor({{"--a-too", "1"}}).has_value());
    EXPECT_THAT(made(), ElementsAre("f", "a")) << "only the first option asks for a source";
}

TEST_F(MotionSourceTable, GivesWhatCannotBeHad) {
    const auto headphones = makeFor({{"--a", "1"}, {"--broken", "a"}});
    ASSERT_FALSE(headphones.has_value());
    EXPECT_EQ(headphones.error().description, "broken");
}

TEST_F(MotionSourceTable, NoSourceIsNoHeadphones) {
    const auto headphones = makeHeadphoneMotion({}, {.values = {}, .diagnostics = diagnostics});
    ASSERT_TRUE(headphones.has_value());
    EXPECT_FALSE((*headphones)->isDeviceMotionAvailable());
    EXPECT_THAT(made(), IsEmpty());
}

}  // namespace
}  // namespace velmaro
