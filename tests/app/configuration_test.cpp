#include "app/Configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "app/CommandLine.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

class ConfigurationTest : public testing::Test {
protected:
    ConfigurationTest() {
        std::string pattern = fs::temp_directory_path() / "velmaro.XXXXXX";
        EXPECT_NE(::mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        file = folder_ / "velmaro.toml";
    }
    ~ConfigurationTest() override { fs::remove_all(folder_); }

    void write(const std::string& text) const { std::ofstream(file, std::ios::trunc) << text; }

    [[nodiscard]] tl::expected<Options, ExitStatus> parse(
        std::vector<const char*> arguments, Program program = Program::terminal) const {
        arguments.insert(arguments.begin(), "velmaro-cli");
        return parseCommandLine(program, {}, static_cast<int>(arguments.size()), arguments.data(),
                                file);
    }

    [[nodiscard]] Options parsed(const std::vector<const char*>& arguments) const {
        const auto options = parse(arguments);
        EXPECT_TRUE(options.has_value());
        return options.value_or(Options{});
    }

    /// The one line for a file that holds `text`, after checking that it ends with status 2.
    [[nodiscard]] std::string complaint(const std::string& text) const {
        write(text);
        CaptureStderr();
        const auto options = parse({});
        std::string line = GetCapturedStderr();
        EXPECT_FALSE(options.has_value()) << text;
        EXPECT_EQ(options.has_value() ? ExitStatus::success : options.error(),
                  ExitStatus::wrongUsage);
        EXPECT_TRUE(line.starts_with("velmaro-cli: " + file.string() + ": ")) << line;
        EXPECT_TRUE(line.ends_with(" (mend it, or leave it out with --no-config)\n")) << line;
        EXPECT_EQ(std::ranges::count(line, '\n'), 1) << line;
        return line;
    }

    fs::path file;

private:
    fs::path folder_;
};

TEST_F(ConfigurationTest, WithoutTheFileAllIsAsItWas) {
    const Options options = parsed({});
    EXPECT_EQ(options.ipAddress, "127.0.0.1");
    EXPECT_EQ(options.port, "8000");
    EXPECT_EQ(options.oscMessage, "/ypr");
    EXPECT_EQ(options.frameRate, 30);
    EXPECT_FALSE(options.input);
    EXPECT_TRUE(options.tiltEnabled);
    EXPECT_FALSE(options.quiet);
    EXPECT_EQ(options.configuration, file);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(ConfigurationTest, ReadsWhatCanBeKept) {
    write(
        "# Mine\n\nip = \"10.0.0.1\"\nport = 9000\nosc = '/head/ypr'\nrate = 60\n"
        "receiver = \"sparta\"\nflip = [\"pan\", \"roll\"]\n"
        "also = [\"[::1]:9001\", \"10.0.0.2:9002/a\"]\ninput = \"camera_usb 1\"\n"
        "no-tilt = true\nquiet = true\n");
    const Options options = parsed({});
    EXPECT_EQ(options.ipAddress, "10.0.0.1");
    EXPECT_EQ(options.port, "9000");
    EXPECT_EQ(options.oscMessage, "/head/ypr");
    EXPECT_EQ(options.frameRate, 60);
    EXPECT_EQ(options.receiver, "sparta");
    EXPECT_EQ(options.flip, "pan,roll");
    EXPECT_THAT(options.output.further,
                ElementsAre(Destination{"::1", 9001, ""}, Destination{"10.0.0.2", 9002, "/a"}));
    EXPECT_EQ(options.input, "camera_usb 1");
    EXPECT_TRUE(options.isInputKept);
    EXPECT_FALSE(options.tiltEnabled);
    EXPECT_TRUE(options.quiet);
}

TEST_F(ConfigurationTest, AReceiverBringsItsOwn) {
    write("receiver = \"sparta\"\n");
    const Options named = parsed({"--receiver", "sparta", "--no-config"});
    const Options kept = parsed({});
    EXPECT_EQ(kept.port, named.port);
    EXPECT_EQ(kept.oscMessage, named.oscMessage);
    EXPECT_EQ(kept.output.conversion, named.output.conversion);
    EXPECT_NE(kept.port, "8000");
}

TEST_F(ConfigurationTest, TheCommandLineWins) {
    write("port = 9000\nip = \"10.0.0.1\"\nalso = \"10.0.0.2:1\"\nno-tilt = true\nquiet = true\n");
    const Options options = parsed({"--port", "9100", "--also", "10.0.0.3:2", "--no-tilt=false"});
    EXPECT_EQ(options.port, "9100");
    EXPECT_EQ(options.ipAddress, "10.0.0.1");
    EXPECT_THAT(options.output.further, ElementsAre(Destination{"10.0.0.3", 2, ""}));
    EXPECT_TRUE(options.tiltEnabled);
    EXPECT_TRUE(options.quiet);
}

TEST_F(ConfigurationTest, WhatTheCommandLineRulesOutIsLeftOut) {
    write(
        "receiver = \"sparta\"\nflip = \"pan\"\nport = 9000\nosc = \"/a\"\ninput = \"airpods\"\n");
    EXPECT_TRUE(parsed({"--quaternion"}).quaternionOutput);
    EXPECT_EQ(parsed({"--quaternion"}).receiver, "");
    EXPECT_TRUE(parsed({"--radians"}).output.conversion.radians);
    const Options other = parsed({"--receiver", "adm-osc"});
    EXPECT_EQ(other.port, parsed({"--receiver", "adm-osc", "--no-config"}).port);
    EXPECT_EQ(other.oscMessage, parsed({"--receiver", "adm-osc", "--no-config"}).oscMessage);
    EXPECT_EQ(other.flip, "pan");
    EXPECT_EQ(parsed({}).input, "airpods");
    EXPECT_FALSE(parsed({"--demo"}).input);
    EXPECT_FALSE(parsed({"--camera-file", "a.webm"}).input);
    EXPECT_EQ(parsed({"--input", "camera_x"}).input, "camera_x");
    EXPECT_FALSE(parsed({"--input", "camera_x"}).isInputKept);
}

TEST_F(ConfigurationTest, AnotherFileOrNone) {
    write("port = 9000\n");
    const fs::path other = file.parent_path() / "other.toml";
    std::ofstream(other) << "port = 9001\n";
    const std::string name = other;
    EXPECT_EQ(parsed({"--config", name.c_str()}).port, "9001");
    EXPECT_EQ(parsed({"--config", name.c_str()}).configuration, other);
    EXPECT_EQ(parsed({"--no-config"}).port, "8000");
    EXPECT_EQ(parsed({"--no-config"}).configuration, file);
    CaptureStderr();
    EXPECT_FALSE(parse({"--no-config", "--config", name.c_str()}).has_value());
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("--no-config"));
    CaptureStderr();
    EXPECT_FALSE(parse({"--config", "no/such.toml"}).has_value());
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("no/such.toml: there is no such file"));
}

