#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "backends/replay/MotionFile.h"
#include "backends/replay/MotionRecorder.h"
#include "fakes/Diagnostics.h"
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
    }
    void TearDown() override { fs::remove_all(folder); }

    std::unique_ptr<MotionRecorder> open(const fs::path& file) {
        auto headphones = std::make_unique<fakes::ScriptedHeadphoneMotion>();
        headphones->available = true;
        source = headphones.get();
        auto result = MotionRecorder::open(
            file, std::move(headphones), diagnostics, [this] { ++failures; },
            [this] { return std::chrono::duration<double>(now); });
        if (!result) {
            refusal = result.error().description;
            return nullptr;
        }
        return std::move(*result);
    }
    [[nodiscard]] std::string text() const {
        std::ostringstream out;
        out << std::ifstream(path).rdbuf();
        return out.str();
    }

    fs::path folder;
    fs::path path;
    fakes::ScriptedHeadphoneMotion* source = nullptr;
    fakes::CapturedDiagnostics diagnostics;
    int failures = 0;
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
    EXPECT_EQ(source->startedOn, &queue);
    source->deliver(CMQuaternion{0, 0, 0.6, 0.8});
    EXPECT_EQ(text(), "# velmaro motion 1\ntime x y z w\n0.000000 0 0 0.6 0.8\n")
        << "a line reaches the file at once";
    now += 0.04;
    source->deliver(CMQuaternion{0.6, 0, 0, 0.8});
    EXPECT_EQ(passed, 2);
    const auto track = readMotionFile(path);
    ASSERT_TRUE(track.has_value()) << track.error().description;
    ASSERT_EQ(track->size(), 2U);
    EXPECT_EQ(track->at(1).time, 0.04);
    EXPECT_EQ(track->at(1).attitude, (CMQuaternion{0.6, 0, 0, 0.8}));
}

TEST_F(Recorder, RecordsNoErrorsAndNothingThatIsNotThere) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    std::vector<bool> errors;
    recorder->startDeviceMotionUpdates(queue, [&](const auto& /*sample*/, const auto& error) {
        errors.push_back(error.has_value());
    });
    source->deliver(std::make_shared<const DeviceMotion>(), Error{});
    source->deliver(nullptr, Error{});
    source->deliver(nullptr);
    EXPECT_EQ(errors, (std::vector<bool>{true, true, false}));
    EXPECT_FALSE(fs::exists(path)) << "there is no sample yet";
}

TEST_F(Recorder, KeepsTimesIncreasingOverPausesAndCoarseClocks) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    const auto ignore = [](const auto&, const auto&) {};
    recorder->startDeviceMotionUpdates(queue, ignore);
    source->deliver(CMQuaternion{});
    source->deliver(CMQuaternion{});
    recorder->stopDeviceMotionUpdates();
    EXPECT_FALSE(source->active);
    now += 2;
    recorder->startDeviceMotionUpdates(queue, ignore);
    source->deliver(CMQuaternion{0, 0, 0, 2});
    now += 1;
    source->deliver(CMQuaternion{});
    EXPECT_EQ(text(),
              "# velmaro motion 1\ntime x y z w\n0.000000 0 0 0 1\n0.000001 0 0 0 1\n"
              "# 2.000000 left out: not a rotation\n3.000000 0 0 0 1\n");
    EXPECT_TRUE(readMotionFile(path).has_value());
}

TEST_F(Recorder, LooksLikeItsSource) {
    struct Listener : HeadphoneMotionDelegate {
        void headphoneMotionManagerDidConnect() override { ++connections; }
        void headphoneMotionManagerDidDisconnect() override {}
        int connections = 0;
    };
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    const auto listener = std::make_shared<Listener>();
    recorder->setDelegate(listener);
    source->connect();
    EXPECT_EQ(listener->connections, 1);
    EXPECT_TRUE(recorder->isDeviceMotionAvailable());
    source->available = false;
    EXPECT_FALSE(recorder->isDeviceMotionAvailable());
    EXPECT_FALSE(recorder->isDeviceMotionActive());
    recorder->startDeviceMotionUpdates(queue, [](const auto&, const auto&) {});
    EXPECT_TRUE(recorder->isDeviceMotionActive());
    recorder->stopDeviceMotionUpdates();
    EXPECT_FALSE(source->active);
}

TEST_F(Recorder, WhatRecordedNothingSaysSoAndLeavesNothing) {
    {
        const auto recorder = open(path);
        ASSERT_TRUE(recorder) << refusal;
        recorder->startDeviceMotionUpdates(queue, [](const auto&, const auto&) {});
        EXPECT_TRUE(diagnostics.all().empty());
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(diagnostics.lines(),
              (std::vector<std::string>{"nothing was recorded, since no motion came"}));
    {
        const auto recorder = open(path);
        ASSERT_TRUE(recorder) << refusal;
        recorder->startDeviceMotionUpdates(queue, [](const auto&, const auto&) {});
        source->deliver(CMQuaternion{});
    }
    EXPECT_EQ(diagnostics.all().size(), 1U) << "something was recorded";
    EXPECT_TRUE(readMotionFile(path).has_value());
}

TEST_F(Recorder, AFileThatCameInTheMeantimeIsNotTouched) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    std::ofstream(path) << "precious";
    int passed = 0;
    recorder->startDeviceMotionUpdates(queue, [&](const auto&, const auto&) { ++passed; });
    source->deliver(CMQuaternion{});
    source->deliver(CMQuaternion{});
    EXPECT_EQ(passed, 2);
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(diagnostics.lines(), (std::vector<std::string>{"the recording \"" + path.string() +
                                                             "\" cannot be made: File exists"}));
    EXPECT_EQ(text(), "precious");
}

TEST_F(Recorder, GoesOnWithoutAFileThatTakesNoMore) {
    const auto recorder = open(path);
    ASSERT_TRUE(recorder) << refusal;
    int passed = 0;
    recorder->startDeviceMotionUpdates(queue, [&](const auto&, const auto&) { ++passed; });
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{.rlim_cur = 4'000, .rlim_max = before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    for (int i = 0; i < 1'000; ++i) {
        now += 0.04;
        source->deliver(CMQuaternion{0, 0, 0.6, 0.8});
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);

    EXPECT_EQ(passed, 1'000);
    EXPECT_EQ(failures, 1);
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_EQ(diagnostics.all()[0], (Diagnostic{.kind = Diagnostic::Kind::failure,
                                                .subject = Diagnostic::Subject::recording,
                                                .text = "the recording \"" + path.string() +
                                                        "\" ends here: File too large"}));
    const auto track = readMotionFile(path);
    ASSERT_TRUE(track.has_value()) << track.error().description;
    EXPECT_GT(track->size(), 100U);
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
