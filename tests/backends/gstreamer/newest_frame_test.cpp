#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Rig.h"
#include "backends/gstreamer/NewestFrame.h"
#include "backends/gstreamer/VideoOutput.h"
#include "fakes/Dispatch.h"

namespace velmaro::gstreamer {
namespace {

using namespace std::chrono_literals;

class NumberedPicture : public PixelBuffer {
public:
    explicit NumberedPicture(int number) : number(number) {}
    [[nodiscard]] int width() const override { return 1; }
    [[nodiscard]] int height() const override { return 1; }
    [[nodiscard]] std::ptrdiff_t bytesPerRow() const override { return 4; }
    [[nodiscard]] const std::byte* baseAddress() const override { return nullptr; }
    const int number;
};

class Numbers : public SampleBufferDelegate {
public:
    void captureOutputDidOutput(const SampleBuffer& sampleBuffer) override {
        events.push_back(dynamic_cast<const NumberedPicture&>(*sampleBuffer.imageBuffer).number);
        if (onFrame) {
            onFrame();
        }
    }
    void captureOutputDidDrop() override {
        events.push_back(-1);
        if (onDrop) {
            onDrop();
        }
    }
    std::vector<int> events;
    std::function<void()> onFrame;
    std::function<void()> onDrop;
};

class NewestFrameTest : public testing::Test {
protected:
    /// True if a delivery was queued for it.
    bool put(int number, int discardedBefore = 0) {
        const std::size_t pending = queue->pending();
        newest->put(std::make_shared<NumberedPicture>(number), Telemetry::Clock::now(),
                    discardedBefore);
        return queue->pending() > pending;
    }
    void deliver() { queue->run(); }

    Telemetry telemetry;
    int firsts = 0;
    std::shared_ptr<Numbers> delegate = std::make_shared<Numbers>();
    std::shared_ptr<fakes::HandCrankedQueue> queue =
        std::make_shared<fakes::HandCrankedQueue>("frames");
    std::shared_ptr<VideoConnection> connection = std::make_shared<VideoConnection>();
    std::shared_ptr<NewestFrame> newest =
        std::make_shared<NewestFrame>(delegate, queue, connection, telemetry, [this] { ++firsts; });
};

TEST_F(NewestFrameTest, AsksForOneDeliveryPerFilledSlot) {
    EXPECT_TRUE(put(1));
    EXPECT_FALSE(put(2));
    EXPECT_FALSE(put(3));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, 3}));
    EXPECT_TRUE(put(4));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, 3, 4}));
    EXPECT_EQ(telemetry.framesIn, 2U);
    EXPECT_EQ(telemetry.framesDropped, 2U);
}

TEST_F(NewestFrameTest, TellsWhatWasDiscardedOnTheWayAmongItsOwn) {
    EXPECT_TRUE(put(1, 2));
    EXPECT_FALSE(put(5, 1));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, -1, -1, 5}));
    EXPECT_TRUE(put(7, 1));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, -1, -1, 5, -1, 7}));
    EXPECT_EQ(telemetry.framesIn, 2U);
    EXPECT_EQ(telemetry.framesDropped, 5U);
}

TEST_F(NewestFrameTest, TellsOfTheFirstDeliveryBeforeIt) {
    delegate->onFrame = [this] { EXPECT_EQ(firsts, 1); };
    EXPECT_TRUE(put(1));
    EXPECT_EQ(firsts, 0);
    deliver();
    EXPECT_TRUE(put(2));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{1, 2}));
    EXPECT_EQ(firsts, 1);
}

TEST_F(NewestFrameTest, FrameThatComesWhileOneIsHandledWaits) {
    delegate->onFrame = [this] {
        delegate->onFrame = nullptr;
        EXPECT_TRUE(put(2));
    };
    EXPECT_TRUE(put(1));
    queue->runOne();
    EXPECT_EQ(delegate->events, (std::vector{1}));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{1, 2}));
    EXPECT_EQ(telemetry.framesDropped, 0U);
}

TEST_F(NewestFrameTest, ClosedDeliversNothingAndReleasesTheFrame) {
    const auto picture = std::make_shared<NumberedPicture>(1);
    newest->put(picture, Telemetry::Clock::now());
    newest->close();
    EXPECT_EQ(picture.use_count(), 1);
    deliver();
    EXPECT_FALSE(put(2));
    EXPECT_TRUE(delegate->events.empty());
}

TEST_F(NewestFrameTest, ClosingInsideTheFrameReturnsAndEndsDelivery) {
    delegate->onFrame = [this] { newest->close(); };
    EXPECT_TRUE(put(1));
    deliver();
    EXPECT_FALSE(put(2));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{1}));
}

TEST_F(NewestFrameTest, ClosingInsideADropWithholdsTheFrame) {
    delegate->onDrop = [this] { newest->close(); };
    EXPECT_TRUE(put(1));
    EXPECT_FALSE(put(2));
    EXPECT_FALSE(put(3));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1}));
}

TEST_F(NewestFrameTest, ClosingWaitsForTheFrameBeingHandled) {
    std::atomic<bool> entered = false;
    std::atomic<bool> left = false;
    delegate->onFrame = [&] {
        entered = true;
        std::this_thread::sleep_for(50ms);
        left = true;
    };
    EXPECT_TRUE(put(1));
    std::thread handler([this] { deliver(); });
    ASSERT_TRUE(test::eventually([&] { return entered.load(); }));
    newest->close();
    EXPECT_TRUE(left);
    handler.join();
}