TEST_F(ConfigurationTest, SaysWhatIsWrong) {
    EXPECT_THAT(complaint("port = 99999\n"),
                AllOf(HasSubstr("port: '99999' is no port"), HasSubstr("65535")));
    EXPECT_THAT(complaint("rate = fast\n"), HasSubstr("rate: 'fast'"));
    EXPECT_THAT(complaint("prot = 1\n"), AllOf(HasSubstr("'prot'"), HasSubstr("ip, port, osc")));
    EXPECT_THAT(complaint("port 9000\n"), HasSubstr("'port 9000'"));
    EXPECT_THAT(complaint("[sender]\nport = 9000\n"), HasSubstr("sender"));
    EXPECT_THAT(complaint("demo = true\n"), HasSubstr("'demo'"));
    EXPECT_THAT(complaint("start = true\n"), HasSubstr("'start'"));
    EXPECT_THAT(complaint("quaternion = true\n"), HasSubstr("'quaternion'"));
    EXPECT_THAT(complaint("receiver = \"list\"\n"), HasSubstr("receiver: 'list'"));
    EXPECT_THAT(complaint("receiver = \"nobody\"\n"), HasSubstr("receiver: 'nobody'"));
    EXPECT_THAT(complaint("ip = [\"a\", \"b\"]\n"), HasSubstr("ip takes one value"));
    EXPECT_THAT(complaint("ip = \"\"\n"), HasSubstr("ip: the address is empty"));
    EXPECT_THAT(complaint("no-tilt = maybe\n"), HasSubstr("no-tilt: 'maybe'"));
    EXPECT_THAT(complaint("port = 1\nip = \"a\"\nport = 2\n"),
                HasSubstr("port stands there twice"));
    EXPECT_THAT(complaint("also = [\"10.0.0.1\"]\n"), HasSubstr("also: '10.0.0.1'"));
    fs::remove(file);
    fs::create_directory(file);
    CaptureStderr();
    EXPECT_FALSE(parse({}).has_value());
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("this is no file of settings"));
}

