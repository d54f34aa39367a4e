// Which source a run takes, what it starts for it, and how it ends without one.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>

#include "UDPReceiver.h"
#include "fakes/Eventually.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kProgram = "velmaro-cli";
/// The queues' threads, those that write lines and the one that listens for signals.
const std::set<std::string> kAlways{kProgram, "signals",     "standard", "user-initiated", "idle",
                                    "log",    "diagnostics", "resolver", "VideoOutputQueu"};

std::set<std::string> besides(std::set<std::string> names) {
    for (const std::string& known : kAlways) {
        names.erase(known);
    }
    return names;
}

std::string freePort() {
    return std::to_string(UDPReceiver().port());
}

class ProgramSources : public testing::Test {
protected:
    const TemporaryFolder folder;
    const std::string motion = folder.write("turns.txt",
                                            "# velmaro motion 1\n"
                                            "time yaw pitch roll\n"
                                            "0.0 10 0 0\n"
                                            "0.05 0 10 0\n");
    const Receiver receiver;
};

TEST_F(ProgramSources, ADemonstrationStartsNothingButItsFile) {
    // The desktop is kept awake by threads of its own, whatever the source is.
    const Program program({"--demo", "--allow-idle", "--port", receiver.port()});
    ASSERT_TRUE(receiver.waitFor(3));
    // GStreamer names its own after the elements that they serve; GLib has one that makes others.
    EXPECT_THAT(besides(program.threadNames()),
                Each(testing::AnyOf("capture", HasSubstr("demux"), StartsWith("multiqueue"),
                                    HasSubstr("dec"), StartsWith("typefind"), HasSubstr(":s"),
                                    "pool-spawner")));
}

TEST_F(ProgramSources, RecordedMotionStartsNothing) {
    const Program program({"--motion-file", motion, "--allow-idle", "--port", receiver.port()});
    ASSERT_TRUE(receiver.waitFor(3));
    EXPECT_THAT(besides(program.threadNames()), testing::IsEmpty());
}

TEST_F(ProgramSources, AnotherTrackerStartsItsOwnThreadOnly) {
    Program program({"--motion-udp", freePort(), "--port", receiver.port()});
    ASSERT_TRUE(program.waitForErrors("waiting for the headphones"));
    // A thread names itself.
    while (!program.threadNames().contains("motion udp")) {
        ASSERT_EQ(program.wait(std::chrono::milliseconds(1)), -1000);
    }
    EXPECT_THAT(besides(program.threadNames()), testing::ElementsAre("motion udp"));
}

TEST_F(ProgramSources, AListingLooksForAll) {
    // Nobody takes its answer, so that it stays until it has been looked at.
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    while (::write(ends[1], "x", 1) == 1) {
    }
    ::fcntl(ends[1], F_SETFL, 0);
    Program program({"--list-inputs", "--demo"}, {}, {.output = ends[1]});
    ::close(ends[1]);
    const auto looksForAll =
        AllOf(Contains("head tracker"), Contains("airpods"), Contains("cameras"));
    EXPECT_TRUE(fakes::eventually([&] {
        return testing::Value(program.threadNames(), looksForAll);
    })) << testing::PrintToString(program.threadNames());
    ::fcntl(ends[0], F_SETFL, 0);
    std::array<char, 4096> part{};
    while (::read(ends[0], part.data(), part.size()) > 0) {
    }
    ::close(ends[0]);
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(ProgramSources, RecordedMotionMeansTheHeadphones) {
    Program program(
        {"--motion-file", motion, "--camera-file", VELMARO_STILL, "--port", receiver.port()});
    EXPECT_TRUE(program.waitForErrors("'AirPods' to 127.0.0.1")) << program.errors();
}

TEST_F(ProgramSources, ANamedTrackerMeansTheHeadphones) {
    Program program({"--motion-udp", freePort(), "--camera-file", VELMARO_STILL});
    EXPECT_TRUE(program.waitForErrors("waiting for the headphones")) << program.errors();
}

TEST_F(ProgramSources, WhatIsChosenCountsMore) {
    Program program({"--motion-file", motion, "--camera-file", VELMARO_STILL, "--input",
                     std::string("camera_file:") + VELMARO_STILL});
    EXPECT_TRUE(program.waitForErrors("'turned-58.png' to")) << program.errors();
}

TEST_F(ProgramSources, SourcesThatExcludeEachOtherAreRefused) {
    for (const std::vector<std::string>& other :
         {std::vector<std::string>{"--motion-udp", freePort()},
          {"--airpods-address", "00:11:22:AA:BB:CC"}}) {
        std::vector<std::string> arguments{"--motion-file", motion};
        arguments.insert(arguments.end(), other.begin(), other.end());
        const Finished run = runProgram(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.errors, AllOf(HasSubstr("--motion-file"), HasSubstr(other.front())));
    }
}

TEST_F(ProgramSources, ACameraIsNotRecorded) {
    const std::string record = folder.path() / "record.txt";
    const Finished run = runProgram({"--demo", "--record-motion", record});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("only headphones' motion can be recorded"),
                                  HasSubstr("--input airpods")));
    EXPECT_FALSE(std::filesystem::exists(record));
}

TEST_F(ProgramSources, TheSameFileTwiceIsOneCamera) {
    const Finished run = runProgram(
        {"--list-inputs", "--camera-file", VELMARO_STILL, "--camera-file", VELMARO_STILL});
    const std::string line = std::string("camera_file:") + VELMARO_STILL + "\tturned-58.png\n";
    EXPECT_THAT(run.output, AllOf(StartsWith(line), Not(HasSubstr(line + line))));
}

TEST_F(ProgramSources, TimeThatPassesWithoutDataIsAFailure) {
    const Finished run = runProgram({"--motion-udp", freePort(), "--duration", "0.2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("nothing was sent: the headphones have not come\n"));
}

TEST_F(ProgramSources, WhoEndsARunWithoutDataIsToldSo) {
    Program program({"--motion-udp", freePort()});
    ASSERT_TRUE(program.waitForErrors("waiting for the headphones"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.errors(), HasSubstr("nothing was sent: "));
}

}  // namespace
}  // namespace velmaro::integration
