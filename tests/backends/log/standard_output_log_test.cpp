#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "backends/log/StandardOutputLog.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

/// Standard output, or the other descriptor given, goes into a pipe while this lives.
class RedirectedOutput {
public:
    explicit RedirectedOutput(int descriptor = STDOUT_FILENO) : descriptor_(descriptor) {
        EXPECT_EQ(::pipe(pipe_.data()), 0);
        ::fcntl(pipe_[1], F_SETPIPE_SZ, 1 << 20);
        saved_ = ::dup(descriptor_);
        ::dup2(pipe_[1], descriptor_);
        ::close(pipe_[1]);
    }
    ~RedirectedOutput() {
        ::dup2(saved_, descriptor_);
        ::close(saved_);
        ::close(pipe_[0]);
    }
    RedirectedOutput(const RedirectedOutput&) = delete;
    RedirectedOutput& operator=(const RedirectedOutput&) = delete;

    /// What is in the pipe now.
    std::string read() {
        std::string text(1 << 20, '\0');
        const ssize_t count = ::read(pipe_[0], text.data(), text.size());
        text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return text;
    }

private:
    const int descriptor_;
    std::array<int, 2> pipe_{};
    int saved_ = -1;
};

TEST(StandardOutputLog, WritesALineAtOnce) {
    RedirectedOutput output;
    fakes::CapturedDiagnostics diagnostics;
    StandardOutputLog log(diagnostics);
    log.line("✅ Video output added");
    EXPECT_EQ(output.read(), "✅ Video output added\n");
    log.line("");
    EXPECT_EQ(output.read(), "\n");
}

TEST(StandardOutputLog, LinesOfDifferentThreadsNeverMix) {
    std::string text;
    {
        RedirectedOutput output;
        fakes::CapturedDiagnostics diagnostics;
        std::optional<StandardOutputLog> log(diagnostics);
        constexpr int kThreads = 4;
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&log, thread] {
                for (int count = 0; count < 200; ++count) {
                    log->line(std::string(100, static_cast<char>('a' + thread)));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        log.reset();
        text = output.read();
        EXPECT_TRUE(diagnostics.all().empty());
    }
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_EQ(line.size(), 100U);
        EXPECT_EQ(std::set<char>(line.begin(), line.end()).size(), 1U);
    }
    EXPECT_EQ(count, 800);
}

/// Fills a log that nobody reads, then reads it until `report` has come and "end" is read.
template <typename Log>
void expectLossIsSaid(int descriptor, const std::string& report) {
    RedirectedOutput output(descriptor);
    fakes::CapturedDiagnostics diagnostics;
    Log log(diagnostics);
    for (int count = 0; count < 20'000; ++count) {
        log.line(std::string(100, 'x'));
    }
    std::thread reader([&output] {
        while (!output.read().ends_with("end\n")) {
        }
    });
    diagnostics.waitFor(report);
    EXPECT_EQ(diagnostics.all()[0].kind, Diagnostic::Kind::warning);
    log.line("end");
    reader.join();
}

TEST(StandardOutputLog, SaysHowManyLinesNobodyRead) {
    expectLossIsSaid<StandardOutputLog>(STDOUT_FILENO,
                                        " lines of the log were left out since nobody read it: "
                                        "read standard output, or send it to /dev/null");
}

TEST(StandardErrorLog, SaysHowManyLinesNobodyRead) {
    expectLossIsSaid<StandardErrorLog>(STDERR_FILENO,
                                       " lines of statistics were left out since nobody read them: "
                                       "read standard error, or leave out --stats");
}

TEST(SilentLog, WritesNothing) {
    RedirectedOutput output;
    SilentLog log;
    log.line("unheard");
    fakes::CapturedDiagnostics diagnostics;
    StandardOutputLog(diagnostics).line("heard");
    EXPECT_EQ(output.read(), "heard\n");
}

}  // namespace
}  // namespace velmaro
