#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "integration/headphones/UDPTracker.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;

TEST(RecordMotion, ARecordingOfALiveTrackerCanBeReplayed) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "turn.txt";
    {
        const std::uint16_t port = freePort();
        const Receiver receiver;
        Program program({"--motion-udp", std::to_string(port), "--input", "airpods", "--port",
                         receiver.port(), "--record-motion", file});
        const UDPTracker tracker(port, sixDoubles({0, 0, 0, -35, 20, 5}));
        ASSERT_TRUE(receiver.waitFor(5)) << program.errors();
        program.signal(SIGTERM);
        EXPECT_EQ(program.wait(), 0);
    }
    Receiver receiver;
    const Finished run = runProgram(
        {"--motion-file", file, "--once", "--input", "airpods", "--port", receiver.port()});
    EXPECT_EQ(run.status, 0) << run.errors;
    ASSERT_FALSE(receiver.allSent().empty());
    EXPECT_THAT(receiver.messages().front().values,
                testing::Pointwise(testing::FloatNear(1e-4F), {-35.0F, 20.0F, 5.0F}));
}

TEST(RecordMotion, NeverOverwritesAFile) {
    const TemporaryFolder folder;
    const std::string file = folder.write("kept.txt", "mine");
    const Finished run = runProgram({"--record-motion", file, "--input", "airpods"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, testing::AllOf(HasSubstr(file), HasSubstr("exists")));
    std::ifstream stream(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "mine");
}

TEST(RecordMotion, WhatRecordedNothingSaysSoAndLeavesNothing) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "none.txt";
    const Finished run = runProgram({"--motion-udp", std::to_string(freePort()), "--input",
                                     "airpods", "--record-motion", file, "--duration", "0.3"});
    // As every run without data ends.
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("velmaro-cli: nothing was recorded, since no motion came\n"));
    EXPECT_FALSE(std::filesystem::exists(file));
}

/// Files of this process, and of those that it starts, end after a few lines, as on a full disk.
class SmallFiles {
public:
    SmallFiles() : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{.rlim_cur = 4096, .rlim_max = before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

private:
    void (*handler_)(int);
    rlimit before_{};
};

TEST(RecordMotion, ADiskThatFillsEndsTheRunWithOne) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "full.txt";
    const std::uint16_t port = freePort();
    const Receiver receiver;
    std::optional<SmallFiles> small(std::in_place);
    Program program({"--motion-udp", std::to_string(port), "--input", "airpods", "--port",
                     receiver.port(), "--record-motion", file});
    small.reset();
    const UDPTracker tracker(port, sixDoubles({0, 0, 0, -35, 20, 5}));
    EXPECT_EQ(program.wait(), 1) << program.errors();
    EXPECT_THAT(program.errors(), HasSubstr("velmaro-cli: the recording \"" + file +
                                            "\" ends here: File too large\n"));
    const Finished replay = runProgram({"--motion-file", file, "--once", "--input", "airpods"});
    EXPECT_EQ(replay.status, 0) << "whole lines only: " << replay.errors;
}

TEST(RecordMotion, AListingRecordsNothing) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "none.txt";
    EXPECT_EQ(runProgram({"--record-motion", file, "--list-inputs"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace velmaro::integration
