#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "Rig.h"
#include "ThreadShortage.h"
#include "backends/gstreamer/PlayableDevice.h"

namespace velmaro::gstreamer {
namespace {

using namespace test;

std::ptrdiff_t entries(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

class SessionTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(writeNumberedVideo(video, "vp8enc deadline=1 ! webmmux")); }

    TemporaryDirectory directory;
    const std::string video = directory.file("numbered.webm");
};

TEST_F(SessionTest, TakesOneInputAndOneOutputThatAsksForBGRA) {
    Rig rig(video);
    const auto made = rig.capture->makeDeviceInput(rig.device());
    const auto other = rig.capture->makeDeviceInput(rig.device());
    ASSERT_TRUE(made && other);
    const auto& input = *made;
    EXPECT_FALSE(rig.session->canAddInput(nullptr));
    ASSERT_TRUE(rig.session->canAddInput(input));
    rig.session->addInput(input);
    EXPECT_FALSE(rig.session->canAddInput(input));
    EXPECT_FALSE(rig.session->canAddInput(*other));
    EXPECT_EQ(rig.session->inputs(), std::vector{input});

    const auto output = rig.capture->makeVideoDataOutput();
    const auto canAddWith = [&](const VideoSettings& settings) {
        output->setVideoSettings(settings);
        return rig.session->canAddOutput(output);
    };
    EXPECT_FALSE(rig.session->canAddOutput(output));
    EXPECT_FALSE(rig.session->canAddOutput(nullptr));
    EXPECT_FALSE(canAddWith({}));
    EXPECT_FALSE(canAddWith({{kPixelFormatTypeKey, 0x34323066}}));
    EXPECT_FALSE(canAddWith({{"Width", kPixelFormat32BGRA}}));
    EXPECT_FALSE(canAddWith({{kPixelFormatTypeKey, kPixelFormat32BGRA}, {"Width", 640}}));
    EXPECT_TRUE(canAddWith({{kPixelFormatTypeKey, kPixelFormat32BGRA}}));
    EXPECT_EQ(output->connection(), nullptr);
    rig.session->addOutput(output);
    EXPECT_FALSE(rig.session->canAddOutput(output));
    EXPECT_EQ(rig.session->outputs(), std::vector{output});

    const auto connection = output->connection();
    ASSERT_NE(connection, nullptr);
    EXPECT_TRUE(connection->isEnabled());
    EXPECT_TRUE(connection->isActive());
    rig.session->removeInput(input);
    EXPECT_EQ(output->connection(), nullptr);
    EXPECT_FALSE(connection->isActive());
    EXPECT_TRUE(rig.session->inputs().empty());
    rig.session->addInput(input);
    EXPECT_NE(output->connection(), nullptr);
    rig.session->removeOutput(output);
    EXPECT_EQ(output->connection(), nullptr);
    EXPECT_TRUE(rig.session->outputs().empty());
}

TEST_F(SessionTest, StartIsToldAndFramesFlow) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    EXPECT_FALSE(rig.session->isRunning());
    rig.session->startRunning();
    EXPECT_TRUE(rig.session->isRunning());
    EXPECT_EQ(rig.didStart, 1);
    rig.session->startRunning();
    EXPECT_EQ(rig.didStart, 1);
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() > 0; }));
    rig.session->stopRunning();
    EXPECT_FALSE(rig.session->isRunning());
    const std::size_t frames = rig.recorder->count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(rig.recorder->count(), frames);
    rig.session->stopRunning();
    EXPECT_EQ(rig.firstFrames, 1);
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() > frames; }));
    EXPECT_EQ(rig.firstFrames, 2);
    EXPECT_TRUE(rig.errors().empty());
}

TEST_F(SessionTest, StartWithoutAnInputOrAnOutputFailsWithAReason) {
    Rig rig(video);
    rig.session->startRunning();
    EXPECT_FALSE(rig.session->isRunning());
    EXPECT_EQ(rig.didStart, 0);
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_EQ(rig.errors()[0].description, "the capture session has no input");
    rig.session->addInput(*rig.capture->makeDeviceInput(rig.device()));
    rig.session->startRunning();
    EXPECT_FALSE(rig.session->isRunning());
    ASSERT_EQ(rig.errors().size(), 2U);
    EXPECT_EQ(rig.errors()[1].description, "the capture session has no output");
}

/// Hangs while it is opened, as a library may, until the test lets it go.
class HangingSource : public Source {
public:
    explicit HangingSource(std::shared_future<void> end) : end_(std::move(end)) {}

