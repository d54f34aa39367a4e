// What a person chose to keep, and what is taken away, by the real program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// One sample of the headphones, after which the program ends by itself.
constexpr const char* kGlance = "# velmaro motion 1\ntime yaw pitch roll\n0.0 10 0 0\n0.1 10 0 0\n";
/// A rest pose that adds 90 degrees to every pan.
constexpr const char* kPose =
    R"({"calibrationW":1,"calibrationX":0,"calibrationY":0,"calibrationZ":0,)"
    R"("idleW":0.7071067811865476,"idleX":0,"idleY":0,"idleZ":-0.7071067811865476})";

std::string content(const fs::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class ProgramSettings : public testing::Test {
protected:
    ProgramSettings() { fs::create_directory(home.path() / "velmaro"); }

    /// Plays the glance, with what is kept in this test's folder.
    [[nodiscard]] Finished glance(std::vector<std::string> more) const {
        more.insert(more.begin(), {"--motion-file", home.write("glance.txt", kGlance), "--once"});
        return runProgram(more, {{"XDG_CONFIG_HOME", home.path()}});
    }

    TemporaryFolder home;
    const fs::path file = home.path() / "velmaro" / "velmaro.toml";
    const fs::path pose = home.path() / "velmaro" / "headphoneCalibration";
};

TEST_F(ProgramSettings, WhatIsKeptCountsUntilTheCommandLineSaysElse) {
    Receiver kept;
    Receiver given;
    fs::remove(file.parent_path());
    const Finished saved = glance({"--port", kept.port(), "--osc", "/kept", "--save"});
    EXPECT_EQ(saved.status, 0) << saved.errors;
    EXPECT_THAT(saved.errors, HasSubstr("the settings are kept in " + file.string() + "\n"));
    EXPECT_THAT(content(file), AllOf(HasSubstr("\nport = " + kept.port() + "\n"),
                                     HasSubstr("\nosc = \"/kept\"\n")));
    const std::size_t before = kept.allSent().size();
    EXPECT_GT(before, 0U);

    EXPECT_EQ(glance({}).status, 0);
    ASSERT_GT(kept.allSent().size(), before);
    EXPECT_EQ(kept.allSent().back().address, "/kept");

    EXPECT_EQ(glance({"--port", given.port()}).status, 0);
    ASSERT_GT(given.allSent().size(), 0U);
    EXPECT_EQ(given.allSent().back().address, "/kept");
    const std::size_t fromKept = kept.allSent().size();
    EXPECT_EQ(glance({"--port", given.port(), "--no-config"}).status, 0);
    EXPECT_EQ(given.allSent().back().address, "/ypr");
    EXPECT_EQ(kept.allSent().size(), fromKept);
}

TEST_F(ProgramSettings, HowACameraHangsIsNotKept) {
    EXPECT_EQ(glance({"--rotate", "180", "--mirror", "--rate", "50", "--save"}).status, 0);
    EXPECT_THAT(content(file), AllOf(HasSubstr("\nrate = 50\n"), Not(HasSubstr("rotate")),
                                     Not(HasSubstr("mirror"))));
    for (const char* const line : {"rotate = 180", "mirror = true"}) {
        std::ofstream(file, std::ios::trunc) << line << '\n';
        EXPECT_EQ(glance({}).status, 2) << line;
    }
}

TEST_F(ProgramSettings, ALinkToTheFileStaysOne) {
    const std::string target = home.write("dotfile", "port = 9000\n");
    fs::create_symlink("../dotfile", file);
    EXPECT_EQ(glance({"--rate", "50", "--save"}).status, 0);
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_THAT(content(target), AllOf(HasSubstr("port = 9000\n"), HasSubstr("rate = 50\n")));
}

TEST_F(ProgramSettings, ABadFileIsOneLineAndTwo) {
    std::ofstream(file) << "port = 99999\n";
    const Finished run = glance({});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "velmaro-cli: " + file.string() +
                              ": port: '99999' is no port: give a number from 0 to 65535 (mend it, "
                              "or leave it out with --no-config)\n");
    EXPECT_EQ(glance({"--no-config", "--port", "9", "--save"}).status, 0);
    EXPECT_THAT(content(file), HasSubstr("port = 9\n"));
}

TEST_F(ProgramSettings, WhatCannotBeKeptEndsWithOne) {
    const Finished run = glance({"--config", "/proc/none/velmaro.toml", "--save"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("cannot be kept in /proc/none/velmaro.toml (No such file"));
}

TEST_F(ProgramSettings, AWindowSaysThatTheFileIsBadAndOpens) {
    if (std::string(VELMARO_WINDOW).empty()) {
        GTEST_SKIP() << "built without a window";
    }
    std::ofstream(file) << "prot = 1\n";
    Program program({"--demo", "--start"},
                    {{"XDG_CONFIG_HOME", home.path()}, {"QT_QPA_PLATFORM", "offscreen"}}, {-1, -1},
                    {.path = VELMARO_WINDOW});
    EXPECT_TRUE(program.waitForErrors("velmaro: " + file.string() + ": 'prot' is nothing that"));
    EXPECT_TRUE(program.waitForErrors(": mend it; until then the defaults hold\n"));
    EXPECT_TRUE(program.waitForOutput("🎯 Calculated"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0) << program.errors();
}

TEST_F(ProgramSettings, AStoredPoseIsForgottenBeforeItIsUsed) {
    Receiver receiver;
    std::ofstream(pose) << kPose;
    ASSERT_EQ(glance({"--port", receiver.port()}).status, 0);
    EXPECT_NEAR(receiver.allSent().back().values[0], 100, 1e-3);

    const Finished forgotten = glance({"--port", receiver.port(), "--forget-pose"});
    EXPECT_EQ(forgotten.status, 0) << forgotten.errors;
    EXPECT_THAT(forgotten.errors, HasSubstr("the stored pose of the headphones is forgotten\n"));
    EXPECT_FALSE(fs::exists(pose));
    EXPECT_NEAR(receiver.allSent().back().values[0], 10, 1e-3);
    EXPECT_THAT(glance({"--forget-pose"}).errors,
                HasSubstr("no pose of the headphones is stored\n"));
}

TEST_F(ProgramSettings, QuietLeavesOutTheLinesOfEveryFrame) {
    const Receiver receiver;
    Program program({"--demo", "--quiet", "--port", receiver.port()});
    ASSERT_TRUE(receiver.waitFor(10));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.output(),
                AllOf(StartsWith("📷 Found"), HasSubstr("✅ Session started running"),
                      HasSubstr("✅ OSC UDP connection ready\n"), Not(HasSubstr("🎯")),
                      Not(HasSubstr("📍")), Not(HasSubstr("landmarks"))));
}

TEST_F(ProgramSettings, QuietSaysOnceThatNobodyReceives) {
    // Nothing listens at port 1.
    Program program({"--demo", "--quiet", "--port", "1", "--stats"});
    ASSERT_TRUE(program.waitForOutput("OSC send error: Connection refused\n"));
    ASSERT_TRUE(program.waitForErrors("frames"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    const std::string output = program.output();
    EXPECT_EQ(output.find("OSC send error"), output.rfind("OSC send error")) << output;
}

}  // namespace
}  // namespace velmaro::integration
