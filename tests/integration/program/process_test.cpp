// What the process itself must bear, whatever is done to it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kTwoTurns =
    "# velmaro motion 1\n"
    "time yaw pitch roll\n"
    "0.0 10 0 0\n"
    "0.05 0 10 0\n";

constexpr std::size_t kSome = 10;

/// Both programs, each tracking the same motion without end.
class ProgramProcess : public testing::TestWithParam<const char*> {
protected:
    [[nodiscard]] std::vector<std::string> tracking(
        const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"--motion-file", motion, "--port", receiver.port(),
                                           "--start"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    static ProgramStart with(std::function<void()> prepare) {
        return {.path = GetParam(), .prepare = std::move(prepare)};
    }
    [[nodiscard]] static bool isTerminal() {
        return std::string_view(GetParam()).ends_with("-cli");
    }

    const TemporaryFolder folder;
    const std::string motion = folder.write("turns.txt", kTwoTurns);
    const Receiver receiver;
    const Program::Environment variables{{"QT_QPA_PLATFORM", "offscreen"}};
};

/// The descriptor becomes a pipe whose reader has left.
void leaveWithoutReader(int descriptor) {
    int ends[2];
    if (::pipe(ends) == 0) {
        ::dup2(ends[1], descriptor);
        ::close(ends[0]);
        ::close(ends[1]);
    }
}

TEST_P(ProgramProcess, AReaderThatLeavesEndsNothing) {
    Program program(tracking(), variables, {}, with([] {
                        leaveWithoutReader(STDOUT_FILENO);
                        leaveWithoutReader(STDERR_FILENO);
                    }));
    EXPECT_TRUE(receiver.waitFor(kSome)) << program.errors();
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST_P(ProgramProcess, AFullFileOfTheLogEndsNothing) {
    Program program(tracking(), variables, {}, with([] {
                        const rlimit nothing{1, 1};
                        ::setrlimit(RLIMIT_FSIZE, &nothing);
                    }));
    EXPECT_TRUE(receiver.waitFor(kSome));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST_P(ProgramProcess, NoFileOfOursBecomesStandardOutput) {
    const std::string record = folder.path() / "record.txt";
    Program program(tracking({"--record-motion", record}), variables, {}, with([] {
                        ::close(STDIN_FILENO);
                        ::close(STDOUT_FILENO);
                        ::close(STDERR_FILENO);
                    }));
    ASSERT_TRUE(receiver.waitFor(kSome));
    for (const int descriptor : {0, 1, 2}) {
        const auto link = "/proc/" + std::to_string(program.pid()) + "/fd/";
        EXPECT_EQ(std::filesystem::read_symlink(link + std::to_string(descriptor)), "/dev/null");
    }
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    std::ifstream stream(record);
    const std::string recorded(std::istreambuf_iterator<char>(stream), {});
    EXPECT_THAT(recorded, StartsWith("# velmaro motion 1"));
    EXPECT_THAT(recorded, testing::Not(HasSubstr("OSC")));
}

TEST_P(ProgramProcess, AnAnswerThatCannotBeWrittenIsAFailure) {
    for (const char* const question : {"--help", "--version", "--list-inputs"}) {
        Program program({question, "--demo"}, variables, {},
                        with([] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); }));
        EXPECT_EQ(program.wait(), 1) << question;
        EXPECT_THAT(program.errors(), HasSubstr("could not be written\n")) << question;
    }
}

TEST_P(ProgramProcess, AnAnswerWhoseReaderHasLeftIsAFailure) {
    for (const char* const question : {"--help", "--version", "--list-inputs"}) {
        Program program({question, "--demo"}, variables, {},
                        with([] { leaveWithoutReader(STDOUT_FILENO); }));
        EXPECT_EQ(program.wait(), 1) << question;
        EXPECT_THAT(program.errors(), HasSubstr("could not be written\n")) << question;
    }
}

/// Whether the process ignores the signal, as the kernel shows it.
bool ignores(pid_t pid, int signal) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigIgn:")) {
            return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1U) != 0;
        }
    }
    return false;
}

TEST_P(ProgramProcess, SignalsToRecentreAreHarmlessFromTheFirstLineToTheLast) {
    Program program(tracking(), variables, {}, with({}));
    // The first line of the program's own ignores that one; before it the loader has the process.
    while (!ignores(program.pid(), SIGPIPE)) {
        ASSERT_EQ(program.wait(std::chrono::milliseconds(0)), -1000);
    }
    std::optional<bool> asked;
    while (program.wait(std::chrono::milliseconds(0)) == -1000) {
        program.signal(SIGUSR1);
        program.signal(SIGUSR2);
        if (!asked && receiver.waitFor(1, std::chrono::milliseconds(0))) {
            asked = true;
            program.signal(SIGTERM);
        }
        // So often that each state of the program gets some, so seldom that a slow one gets on.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(program.wait(), 0);
}

// Started as somebody who may have no more than these threads.
TEST_P(ProgramProcess, WithoutThreadsToBeHadItSaysSo) {
    if (::access(GetParam(), X_OK) != 0 || ::geteuid() != 0) {
        GTEST_SKIP() << "only root can become somebody else";
    }
    for (const rlim_t threads : {1, 2, 6, 12, 20}) {
        // Whoever that is may not read the settings of this test.
        Program program(tracking({"--no-config"}), variables, {}, with([threads] {
                            const rlimit limit{threads, threads};
                            ::setrlimit(RLIMIT_NPROC, &limit);
                            // Nobody has this number.
                            const auto somebody = static_cast<uid_t>(1'000'000 + ::getpid());
                            if (::setgroups(0, nullptr) != 0 || ::setgid(somebody) != 0 ||
                                ::setuid(somebody) != 0) {
                                ::_exit(126);
                            }
                        }));
        const int status = program.wait();
        if (status == 126 || status == 127) {
            GTEST_SKIP() << "somebody else cannot start the program where it lies";
        }
        EXPECT_EQ(status, 1) << threads;
        const int spare = static_cast<int>(threads) - 1 - VELMARO_SANITIZERS_THREADS;
        EXPECT_THAT(program.errors(),
                    HasSubstr(spare < 1 ? "the system has no thread to spare"
                                        : "the system has only " + std::to_string(spare) + " of "));
    }
}

std::vector<const char*> programs() {
    std::vector<const char*> all{VELMARO_TERMINAL};
    if (*VELMARO_WINDOW != '\0') {
        all.push_back(VELMARO_WINDOW);
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Programs, ProgramProcess, testing::ValuesIn(programs()),
                         [](const auto& each) {
                             return std::string_view(each.param).ends_with("-cli") ? "Terminal"
                                                                                   : "Window";
                         });

}  // namespace
}  // namespace velmaro::integration