    [[nodiscard]] Pace pace() const override { return Pace::asTheyCome; }
    std::optional<Error> build(GstBin* /*pipeline*/, FrameSink& /*sink*/,
                               const Lost& /*lost*/) override {
        end_.wait();
        return error("it hung");
    }
    bool preroll(GstElement* /*pipeline*/) override { return true; }
    bool goOn(GstElement* /*pipeline*/, GstMessageType /*end*/, bool /*hasStalled*/) override {
        return false;
    }
    [[nodiscard]] Error error(const std::string& reason) const override {
        return {"hanging: " + reason, reason};
    }
    [[nodiscard]] Error explain(const GError& reason) const override {
        return error(reason.message);
    }

private:
    const std::shared_future<void> end_;
};

class HangingDevice : public PlayableDevice {
public:
    explicit HangingDevice(std::shared_future<void> end) : end_(std::move(end)) {}

    [[nodiscard]] const std::string& uniqueID() const override { return name_; }
    [[nodiscard]] const std::string& localizedName() const override { return name_; }
    [[nodiscard]] Result<std::shared_ptr<CaptureDeviceInput>> makeInput() const override {
        return std::make_shared<DeviceInput>(
            [end = end_] { return std::make_unique<HangingSource>(end); });
    }

private:
    const std::shared_future<void> end_;
    const std::string name_ = "hanging";
};

TEST_F(SessionTest, AStartThatNeverEndsFailsInTheEndAndALaterOneWorks) {
    CaptureOptions options;
    options.files = {FileCamera::fromPath(video)};
    options.longestStart = 0s;
    Rig rig(std::move(options));
    std::promise<void> end;
    ASSERT_EQ(rig.setUp(std::make_shared<HangingDevice>(end.get_future().share())), "");
    rig.session->startRunning();
    EXPECT_FALSE(rig.session->isRunning());
    EXPECT_EQ(rig.didStart, 0);
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_EQ(rig.errors()[0].description, "hanging: it does not answer");
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() > 0; }));
    end.set_value();
    EXPECT_EQ(rig.errors().size(), 1U);
}

TEST_F(SessionTest, StartWithoutAThreadToBeHadFailsWithAReasonAndALaterOneWorks) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    {
        const ThreadShortage shortage;
        rig.session->startRunning();
    }
    EXPECT_FALSE(rig.session->isRunning());
    EXPECT_EQ(rig.didStart, 0);
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_EQ(rig.errors()[0].localizedDescription, "the system has no thread to spare");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() > 0; }));
}

TEST_F(SessionTest, RestartBeginsAtTheFirstFrame) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    for (int round = 0; round < 3; ++round) {
        const std::size_t before = rig.recorder->count();
        rig.session->startRunning();
        ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= before + 4; }));
        rig.session->stopRunning();
        EXPECT_EQ(rig.recorder->numbers().at(before), 0);
    }
}

TEST_F(SessionTest, SetUpAnewWhileRunning) {
    Rig rig(video);
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(rig.setUp(), "");
        // The earlier input went with the commit, and its frames with it.
        EXPECT_FALSE(rig.session->isRunning());
        rig.session->startRunning();
        EXPECT_TRUE(rig.session->isRunning());
        const std::size_t before = rig.recorder->count();
        EXPECT_TRUE(eventually([&] { return rig.recorder->count() > before; }));
    }
}

TEST_F(SessionTest, ChangesTakeEffectAtTheCommit) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    const auto connection = rig.output->connection();
    const auto input = rig.session->inputs().at(0);
    rig.session->beginConfiguration();
    rig.session->removeInput(input);
    rig.session->removeOutput(rig.output);
    EXPECT_TRUE(connection->isActive());
    // Whoever starts now starts what was committed before.
    rig.session->startRunning();
    EXPECT_TRUE(rig.session->isRunning());
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= 3; }));
    rig.session->commitConfiguration();
    EXPECT_FALSE(connection->isActive());
    EXPECT_EQ(rig.output->connection(), nullptr);
    EXPECT_FALSE(rig.session->isRunning());
    rig.session->startRunning();
    EXPECT_FALSE(rig.session->isRunning());
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_EQ(rig.errors()[0].description, "the capture session has no input");
}

