// Cameras and daemons that hang, and many starts.

#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "LiveCamera.h"

namespace velmaro::integration {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::Value;

/// What this process holds.
struct Usage {
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t files = 0;
    std::ptrdiff_t kilobytes = 0;

    /// Once what was stopped has gone, and for half a second nothing more went.
    static Usage settled() {
        Usage usage = now();
        auto since = std::chrono::steady_clock::now();
        eventually([&] {
            const Usage later = now();
            if (later.threads != usage.threads || later.files != usage.files) {
                since = std::chrono::steady_clock::now();
            }
            usage = later;
            return std::chrono::steady_clock::now() - since > 500ms;
        });
        return usage;
    }

    static Usage now() {
        const auto entries = [](const char* folder) {
            return std::distance(std::filesystem::directory_iterator(folder), {});
        };
        std::ptrdiff_t all = 0;
        std::ptrdiff_t resident = 0;
        std::ifstream("/proc/self/statm") >> all >> resident;
        return {entries("/proc/self/task"), entries("/proc/self/fd"),
                resident * (::sysconf(_SC_PAGESIZE) / 1024)};
    }
};

#ifdef VELMARO_SANITIZED
// Slow.
constexpr int kStarts = 40;
constexpr auto kEnd = 6s;
#else
constexpr int kStarts = 200;
constexpr auto kEnd = 3s;
#endif

TEST_F(LiveCamera, PicturesThatStopAreToldAndSoIsTheirReturn) {
    ASSERT_TRUE(session->plugIn("front"));
    Program program({"--input", "camera_front", "--stats"}, session->environment());
    ASSERT_TRUE(eventually([&] {
        return Value(program.errors(), ContainsRegex("frames in [1-9]"));
    })) << program.errors();
    ASSERT_TRUE(session->freeze("front"));
    ASSERT_TRUE(says(
        program,
        "velmaro-cli: the camera \"Camera-front\" has given no picture for 2 seconds: open its "
        "shutter, or plug it in again\n"));
    EXPECT_TRUE(program.waitForOutput(
        "❌ Capture session runtime error: the camera \"Camera-front\" gives no more pictures\n"));
    EXPECT_THAT(program.errors(), Not(HasSubstr("gives pictures again")));
    ASSERT_TRUE(session->thaw("front"));
    EXPECT_TRUE(says(program, "velmaro-cli: the camera \"Camera-front\" gives pictures again\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(LiveCamera, OneThatHangsIsGivenUpAtOnceAndStartsWhenItIsWellAgain) {
    ASSERT_TRUE(session->plugIn("front"));
    Rig rig(live);
    ASSERT_EQ(rig.setUp(), "");
    ASSERT_TRUE(session->freeze("front"));
    std::thread start([&] { rig.session->startRunning(); });
    std::this_thread::sleep_for(1s);
    EXPECT_FALSE(rig.session->isRunning()) << "it does not hang, so nothing is shown";
    const auto begin = std::chrono::steady_clock::now();
    rig.session->stopRunning();
    start.join();
    ASSERT_EQ(rig.setUp(), "");
    // Far less than the half minute for which the camera's own start is stuck.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_EQ(rig.didStart, 0);
    EXPECT_TRUE(rig.errors().empty());
    ASSERT_TRUE(session->thaw("front"));
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= 10; }));
}

