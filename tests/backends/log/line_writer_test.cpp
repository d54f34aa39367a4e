#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <future>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ThreadShortage.h"
#include "backends/log/LineWriter.h"

namespace velmaro {
namespace {

/// So long that no reader of these tests is given up.
constexpr std::chrono::minutes kAnyTime{5};

/// A pipe of one page, so that it is soon full.
class SmallPipe {
public:
    SmallPipe() {
        EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0);
        EXPECT_GE(::fcntl(ends_[1], F_SETPIPE_SZ, 4096), 4096);
    }
    ~SmallPipe() {
        closeReader();
        closeWriter();
    }
    SmallPipe(const SmallPipe&) = delete;
    SmallPipe& operator=(const SmallPipe&) = delete;

    [[nodiscard]] int writer() const { return ends_[1]; }
    void closeReader() { close(ends_[0]); }
    void closeWriter() { close(ends_[1]); }
    void leaveWriterOpen() { ends_[1] = -1; }

    /// All lines until `last` comes, or until the writer is closed.
    std::vector<std::string> readUntil(const std::string& last) {
        std::string text;
        std::array<char, 1000> part{};
        while (!text.ends_with("\n" + last + "\n")) {
            const ssize_t count = ::read(ends_[0], part.data(), part.size());
            if (count <= 0) {
                break;
            }
            text.append(part.data(), static_cast<std::size_t>(count));
        }
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }

private:
    static void close(int& end) {
        if (end >= 0) {
            ::close(std::exchange(end, -1));
        }
    }
    std::array<int, 2> ends_{-1, -1};
};

void ignoreLoss(std::size_t /*count*/) {}

std::string numbered(int number) {
    return std::string(60, '.') + std::to_string(number);
}

TEST(LineWriter, WhatNobodyReadsIsLeftOutCountedAndToldWhenItFlowsAgain) {
    constexpr int kLines = 20'000;
    SmallPipe pipe;
    std::promise<std::size_t> lost;
    LineWriter writer(
        pipe.writer(), "test", [&](std::size_t count) { lost.set_value(count); }, kAnyTime);
    for (int number = 0; number < kLines; ++number) {
        writer.line(numbered(number));
    }
    auto reading = std::async(std::launch::async, [&] { return pipe.readUntil("end"); });
    const std::size_t lostLines = lost.get_future().get();
    writer.line("end");
    const std::vector<std::string> lines = reading.get();
    ASSERT_GT(lines.size(), 1U);
    EXPECT_EQ(lines.size() - 1 + lostLines, static_cast<std::size_t>(kLines));
    // More waits than the pipe holds, less than a megabyte.
    EXPECT_GT(lines.size() * 60, 100'000U);
    EXPECT_LT(lines.size() * 60, 1'000'000U);
    // Whole and in order, from the first one on.
    int last = -1;
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        const int number = std::stoi(lines[i].substr(60));
        ASSERT_EQ(lines[i], numbered(number));
        ASSERT_GT(number, last);
        last = number;
    }
    EXPECT_EQ(lines[0], numbered(0));
}

TEST(LineWriter, EndsWhileNobodyReads) {
    SmallPipe pipe;
    std::optional<LineWriter> writer;
    writer.emplace(pipe.writer(), "test", [](std::size_t) { ADD_FAILURE(); });
    for (int number = 0; number < 10'000; ++number) {
        writer->line(numbered(number));
    }
    writer.reset();
    // For the thread that was left behind, which goes now.
    pipe.leaveWriterOpen();
    pipe.closeReader();
}

TEST(LineWriter, EndsWhileATerminalIsHeld) {
    int terminal = -1;
    int program = -1;
    ASSERT_EQ(::openpty(&terminal, &program, nullptr, nullptr, nullptr), 0);
    constexpr char kHold = 'S' & 0x1F;
    ASSERT_EQ(::write(terminal, &kHold, 1), 1);
    std::optional<LineWriter> writer;
    writer.emplace(program, "test", ignoreLoss);
    for (int number = 0; number < 1'000; ++number) {
        writer->line(numbered(number));
    }
    writer.reset();
    // The program's end stays open for the thread that was left behind.
    ::close(terminal);
}

TEST(LineWriter, AReaderOfEverythingMissesNothingAtTheEnd) {
    SmallPipe pipe;
    auto reading = std::async(std::launch::async, [&] { return pipe.readUntil("never"); });
    {
        LineWriter writer(pipe.writer(), "test", ignoreLoss, kAnyTime);
        for (int number = 0; number < 3'000; ++number) {
            writer.line(numbered(number));
        }
    }
    pipe.closeWriter();
    EXPECT_EQ(reading.get().size(), 3'000U);
}

TEST(LineWriter, AReaderThatLeavesEndsNothing) {
    SmallPipe pipe;
    LineWriter writer(pipe.writer(), "test", ignoreLoss);
    writer.line("heard");
    pipe.closeReader();
    for (int number = 0; number < 1'000; ++number) {
        writer.line(numbered(number));
    }
}

TEST(LineWriter, SharesAFileThatSomebodyMadeNonBlocking) {
    SmallPipe pipe;
    ASSERT_EQ(::fcntl(pipe.writer(), F_SETFL, O_NONBLOCK), 0);
    LineWriter writer(pipe.writer(), "test", ignoreLoss, kAnyTime);
    for (int number = 0; number < 1'000; ++number) {
        writer.line(numbered(number));
    }
    writer.line("end");
    EXPECT_EQ(pipe.readUntil("end").size(), 1'001U);
}

TEST(LineWriter, TakesALineThatIsLongerThanAllItsRoom) {
    SmallPipe pipe;
    LineWriter writer(pipe.writer(), "test", ignoreLoss, kAnyTime);
    writer.line(std::string(1'000'000, 'x'));
    auto reading = std::async(std::launch::async, [&] { return pipe.readUntil("end"); });
    std::vector<std::string> lines;
    while (reading.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
        writer.line("end");
    }
    lines = reading.get();
    EXPECT_EQ(lines.front().size(), 1'000'000U);
}

TEST(LineWriter, LinesOfTwoProcessesDoNotMix) {
    SmallPipe pipe;
    const pid_t other = ::fork();
    if (other == 0) {
        {
            LineWriter writer(pipe.writer(), "test", ignoreLoss, kAnyTime);
            for (int number = 0; number < 2'000; ++number) {
                writer.line(std::string(70, 'b'));
            }
        }
        ::_exit(0);
    }
    auto reading = std::async(std::launch::async, [&] { return pipe.readUntil("never"); });
    {
        LineWriter writer(pipe.writer(), "test", ignoreLoss, kAnyTime);
        for (int number = 0; number < 2'000; ++number) {
            writer.line(std::string(70, 'a'));
        }
    }
    pipe.closeWriter();
    const auto lines = reading.get();
    EXPECT_EQ(lines.size(), 4'000U);
    for (const std::string& line : lines) {
        ASSERT_TRUE(line == std::string(70, 'a') || line == std::string(70, 'b')) << line;
    }
}

TEST(LineWriter, LinesWaitForAThread) {
    SmallPipe pipe;
    LineWriter writer(pipe.writer(), "test", ignoreLoss);
    {
        const ThreadShortage shortage;
        writer.line("first");
    }
    writer.line("second");
    EXPECT_EQ(pipe.readUntil("second"), (std::vector<std::string>{"first", "second"}));
}

TEST(LineWriter, LinesThatNeverGotAThreadAreWrittenAtTheEnd) {
    SmallPipe pipe;
    {
        const ThreadShortage shortage;
        LineWriter(pipe.writer(), "test", ignoreLoss).line("only");
    }
    pipe.closeWriter();
    EXPECT_EQ(pipe.readUntil("never"), (std::vector<std::string>{"only"}));
}

}  // namespace
}  // namespace velmaro