// As when keys run through the list of sources: a start that is queued meets the next change.
TEST_F(SessionTest, StartsThatMeetChangesOfTheCameraUseWhatWasCommitted) {
    const std::string other = directory.file("other.webm");
    std::filesystem::copy_file(video, other);
    CaptureOptions options;
    options.files = {FileCamera::fromPath(video), FileCamera::fromPath(other)};
    Rig rig(std::move(options));
    const auto cameras = rig.devices();
    ASSERT_EQ(rig.setUp(cameras.at(0)), "");
    std::atomic<bool> isOver = false;
    std::thread starts([&] {
        while (!isOver) {
            rig.session->startRunning();
        }
    });
    for (std::size_t change = 0; change < 100; ++change) {
        EXPECT_EQ(rig.setUp(cameras.at(change % 2)), "");
        // Some meet a start that is under way, others a session that runs.
        std::this_thread::sleep_for(change % 5 * 2ms);
    }
    isOver = true;
    starts.join();
    EXPECT_TRUE(rig.errors().empty());
    EXPECT_TRUE(rig.session->isRunning());
    const std::size_t before = rig.recorder->count();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() > before; }));
}

TEST_F(SessionTest, AStartThatIsUnderWayEndsWithTheChangeOfTheCamera) {
    const std::string white = directory.file("white.png");
    ASSERT_TRUE(writePicture(white, "pngenc", 64, 48, 0xffffffff));
    CaptureOptions options;
    options.files = {FileCamera::fromPath(video), FileCamera::fromPath(white)};
    Rig rig(std::move(options));
    const auto cameras = rig.devices();
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(rig.setUp(cameras.at(0)), "");
        std::thread start([&] { rig.session->startRunning(); });
        std::this_thread::sleep_for(round * 200us);
        ASSERT_EQ(rig.setUp(cameras.at(1)), "");
        start.join();
        const std::size_t before = rig.recorder->count();
        rig.session->startRunning();
        ASSERT_TRUE(eventually([&] { return rig.recorder->count() > before; }));
        EXPECT_EQ(rig.recorder->numbers().back(), 15) << "white, in round " << round;
    }
    EXPECT_TRUE(rig.errors().empty());
}

TEST_F(SessionTest, AnInputReplacedWithinOneChangeKeepsItsOutput) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    const auto earlier = rig.output->connection();
    const auto other = rig.capture->makeDeviceInput(rig.device());
    ASSERT_TRUE(other);
    rig.session->beginConfiguration();
    rig.session->removeInput(rig.session->inputs().at(0));
    rig.session->addInput(*other);
    const auto unused = rig.output->connection();
    rig.session->removeInput(*other);
    EXPECT_FALSE(unused->isActive());
    rig.session->addInput(*other);
    const auto later = rig.output->connection();
    ASSERT_NE(later, nullptr);
    rig.session->commitConfiguration();
    EXPECT_FALSE(earlier->isActive());
    EXPECT_TRUE(later->isActive());
    EXPECT_EQ(rig.output->connection(), later);
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() > 0; }));
}

TEST_F(SessionTest, FileThatVanishedBeforeARestartIsARuntimeError) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    rig.session->stopRunning();
    std::filesystem::remove(video);
    rig.session->startRunning();
    EXPECT_FALSE(rig.session->isRunning());
    EXPECT_EQ(rig.didStart, 1);
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_FALSE(rig.errors()[0].localizedDescription.empty());
}

TEST_F(SessionTest, DisabledConnectionPassesNoFrames) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    const auto connection = rig.output->connection();
    connection->setEnabled(false);
    rig.session->startRunning();
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(rig.recorder->count() + rig.recorder->drops(), 0U);
    connection->setEnabled(true);
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() > 0; }));
}

TEST_F(SessionTest, SlowHandlerDropsFramesAndSeesTheNewest) {
    Rig rig(video);
    rig.recorder->onFrame = [] { std::this_thread::sleep_for(150ms); };
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 8; }));
    rig.session->stopRunning();
    const auto frames = rig.recorder->frames();
    const std::size_t drops = rig.recorder->drops();
    EXPECT_GE(drops, frames.size());
    // A few may still have waited when the session stopped; these are told to nobody.
    EXPECT_GE(rig.telemetry.framesDropped, drops);
    EXPECT_EQ(rig.telemetry.framesIn, frames.size());
    // The numbers skipped up to the last frame are exactly the drops told before it.
    int steps = 0;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        steps += (frames[i].number - frames[i - 1].number + kNumberedFrames) % kNumberedFrames;
    }
    EXPECT_EQ(static_cast<std::size_t>(steps), frames.size() - 1 + frames.back().dropsBefore);
}

TEST_F(SessionTest, ArrivalIsKnownWhileAFrameIsHandled) {
    std::atomic<std::int64_t> longest = -1;
    Rig rig(video);
    rig.telemetry.onFrameToDatagram = [&](Telemetry::Clock::duration duration) {
        longest = std::max(longest.load(), std::int64_t{duration.count()});
    };
    rig.recorder->onFrame = [&] { rig.telemetry.datagramSent(); };
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 2; }));
    rig.session->stopRunning();
    EXPECT_GT(longest, 0);
    EXPECT_LT(longest, std::chrono::nanoseconds(5s).count());
}

