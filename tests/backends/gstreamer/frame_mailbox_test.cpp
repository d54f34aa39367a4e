#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Rig.h"
#include "backends/gstreamer/FrameMailbox.h"

namespace velmaro::gstreamer {
namespace {

using namespace std::chrono_literals;

class Picture : public PixelBuffer {
public:
    explicit Picture(int number) : number(number) {}
    [[nodiscard]] int width() const override { return 1; }
    [[nodiscard]] int height() const override { return 1; }
    [[nodiscard]] std::ptrdiff_t bytesPerRow() const override { return 4; }
    [[nodiscard]] const std::byte* baseAddress() const override { return nullptr; }
    const int number;
};

class Numbers : public SampleBufferDelegate {
public:
    void captureOutputDidOutput(const SampleBuffer& sampleBuffer) override {
        events.push_back(dynamic_cast<const Picture&>(*sampleBuffer.imageBuffer).number);
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

class FrameMailboxTest : public testing::Test {
protected:
    bool put(int number, int discardedBefore = 0) {
        return mailbox->put(std::make_shared<Picture>(number), Telemetry::Clock::now(),
                            discardedBefore);
    }

    Telemetry telemetry;
    std::shared_ptr<Numbers> delegate = std::make_shared<Numbers>();
    std::shared_ptr<FrameMailbox> mailbox = std::make_shared<FrameMailbox>(delegate, telemetry);
};

TEST_F(FrameMailboxTest, AsksForOneDeliveryPerFilledSlot) {
    EXPECT_TRUE(put(1));
    EXPECT_FALSE(put(2));
    EXPECT_FALSE(put(3));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, 3}));
    EXPECT_TRUE(put(4));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, 3, 4}));
    EXPECT_EQ(telemetry.framesIn, 2U);
    EXPECT_EQ(telemetry.framesDropped, 2U);
}

TEST_F(FrameMailboxTest, TellsWhatWasDiscardedOnTheWayAmongItsOwn) {
    EXPECT_TRUE(put(1, 2));
    EXPECT_FALSE(put(5, 1));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, -1, -1, 5}));
    EXPECT_TRUE(put(7, 1));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1, -1, -1, -1, 5, -1, 7}));
    EXPECT_EQ(telemetry.framesIn, 2U);
    EXPECT_EQ(telemetry.framesDropped, 5U);
}

TEST_F(FrameMailboxTest, FrameThatComesWhileOneIsHandledWaits) {
    delegate->onFrame = [this] {
        delegate->onFrame = nullptr;
        EXPECT_TRUE(put(2));
    };
    EXPECT_TRUE(put(1));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{1}));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{1, 2}));
    EXPECT_EQ(telemetry.framesDropped, 0U);
}

TEST_F(FrameMailboxTest, ClosedDeliversNothingAndReleasesTheFrame) {
    const auto picture = std::make_shared<Picture>(1);
    EXPECT_TRUE(mailbox->put(picture, Telemetry::Clock::now()));
    mailbox->close();
    EXPECT_EQ(picture.use_count(), 1);
    mailbox->deliver();
    EXPECT_FALSE(put(2));
    EXPECT_TRUE(delegate->events.empty());
}

TEST_F(FrameMailboxTest, ClosingInsideTheFrameReturnsAndEndsDelivery) {
    delegate->onFrame = [this] { mailbox->close(); };
    EXPECT_TRUE(put(1));
    mailbox->deliver();
    EXPECT_FALSE(put(2));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{1}));
}

TEST_F(FrameMailboxTest, ClosingInsideADropWithholdsTheFrame) {
    delegate->onDrop = [this] { mailbox->close(); };
    EXPECT_TRUE(put(1));
    EXPECT_FALSE(put(2));
    EXPECT_FALSE(put(3));
    mailbox->deliver();
    EXPECT_EQ(delegate->events, (std::vector{-1}));
}

TEST_F(FrameMailboxTest, ClosingWaitsForTheFrameBeingHandled) {
    std::atomic<bool> entered = false;
    std::atomic<bool> left = false;
    delegate->onFrame = [&] {
        entered = true;
        std::this_thread::sleep_for(50ms);
        left = true;
    };
    EXPECT_TRUE(put(1));
    std::thread handler([this] { mailbox->deliver(); });
    ASSERT_TRUE(test::eventually([&] { return entered.load(); }));
    mailbox->close();
    EXPECT_TRUE(left);
    handler.join();
}

TEST_F(FrameMailboxTest, DelegateThatIsGoneIsSkipped) {
    delegate.reset();
    EXPECT_TRUE(put(1));
    mailbox->deliver();
    EXPECT_EQ(telemetry.framesIn, 0U);
}

TEST_F(FrameMailboxTest, EveryFrameIsDeliveredOrDroppedOnceInOrder) {
    constexpr int kFrames = 20000;
    auto queue = std::make_shared<test::ThreadQueue>();
    for (int i = 1; i <= kFrames; ++i) {
        if (put(i)) {
            queue->async([this] { mailbox->deliver(); });
        }
    }
    queue->sync([] {});
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
