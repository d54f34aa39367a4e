#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "backends/replay/MotionFile.h"
#include "backends/replay/MotionRecorder.h"
#include "fakes/Dispatch.h"
#include "fakes/HeadphoneMotion.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class Recorder : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "velmaro-XXXXXX").string();
        ASSERT_NE(::mkdtemp(name.data()), nullptr);
        folder = name;
        path = folder / "motion.txt";
        source.available = true;
    }
    void TearDown() override { fs::remove_all(folder); }

    std::unique_ptr<MotionRecorder> open(const fs::path& file) {
        auto result = MotionRecorder::open(file, source,
                                           [this] { return std::chrono::duration<double>(now); });
        if (const auto* error = std::get_if<Error>(&result)) {
            refusal = error->description;
            return nullptr;
        }
        return std::get<std::unique_ptr<MotionRecorder>>(std::move(result));
    }
    [[nodiscard]] std::string text() const {
        std::ostringstream out;
        out << std::ifstream(path).rdbuf();
        return out.str();
    }

    fs::path folder;
    fs::path path;
    fakes::ScriptedHeadphoneMotion source;
    fakes::HandCrankedQueue queue{"delivery"};
    double now = 500;
    std::string refusal;
};

TEST_F(Recorder, WritesWhatItPassesOn) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    int passed = 0;
    recorder->startDeviceMotionUpdates(
        queue, [&](const auto& sample, const auto& error) { passed += sample && !error ? 1 : 0; });
    EXPECT_EQ(source.startedOn, &queue);
    source.deliver(CMQuaternion{0, 0, 0.6, 0.8});
    EXPECT_EQ(text(), "# velmaro motion 1\ntime x y z w\n0.000000 0 0 0.6 0.8\n")
        << "a line reaches the file at once";
    now += 0.04;
    source.deliver(CMQuaternion{0.6, 0, 0, 0.8});
    EXPECT_EQ(passed, 2);
    const auto read = readMotionFile(path);
    ASSERT_TRUE(std::holds_alternative<MotionTrack>(read)) << std::get<Error>(read).description;
    const auto& track = std::get<MotionTrack>(read);
    ASSERT_EQ(track.size(), 2U);
    EXPECT_EQ(track[1].time, 0.04);
    EXPECT_EQ(track[1].attitude, (CMQuaternion{0.6, 0, 0, 0.8}));
}

TEST_F(Recorder, RecordsNoErrorsAndNothingThatIsNotThere) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    std::vector<bool> errors;
    recorder->startDeviceMotionUpdates(queue, [&](const auto& /*sample*/, const auto& error) {
        errors.push_back(error.has_value());
    });
    source.deliver(std::make_shared<const DeviceMotion>(), Error{});
    source.deliver(nullptr, Error{});
    source.deliver(nullptr);
    EXPECT_EQ(errors, (std::vector<bool>{true, true, false}));
    EXPECT_EQ(text(), motionFileBeginning());
}

TEST_F(Recorder, KeepsTimesIncreasingOverPausesAndCoarseClocks) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    const auto ignore = [](const auto&, const auto&) {};
    recorder->startDeviceMotionUpdates(queue, ignore);
    source.deliver(CMQuaternion{});
    source.deliver(CMQuaternion{});
    recorder->stopDeviceMotionUpdates();
    EXPECT_FALSE(source.active);
    now += 2;
    recorder->startDeviceMotionUpdates(queue, ignore);
    source.deliver(CMQuaternion{0, 0, 0, 2});
    now += 1;
    source.deliver(CMQuaternion{});
    EXPECT_EQ(text(),
              "# velmaro motion 1\ntime x y z w\n0.000000 0 0 0 1\n0.000001 0 0 0 1\n"
              "# 2.000000 left out: not a rotation\n3.000000 0 0 0 1\n");
    EXPECT_TRUE(std::holds_alternative<MotionTrack>(readMotionFile(path)));
}

TEST_F(Recorder, LooksLikeItsSource) {
    struct Listener : HeadphoneMotionDelegate {
        void headphoneMotionManagerDidConnect() override { ++connections; }
        void headphoneMotionManagerDidDisconnect() override {}
        int connections = 0;
    };
    {
        const auto recorder = open(path);
        ASSERT_TRUE(recorder) << refusal;
        const auto listener = std::make_shared<Listener>();
        recorder->setDelegate(listener);
        source.connect();
        EXPECT_EQ(listener->connections, 1);
        EXPECT_TRUE(recorder->isDeviceMotionAvailable());
        source.available = false;
        EXPECT_FALSE(recorder->isDeviceMotionAvailable());
        EXPECT_FALSE(recorder->isDeviceMotionActive());
        recorder->startDeviceMotionUpdates(queue, [](const auto&, const auto&) {});
        EXPECT_TRUE(recorder->isDeviceMotionActive());
    }
    EXPECT_FALSE(source.active) << "stopped with its recorder";
}

TEST_F(Recorder, GoesOnWithoutAFileThatTakesNoMore) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    int passed = 0;
    recorder->startDeviceMotionUpdates(queue, [&](const auto&, const auto&) { ++passed; });
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    testing::internal::CaptureStderr();
    const rlimit small{.rlim_cur = 4'000, .rlim_max = before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    for (int i = 0; i < 1'000; ++i) {
        now += 0.04;
        source.deliver(CMQuaternion{0, 0, 0.6, 0.8});
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    const std::string told = testing::internal::GetCapturedStderr();
    std::signal(SIGXFSZ, handler);

    EXPECT_EQ(passed, 1'000);
    EXPECT_EQ(told,
              "velmaro: the recording \"" + path.string() + "\" ends here: File too large.\n");
    const auto read = readMotionFile(path);
    ASSERT_TRUE(std::holds_alternative<MotionTrack>(read)) << std::get<Error>(read).description;
    EXPECT_GT(std::get<MotionTrack>(read).size(), 100U);
}

TEST_F(Recorder, NeverOverwrites) {
    std::ofstream(path) << "precious";
    EXPECT_EQ(open(path), nullptr);
    EXPECT_EQ(refusal, path.string() + ": the file exists; remove it or name another");
    EXPECT_EQ(text(), "precious");
    EXPECT_EQ(open(folder / "none" / "motion.txt"), nullptr);
    EXPECT_THAT(refusal, HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace velmaro