TEST_F(SessionTest, StopInsideTheHandlerEndsTheFrames) {
    Rig rig(video);
    rig.recorder->onFrame = [&] { rig.session->stopRunning(); };
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() > 0; }));
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(rig.recorder->count(), 1U);
    EXPECT_FALSE(rig.session->isRunning());
}

TEST_F(SessionTest, StopWaitsForTheFrameBeingHandled) {
    std::atomic<int> inside = 0;
    Rig rig(video);
    rig.recorder->onFrame = [&] {
        ++inside;
        std::this_thread::sleep_for(100ms);
        --inside;
    };
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return inside.load() == 1; }));
    rig.session->stopRunning();
    EXPECT_EQ(inside, 0);
}

TEST_F(SessionTest, StopDuringTheStartReleasesIt) {
    Rig rig(video);
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(rig.setUp(), "");
        std::thread starter([&] { rig.session->startRunning(); });
        std::this_thread::sleep_for(i * 200us);
        rig.session->stopRunning();
        rig.session->stopRunning();
        starter.join();
        // A start that had not begun when the stop came is a start of its own.
        rig.session->stopRunning();
        EXPECT_FALSE(rig.session->isRunning());
    }
    EXPECT_TRUE(rig.errors().empty());
}

TEST_F(SessionTest, DestroyedWhileRunning) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() > 0; }));
    rig.session.reset();
    const std::size_t frames = rig.recorder->count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(rig.recorder->count(), frames);
}

TEST_F(SessionTest, CaptureDestroyedWhileRunningClosesEverything) {
    const auto threads = entries("/proc/self/task");
    {
        Rig rig(video);
        ASSERT_EQ(rig.setUp(), "");
        rig.session->startRunning();
        const auto unused = rig.capture->makeDeviceInput(rig.device());
        rig.capture.reset();
    }
    EXPECT_TRUE(eventually([&] { return entries("/proc/self/task") <= threads; }));
}

TEST_F(SessionTest, FrameOutlivesTheSession) {
    Rig rig(video);
    rig.recorder->keep = true;
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 5; }));
    rig.session.reset();
    rig.capture.reset();
    const auto numbers = rig.recorder->numbers();
    const auto kept = rig.recorder->kept();
    ASSERT_EQ(kept.size(), numbers.size());
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const std::byte* const last = kept[i]->baseAddress() +
                                      std::ptrdiff_t{47} * kept[i]->bytesPerRow() +
                                      std::ptrdiff_t{4} * 63;
        EXPECT_EQ(frameOfGrey(static_cast<int>(last[0])), numbers[i]);
    }
}

TEST_F(SessionTest, PictureIsSharedNotCopied) {
    const std::string picture = directory.file("picture.png");
    ASSERT_TRUE(writePicture(picture, "pngenc", 64, 48, 0xff808080));
    Rig rig(picture);
    rig.recorder->keep = true;
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 3; }));
    rig.session->stopRunning();
    const auto kept = rig.recorder->kept();
    EXPECT_EQ(kept[0]->baseAddress(), kept[1]->baseAddress());
    EXPECT_EQ(kept[0]->baseAddress(), kept[2]->baseAddress());
}

#ifdef VELMARO_SANITIZED
constexpr int kManyStarts = 60;  // Each takes much longer here.
#else
constexpr int kManyStarts = 200;
#endif

TEST_F(SessionTest, ManyStartsLeaveNothingBehind) {
    Rig rig(video);
    ASSERT_EQ(rig.setUp(), "");
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t files = 0;
    for (int i = 0; i < kManyStarts; ++i) {
        rig.session->startRunning();
        ASSERT_TRUE(rig.session->isRunning());
        if (i % 20 == 0) {
            const std::size_t before = rig.recorder->count();
            EXPECT_TRUE(eventually([&] { return rig.recorder->count() > before; }));
        }
        rig.session->stopRunning();
        if (i == 20) {
            // By now every lazily made thread of the libraries is there.
            std::this_thread::sleep_for(200ms);
            threads = entries("/proc/self/task");
            files = entries("/proc/self/fd");
        }
    }
    EXPECT_TRUE(eventually([&] { return entries("/proc/self/task") <= threads; }))
        << entries("/proc/self/task") << " threads, before " << threads;
    EXPECT_TRUE(eventually([&] { return entries("/proc/self/fd") <= files; }))
        << entries("/proc/self/fd") << " files, before " << files;
    EXPECT_EQ(rig.didStart, kManyStarts);
}

}  // namespace
}  // namespace velmaro::gstreamer
