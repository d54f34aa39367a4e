#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "app/CommandLine.h"

namespace velmaro {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

std::string requireColour(const std::string& text) {
    return text == "red" || text == "green" ? "" : "'" + text + "' is no colour: give red or green";
}

/// What sources may bring along.
constexpr std::array kSourceOptions{
    SourceOption{.name = "--sample",
                 .valueName = "FILE",
                 .description = "Play a sample",
                 .standsAlone = true},
    SourceOption{.name = "--sample-pace",
                 .valueName = "PACE",
                 .description = "At this pace",
                 .needs = "--sample"},
    SourceOption{.name = "--colour",
                 .valueName = "COLOUR",
                 .description = "Listen for this colour",
                 .check = requireColour},
    SourceOption{.name = "--shade",
                 .valueName = "SHADE",
                 .description = "In this shade",
                 .defaultValue = "bright",
                 .needs = "--colour"},
};

tl::expected<Options, ExitStatus> parse(std::vector<const char*> arguments,
                                        Program program = Program::terminal) {
    arguments.insert(arguments.begin(), "velmaro-cli");
    return parseCommandLine(program, kSourceOptions, static_cast<int>(arguments.size()),
                            arguments.data());
}

Options parsed(const std::vector<const char*>& arguments) {
    const auto result = parse(arguments);
    EXPECT_TRUE(result.has_value());
    return result.value_or(Options{});
}

/// What a wrong command line prints, after checking that it is one line and ends with status 2.
std::string complaint(const std::vector<const char*>& arguments) {
    CaptureStderr();
    CaptureStdout();
    const auto result = parse(arguments);
    EXPECT_EQ(GetCapturedStdout(), "");
    std::string text = GetCapturedStderr();
    EXPECT_FALSE(result.has_value()) << text;
    EXPECT_EQ(result.has_value() ? ExitStatus::success : result.error(), ExitStatus::wrongUsage);
    EXPECT_TRUE(text.starts_with("velmaro-cli: ")) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    return text;
}

TEST(CommandLine, HasTheDefaultsOfTheSender) {
    const Options options = parsed({});
    EXPECT_EQ(options.ipAddress, "127.0.0.1");
    EXPECT_EQ(options.port, "8000");
    EXPECT_EQ(options.oscMessage, "/ypr");
    EXPECT_EQ(options.frameRate, 30);
    EXPECT_TRUE(options.tiltEnabled);
    EXPECT_FALSE(options.quaternionOutput);
    EXPECT_FALSE(options.input);
    EXPECT_FALSE(options.duration);
    EXPECT_FALSE(options.once);
    EXPECT_FALSE(options.demo);
    EXPECT_FALSE(options.listInputs);
    EXPECT_FALSE(options.statistics);
    EXPECT_TRUE(options.sourceValues.empty());
    EXPECT_FALSE(options.recordMotion);
}

TEST(CommandLine, NumbersAreDecimalWhateverTheirZeros) {
    EXPECT_EQ(parsed({"--rate", "030"}).frameRate, 30);
    EXPECT_EQ(parsed({"--rate", "08"}).frameRate, 8);
}

TEST(CommandLine, ReadsEveryOption) {
    const Options options = parsed({"--input",       "camera_x", "--camera-file", "a.mp4",
                                    "--camera-file", "b.png",    "--once",        "--record-motion",
                                    "m.txt",         "--demo",   "--ip",          "::1",
                                    "--port",        "9000",     "--osc",         "/a/b",
                                    "--rate",        "60",       "--no-tilt",     "--quaternion",
                                    "--duration",    "1.5",      "--stats",       "--start",
                                    "--list-inputs"});
    EXPECT_EQ(options.input, "camera_x");
    EXPECT_THAT(options.cameraFiles, ElementsAre("a.mp4", "b.png"));
    EXPECT_TRUE(options.once);
    EXPECT_EQ(options.recordMotion, "m.txt");
    EXPECT_TRUE(options.demo);
    EXPECT_EQ(options.ipAddress, "::1");
    EXPECT_EQ(options.port, "9000");
    EXPECT_EQ(options.oscMessage, "/a/b");
    EXPECT_EQ(options.frameRate, 60);
    EXPECT_FALSE(options.tiltEnabled);
    EXPECT_TRUE(options.quaternionOutput);
    EXPECT_EQ(options.duration, 1.5);
    EXPECT_TRUE(options.statistics);
    EXPECT_TRUE(options.start);
    EXPECT_TRUE(options.listInputs);
}

TEST(CommandLine, ReadsHowTheCameraHangs) {
    EXPECT_EQ(parsed({}).cameraOrientation, CameraOrientation());
    EXPECT_EQ(parsed({"--rotate", "90"}).cameraOrientation, (CameraOrientation{90, false}));
    EXPECT_EQ(parsed({"--rotate", "180"}).cameraOrientation, (CameraOrientation{180, false}));
    EXPECT_EQ(parsed({"--mirror"}).cameraOrientation, (CameraOrientation{0, true}));
    EXPECT_EQ(parsed({"--mirror", "--rotate=270"}).cameraOrientation,
              (CameraOrientation{270, true}));
    for (const char* const wrong : {"0", "45", "-90", "360", "90.5", "90x", "left", ""}) {
        EXPECT_THAT(complaint({"--rotate", wrong}),
                    AllOf(HasSubstr("--rotate"), HasSubstr("give 90, 180 or 270")))
            << wrong;
    }
    EXPECT_THAT(complaint({"--rotate"}), HasSubstr("--rotate"));
}

TEST(CommandLine, ReadsTheOptionsThatSourcesBring) {
    const Options options = parsed({"--colour", "red", "--shade=dark"});
    EXPECT_EQ(options.sourceValues, (SourceValues{{"--colour", "red"}, {"--shade", "dark"}}));
    // The default is for the help; the source has its own.
    EXPECT_EQ(parsed({"--colour", "red"}).sourceValues, (SourceValues{{"--colour", "red"}}));
    EXPECT_THAT(complaint({"--colour", "blue"}), HasSubstr("'blue' is no colour"));
    EXPECT_THAT(complaint({"--shade", "dark"}), HasSubstr("--colour"));
    EXPECT_THAT(complaint({"--colour", "red", "--shade", "dark", "--sample", "f"}),
                HasSubstr("--sample"));
    EXPECT_THAT(complaint({"--sample", "f", "--colour", "red"}), HasSubstr("--sample"));
    EXPECT_EQ(parsed({"--sample", "f", "--sample-pace", "2"}).sourceValues,
              (SourceValues{{"--sample", "f"}, {"--sample-pace", "2"}}));
    EXPECT_THAT(complaint({"--sample"}), HasSubstr("--sample"));
}

TEST(CommandLine, KeepsThePortAsItWasWritten) {
    EXPECT_EQ(parsed({"--port=+8000"}).port, "+8000");
    EXPECT_EQ(parsed({"--port=08000"}).port, "08000");
    EXPECT_EQ(parsed({"--port=-0"}).port, "-0");
}

TEST(CommandLine, SaysWhatIsWrongInOneLine) {
    EXPECT_THAT(complaint({"--port", "80a0"}), AllOf(HasSubstr("80a0"), HasSubstr("65535")));
    EXPECT_THAT(complaint({"--port", "65536"}), HasSubstr("65536"));
    EXPECT_THAT(complaint({"--osc", "/é"}), HasSubstr("ASCII"));
    EXPECT_THAT(complaint({"--rate", "0"}), HasSubstr("1 or more"));
    EXPECT_THAT(complaint({"--rate", "fast"}), HasSubstr("fast"));
    EXPECT_THAT(complaint({"--duration", "0"}), HasSubstr("seconds"));
    EXPECT_THAT(complaint({"--duration", "nan"}), HasSubstr("seconds"));
    EXPECT_THAT(complaint({"--ip", ""}), HasSubstr("address"));
    EXPECT_THAT(complaint({"--nonsense"}), HasSubstr("--nonsense"));
    EXPECT_THAT(complaint({"stray"}), HasSubstr("stray"));
    EXPECT_THAT(complaint({"--port"}), HasSubstr("--port"));
    EXPECT_THAT(complaint({"--camera-file"}), HasSubstr("--camera-file"));
    EXPECT_THAT(complaint({"--camera-file", "a", "b"}), HasSubstr("b"));
}

TEST(CommandLine, HelpAndVersionGoToStandardOutput) {
    CaptureStdout();
    auto result = parse({"--version"});
    EXPECT_THAT(GetCapturedStdout(),
                testing::MatchesRegex("velmaro-cli [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), ExitStatus::success);

    CaptureStdout();
    result = parse({"--help"});
    const std::string help = GetCapturedStdout();
    for (const char* const option :
         {"--list-inputs", "--input",   "--camera-file",   "--once",       "--sample", "--colour",
          "--shade",       "bright",    "--record-motion", "--demo",       "--ip",     "--port",
          "--osc",         "--rate",    "--no-tilt",       "--quaternion", "--start",  "--duration",
          "--stats",       "--version", "--help",          "SIGUSR1"}) {
        EXPECT_THAT(help, HasSubstr(option));
    }
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), ExitStatus::success);
}

TEST(CommandLine, DurationAndStatisticsAreForTheTerminalOnly) {
    CaptureStderr();
    const auto result = parse({"--duration", "1"}, Program::window);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("velmaro: "));
    EXPECT_FALSE(result.has_value());
}

}  // namespace
}  // namespace velmaro