TEST_F(LiveCamera, ADaemonThatHangsDoesNotKeepTheProgram) {
    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(session->freeze("front"));
    Program program({"--input", "camera_front"}, session->environment());
    ASSERT_TRUE(program.waitForOutput("🚀 Starting capture session...\n")) << program.errors();
    ASSERT_TRUE(session->hang());
    EXPECT_TRUE(
        says(program,
             "velmaro-cli: the camera \"Camera-front\" has not answered for 2 seconds: plug it in "
             "again, or choose another\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(kEnd), 0) << program.output();
    EXPECT_THAT(program.output(), Not(HasSubstr("Session started running")));
    ASSERT_TRUE(session->resume());
    ASSERT_TRUE(session->thaw("front"));
}

TEST_F(LiveCamera, OneThatIsPulledOutWhileItStartsIsToldAtOnce) {
    ASSERT_TRUE(session->plugIn("front"));
    Rig rig(live);
    ASSERT_EQ(rig.setUp(), "");
    ASSERT_TRUE(session->freeze("front"));
    std::thread start([&] { rig.session->startRunning(); });
    // It has reached the camera, whose answer it awaits for half a minute.
    EXPECT_TRUE(rig.diagnostics.waitFor("has not answered for 2 seconds"));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(session->unplug("front"));
    start.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s) << "it waited for the camera";
    EXPECT_FALSE(rig.session->isRunning());
    EXPECT_EQ(rig.didStart, 0);
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_EQ(rig.errors()[0].description, "the camera \"Camera-front\" was disconnected");
}

TEST_F(LiveCamera, DaemonsThatComeAndGoLeaveNothingBehind) {
    ASSERT_TRUE(session->plugIn("front"));
    Rig rig(live);
    const std::string name = rig.device()->uniqueID();
    std::ptrdiff_t before = 0;
    for (int round = 0; round < 4; ++round) {
        ASSERT_TRUE(session->killDaemons());
        ASSERT_TRUE(eventually([&] { return !rig.isListed(); }));
        ASSERT_TRUE(session->startDaemons());
        ASSERT_TRUE(session->plugIn("front"));
        ASSERT_TRUE(eventually([&] { return rig.isListed(); })) << round;
        EXPECT_EQ(rig.device()->uniqueID(), name);
        if (round == 0) {
            before = Usage::settled().files;
        }
    }
    EXPECT_TRUE(eventually([&] { return Usage::settled().files <= before; }))
        << Usage::settled().files << " files, before " << before;
}

TEST_F(LiveCamera, TwoHundredStartsAndChangesOfCameraLeaveNothingBehind) {
    // The allocator gives threads that come an arena each, until there are eight for each
    // processor, which would look like growth.
    ::mallopt(M_ARENA_MAX, 1);
    // Pictures go back to the system when they are freed, or some would stay in the heap now and
    // then.
    ::mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    ASSERT_TRUE(session->plugIn("left"));
    ASSERT_TRUE(session->plugIn("right", "JPEG"));
    Rig rig(live);
    const auto cameras = rig.devices();
    ASSERT_EQ(cameras.size(), 2U);
    Usage before;
    for (int round = 0; round < kStarts; ++round) {
        // Each second round starts the same camera again, the others change it while it runs.
        ASSERT_EQ(rig.setUp(cameras.at(static_cast<std::size_t>(round / 2 % 2))), "");
        rig.session->startRunning();
        ASSERT_TRUE(rig.session->isRunning()) << round;
        const std::size_t frames = rig.recorder->count();
        ASSERT_TRUE(eventually([&] { return rig.recorder->count() > frames; })) << round;
        if (round % 2 == 0) {
            rig.session->stopRunning();
        }
        if (round == kStarts / 4) {
            rig.session->stopRunning();
            // A queue opens what it counts time with when it is first asked to.
            std::promise<void> later;
            rig.queue->asyncAfter(1ms, [&later] { later.set_value(); });
            later.get_future().wait();
            before = Usage::settled();
        }
    }
    rig.session->stopRunning();
    // What is left behind stays; what only takes its time on a busy machine goes. The allocator's
    // pieces alone are some 100 kilobytes after so many starts.
    constexpr std::ptrdiff_t kGrowth = 512;
    Usage after;
    eventually([&] {
        after = Usage::settled();
        return after.threads <= before.threads + 4 && after.files <= before.files &&
               (!kMemoryTells || after.kilobytes <= before.kilobytes + kGrowth);
    });
    // GLib keeps a few threads for a while.
    EXPECT_LE(after.threads, before.threads + 4);
    EXPECT_LE(after.files, before.files);
    if (kMemoryTells) {
        // Three for each start.
        EXPECT_LE(after.kilobytes, before.kilobytes + kGrowth);
    }
    EXPECT_EQ(rig.didStart, kStarts);
    EXPECT_TRUE(rig.errors().empty());
}

}  // namespace
}  // namespace velmaro::integration
