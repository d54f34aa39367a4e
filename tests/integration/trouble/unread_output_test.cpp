#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <ostream>
#include <string>
#include <utility>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"
#include "integration/trouble/Motion.h"

namespace velmaro::integration {
namespace {

enum class Kind { pipe, terminal };

/// Takes nothing: a pipe that is full, or a terminal that a person holds with Ctrl-S.
class StuckOutput {
public:
    explicit StuckOutput(Kind kind) {
        if (kind == Kind::pipe) {
            EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK), 0);
            while (::write(ends_[1], "x", 1) == 1) {
            }
            ::fcntl(ends_[1], F_SETFL, 0);
        } else {
            EXPECT_EQ(::openpty(&ends_[0], &ends_[1], nullptr, nullptr, nullptr), 0);
            constexpr char kHold = 'S' & 0x1F;
            EXPECT_EQ(::write(ends_[0], &kHold, 1), 1);
        }
    }
    ~StuckOutput() {
        leave();
        ::close(ends_[1]);
    }
    StuckOutput(const StuckOutput&) = delete;
    StuckOutput& operator=(const StuckOutput&) = delete;

    [[nodiscard]] int descriptor() const { return ends_[1]; }

    /// Reads on until `text` comes; gives what came from the first line on.
    std::string readUntil(const std::string& text) {
        ::fcntl(ends_[0], F_SETFL, 0);
        std::string read;
        std::array<char, 4096> part{};
        while (read.find(text) == std::string::npos) {
            const ssize_t count = ::read(ends_[0], part.data(), part.size());
            if (count <= 0) {
                break;
            }
            read.append(part.data(), static_cast<std::size_t>(count));
        }
        return read.substr(std::min(read.find_first_not_of('x'), read.size()));
    }
    void leave() {
        if (ends_[0] >= 0) {
            ::close(std::exchange(ends_[0], -1));
        }
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

class UnreadOutput : public testing::TestWithParam<Kind> {};

TEST_P(UnreadOutput, HoldsUpNeitherDatagramsNorTheEnd) {
    for (const int signal : {SIGTERM, SIGINT}) {
        const StuckOutput output(GetParam());
        const Receiver receiver;
        Program program({"--demo", "--port", receiver.port()}, {}, {.output = output.descriptor()});
        ASSERT_TRUE(goesOn(receiver, 40));
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0);
    }
}

TEST_P(UnreadOutput, HoldsUpNoEndByItself) {
    const StuckOutput output(GetParam());
    const Receiver receiver;
    const TemporaryFolder folder;
    const std::string motion = folder.write("turns.txt",
                                            "# velmaro motion 1\n"
                                            "time yaw pitch roll\n"
                                            "0.0 10 0 0\n"
                                            "5.0 0 10 0\n");
    Program program({"--motion-file", motion, "--once", "--port", receiver.port()}, {},
                    {.output = output.descriptor()});
    EXPECT_EQ(program.wait(), 0);
}

TEST_P(UnreadOutput, MayBeAllThereIs) {
    const StuckOutput output(GetParam());
    const Receiver receiver;
    Program program({"--demo", "--port", receiver.port(), "--stats"}, {},
                    {.output = output.descriptor(), .errors = output.descriptor()});
    // Longer than it takes to say the first line of statistics.
    ASSERT_TRUE(goesOn(receiver, 80));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Outputs, UnreadOutput, testing::Values(Kind::pipe, Kind::terminal),
                         [](const auto& info) {
                             return info.param == Kind::pipe ? "Pipe" : "Terminal";
                         });

TEST(LateReader, GetsTheLinesFromTheFirstOn) {
    StuckOutput output(Kind::pipe);
    const StillHead head;
    const Receiver receiver;
    Program program(head.sentTo("127.0.0.1", receiver), {}, {.output = output.descriptor()});
    ASSERT_TRUE(goesOn(receiver));
    const std::string lines = output.readUntil("✅ OSC UDP connection ready\n");
    EXPECT_TRUE(lines.starts_with("📷 Found 0 cameras:\n") || lines.starts_with("🎧") ||
                lines.starts_with("✅"))
        << lines;
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    // What was said last is there too.
    EXPECT_NE(output.readUntil("⚠️ OSC connection cancelled\n").find("cancelled"),
              std::string::npos);
}

TEST(LeavingReader, EndsNothing) {
    StuckOutput output(Kind::pipe);
    const StillHead head;
    const Receiver receiver;
    Program program(head.sentTo("127.0.0.1", receiver), {}, {.output = output.descriptor()});
    ASSERT_TRUE(goesOn(receiver));
    output.leave();
    ASSERT_TRUE(goesOn(receiver));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

}  // namespace
}  // namespace velmaro::integration
