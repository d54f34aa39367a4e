#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

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
    const Receiver receiver;
    const Finished run = runProgram(
        {"--motion-file", file, "--once", "--input", "airpods", "--port", receiver.port()});
    EXPECT_EQ(run.status, 0) << run.errors;
    ASSERT_FALSE(receiver.messages().empty());
    EXPECT_THAT(receiver.messages().front().values,
                testing::Pointwise(testing::FloatNear(1e-4F), {-35.0F, 20.0F, 5.0F}));
}

TEST(RecordMotion, NeverOverwritesAFile) {
    const TemporaryFolder folder;
    const std::string file = folder.write("kept.txt", "mine");
    const Finished run = runProgram({"--record-motion", file, "--demo"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, testing::AllOf(HasSubstr(file), HasSubstr("exists")));
    std::ifstream stream(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "mine");
}

TEST(RecordMotion, AListingRecordsNothing) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "none.txt";
    EXPECT_EQ(runProgram({"--record-motion", file, "--list-inputs"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace velmaro::integration
