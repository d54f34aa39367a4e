// The table of sources, with one more in it than the programs have.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/CommandLine.h"
#include "app/ContentViewFixture.h"
#include "backends/motion/MotionSource.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

using testing::HasSubstr;

/// Of all options those that are `known`, in the order in which the sources bring them.
std::vector<std::string> optionNamesAmong(const std::vector<std::string>& known) {
    std::vector<std::string> names;
    for (const SourceOption& option : optionsOf(motionSources())) {
        if (std::ranges::find(known, option.name) != known.end()) {
            names.emplace_back(option.name);
        }
    }
    return names;
}

class Sources : public ContentViewTest {
protected:
    /// What the command line gives for the sources.
    static SourceValues parse(std::vector<const char*> arguments) {
        const std::vector<SourceOption> options = optionsOf(motionSources());
        arguments.insert(arguments.begin(), "velmaro-cli");
        const auto parsed = parseCommandLine(Program::terminal, options,
                                             static_cast<int>(arguments.size()), arguments.data());
        EXPECT_TRUE(parsed.has_value());
        return parsed ? parsed->sourceValues : SourceValues();
    }
    Result<std::unique_ptr<HeadphoneMotion>> make(const SourceValues& values) {
        return makeHeadphoneMotion(motionSources(), {.values = values, .diagnostics = diagnostics});
    }

    fakes::CapturedDiagnostics diagnostics;
};

TEST_F(Sources, EachBringsItsOptionsInTheOrderOfTheList) {
    // A further source in the list is none of this test's business.
    const std::vector<std::string> expected{"--airpods-address", "--motion-udp",
                                            "--motion-udp-bind", "--motion-file", "--sample-turn"};
    EXPECT_EQ(optionNamesAmong(expected), expected);
}

TEST_F(Sources, ANewOneGoesAllTheWayFromTheCommandLineToOSC) {
    auto source = make(parse({"--sample-turn", "25"}));
    ASSERT_TRUE(source.has_value()) << source.error().description;
    view = ContentView::create(
        Platform{dispatch, center, capture, faces, **source, network, defaults, clock, log});
    view->appear();
    runEverything();
    clock.time += 1;
    view->toggleTracking();
    runEverything();
    ASSERT_EQ(sentValues().size(), 1U);
    EXPECT_THAT(sentValues()[0],
                testing::Pointwise(testing::FloatNear(1e-4F), {25.0F, 0.0F, 0.0F}));
    view->toggleTracking();
    view.reset();
}

TEST_F(Sources, TheHelpDescribesANewOne) {
    testing::internal::CaptureStdout();
    const std::vector<SourceOption> options = optionsOf(motionSources());
    const std::vector<const char*> arguments{"velmaro-cli", "--help"};
    const auto parsed = parseCommandLine(Program::terminal, options, 2, arguments.data());
    const std::string help = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(parsed.has_value());
    EXPECT_THAT(help, HasSubstr("--sample-turn DEGREES"));
    EXPECT_THAT(help, HasSubstr("Be connected headphones that are turned to the right"));
}

TEST_F(Sources, WhyOneCannotBeHadIsGiven) {
    const auto source = make(parse({"--sample-turn", "200"}));
    ASSERT_FALSE(source.has_value());
    EXPECT_EQ(source.error().description, "no head turns that far");
}

}  // namespace
}  // namespace velmaro