TEST_F(NewestFrameTest, NothingComesThroughADisabledConnectionOrWithoutAQueue) {
    connection->setEnabled(false);
    EXPECT_FALSE(put(1));
    connection->setEnabled(true);
    EXPECT_TRUE(put(2));
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{2}));
    NewestFrame aimless(delegate, nullptr, connection, telemetry);
    aimless.put(std::make_shared<NumberedPicture>(3), Telemetry::Clock::now());
    aimless.afterFrames([] { FAIL() << "there is nowhere to run it"; });
    EXPECT_EQ(delegate->events, (std::vector{2}));
}

TEST_F(NewestFrameTest, KeepingTheBeatAFrameWaitsOrIsPassedOverButIsNoDrop) {
    const auto putAt = [this](int number, Telemetry::Clock::time_point arrival) {
        newest->put(std::make_shared<NumberedPicture>(number), arrival, 0, true);
    };
    putAt(1, Telemetry::Clock::now());
    deliver();
    const auto handed = Telemetry::Clock::now();
    putAt(2, handed);
    EXPECT_EQ(queue->pending() + queue->pendingDelayed(), 0U);
    EXPECT_EQ(telemetry.framesPassedOver, 1U);
    putAt(3, handed + 30ms);
    EXPECT_EQ(queue->pendingDelayed(), 1U);
    putAt(4, handed + 31ms);
    EXPECT_EQ(queue->pendingDelayed(), 1U);
    EXPECT_EQ(telemetry.framesPassedOver, 2U);
    queue->advance(1);
    EXPECT_EQ(delegate->events, (std::vector{1, 4}));
    EXPECT_EQ(telemetry.framesDropped, 0U);
    // Late by itself, it does not wait.
    putAt(5, Telemetry::Clock::now() + 100ms);
    EXPECT_EQ(queue->pending(), 1U);
    // The delegate is slow: that is a drop.
    putAt(6, Telemetry::Clock::now() + 200ms);
    deliver();
    EXPECT_EQ(delegate->events, (std::vector{1, 4, -1, 6}));
    EXPECT_EQ(telemetry.framesDropped, 1U);
}

TEST_F(NewestFrameTest, SaysAheadWhatTheBeatWillPassOver) {
    EXPECT_FALSE(newest->passesOver(Telemetry::Clock::now())) << "the first one";
    newest->put(std::make_shared<NumberedPicture>(1), Telemetry::Clock::now(), 0, true);
    const auto before = Telemetry::Clock::now();
    deliver();
    EXPECT_FALSE(newest->passesOver(Telemetry::Clock::now() + 30ms));
    EXPECT_EQ(telemetry.framesPassedOver, 0U);
    EXPECT_TRUE(newest->passesOver(before));
    EXPECT_EQ(telemetry.framesPassedOver, 1U);
    connection->setEnabled(false);
    EXPECT_FALSE(newest->passesOver(before)) << "ignored, as every frame is";
    connection->setEnabled(true);
    newest->put(std::make_shared<NumberedPicture>(2), Telemetry::Clock::now() + 100ms, 0, true);
    EXPECT_FALSE(newest->passesOver(before)) << "it takes the place of one";
    deliver();
    newest->close();
    EXPECT_FALSE(newest->passesOver(before));
    EXPECT_EQ(telemetry.framesPassedOver, 1U);
}

TEST_F(NewestFrameTest, TheBeatCountsFromAFrameThatIsStillHandled) {
    const auto begin = Telemetry::Clock::now();
    delegate->onFrame = [&] {
        newest->put(std::make_shared<NumberedPicture>(2), Telemetry::Clock::now(), 0, true);
    };
    newest->put(std::make_shared<NumberedPicture>(1), begin, 0, true);
    queue->runOne();
    EXPECT_EQ(telemetry.framesPassedOver, 1U) << "it came at once after the one before";
}

TEST_F(NewestFrameTest, DelegateThatIsGoneIsSkipped) {
    delegate.reset();
    EXPECT_TRUE(put(1));
    deliver();
    EXPECT_EQ(telemetry.framesIn, 0U);
}

TEST_F(NewestFrameTest, EveryFrameIsDeliveredOrDroppedOnceInOrder) {
    constexpr int kFrames = 20000;
    const auto thread = std::make_shared<AsioSerialQueue>("frames");
    newest = std::make_shared<NewestFrame>(delegate, thread, connection, telemetry);
    for (int i = 1; i <= kFrames; ++i) {
        newest->put(std::make_shared<NumberedPicture>(i), Telemetry::Clock::now());
    }
    test::drain(*thread);
    int drops = 0;
    int last = 0;
    for (const int event : delegate->events) {
        if (event < 0) {
            ++drops;
        } else {
            // The drops told before a frame are exactly those between it and the one before.
            last = last + drops + 1;
            drops = 0;
            ASSERT_EQ(event, last);
        }
    }
    EXPECT_EQ(last, kFrames);
    EXPECT_EQ(drops, 0);
    EXPECT_EQ(telemetry.framesIn + telemetry.framesDropped, static_cast<unsigned>(kFrames));
}

}  // namespace
}  // namespace velmaro::gstreamer