TEST_F(ConfigurationTest, ABadFileStandsInNobodysWay) {
    write("port = 99999\n");
    EXPECT_EQ(parsed({"--no-config"}).port, "8000");
    EXPECT_TRUE(parsed({"--list-inputs"}).listInputs);
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse({"--help"}).error(), ExitStatus::success);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("--no-config"));
    CaptureStderr();
    const auto window = parse({"--rate", "60"}, Program::window);
    EXPECT_EQ(GetCapturedStderr(), "");
    ASSERT_TRUE(window.has_value());
    EXPECT_EQ(window->port, "8000");
    EXPECT_EQ(window->frameRate, 60);
    EXPECT_THAT(window->configurationError.value_or(""),
                AllOf(HasSubstr(file.string()), HasSubstr("port: '99999'")));
}

TEST_F(ConfigurationTest, WhatIsWrittenIsReadAgain) {
    const Options options = parsed({"--ip",       "::1",
                                    "--port",     "+9000",
                                    "--osc",      "/a,b",
                                    "--rate",     "12",
                                    "--receiver", "iem",
                                    "--flip",     "tilt,pan",
                                    "--also",     "[fe80::1%lo]:1/x",
                                    "--also",     "a.b:2",
                                    "--input",    "camera_\"x\" 1",
                                    "--no-tilt",  "--quiet"});
    const auto text = configurationText(options);
    ASSERT_TRUE(text.has_value()) << text.error().description;
    write(*text);
    const Options again = parsed({});
    EXPECT_EQ(again.ipAddress, "::1");
    EXPECT_EQ(again.port, "+9000");
    EXPECT_EQ(again.oscMessage, "/a,b");
    EXPECT_EQ(again.frameRate, 12);
    EXPECT_EQ(again.receiver, "iem");
    EXPECT_EQ(again.flip, "tilt,pan");
    EXPECT_EQ(again.output.further, options.output.further);
    EXPECT_EQ(again.output.conversion, options.output.conversion);
    EXPECT_EQ(again.input, "camera_\"x\" 1");
    EXPECT_FALSE(again.tiltEnabled);
    EXPECT_TRUE(again.quiet);
}

TEST_F(ConfigurationTest, WritesNoMoreThanWasChosen) {
    const auto lines = [](const Options& options) {
        const std::string text = configurationText(options).value_or("?");
        return text.substr(text.find("See velmaro-cli(1).\n") + 20);
    };
    EXPECT_EQ(lines(parsed({})), "");
    EXPECT_EQ(lines(parsed({"--receiver", "sparta", "--demo"})), "receiver = \"sparta\"\n");
    EXPECT_EQ(lines(parsed({"--receiver", "sparta", "--port", "8000"})),
              "port = 8000\nreceiver = \"sparta\"\n");
    EXPECT_EQ(lines(parsed({"--input", "camera_demo", "--demo", "--quaternion"})), "");
    EXPECT_EQ(lines(parsed({"--input", "camera_file:a"})), "");
}

TEST_F(ConfigurationTest, RefusesToWriteWhatCouldNotBeRead) {
    Options options = parsed({});
    options.port = "91 02";
    EXPECT_THAT(configurationText(options).error().description, HasSubstr("port: '91 02'"));
    options.port = "8000";
    options.input = "camera_a#b";
    // The options' library of Debian 12 takes what follows for a comment, Debian 13's does not.
    if (const auto text = configurationText(options)) {
        EXPECT_THAT(*text, testing::EndsWith("\ninput = \"camera_a#b\"\n"));
    } else {
        EXPECT_THAT(text.error().description,
                    HasSubstr("input: 'camera_a#b' cannot be written down"));
    }
    options.input = "camera_a\nport = 1";
    EXPECT_FALSE(configurationText(options).has_value());
}

}  // namespace
}  // namespace velmaro
