#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "backends/motion/Live.h"
#include "backends/motion/MotionChooser.h"
#include "backends/motion/MotionThread.h"
#include "fakes/Dispatch.h"
#include "fakes/HeadphoneMotion.h"

namespace velmaro {
namespace {

class Listener : public HeadphoneMotionDelegate {
public:
    void headphoneMotionManagerDidConnect() override { heard += '+'; }
    void headphoneMotionManagerDidDisconnect() override { heard += '-'; }
    std::string heard;
};

class Chooser : public testing::Test {
protected:
    Chooser() {
        std::vector<std::unique_ptr<HeadphoneMotion>> sources;
        for (auto** const source : {&first, &second}) {
            auto made = std::make_unique<fakes::ScriptedHeadphoneMotion>();
            *source = made.get();
            sources.push_back(std::move(made));
        }
        chooser = std::make_unique<MotionChooser>(std::move(sources));
        chooser->setDelegate(listener);
    }
    void come(fakes::ScriptedHeadphoneMotion& source) {
        source.available = true;
        source.connect();
    }
    void go(fakes::ScriptedHeadphoneMotion& source) {
        source.available = false;
        source.disconnect();
    }
    void start() {
        chooser->startDeviceMotionUpdates(delivery, [this](const auto& sample, const auto&) {
            received.push_back(sample->attitude.quaternion.x);
        });
    }

    fakes::HandCrankedQueue delivery{"delivery"};
    fakes::ScriptedHeadphoneMotion* first = nullptr;
    fakes::ScriptedHeadphoneMotion* second = nullptr;
    std::unique_ptr<MotionChooser> chooser;
    const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    std::vector<double> received;
};

TEST_F(Chooser, IsAvailableWhenAnySourceIs) {
    EXPECT_FALSE(chooser->isDeviceMotionAvailable());
    second->available = true;
    EXPECT_TRUE(chooser->isDeviceMotionAvailable());
    first->available = true;
    second->available = false;
    EXPECT_TRUE(chooser->isDeviceMotionAvailable());
}

TEST_F(Chooser, StartsTheFirstThatIsAvailable) {
    first->available = second->available = true;
    EXPECT_FALSE(chooser->isDeviceMotionActive());
    start();
    EXPECT_TRUE(chooser->isDeviceMotionActive());
    EXPECT_TRUE(first->active);
    EXPECT_FALSE(second->active);
    EXPECT_EQ(first->startedOn, &delivery);
    first->deliver(CMQuaternion{0.5, 0, 0, 0});
    second->deliver(CMQuaternion{0.25, 0, 0, 0});
    EXPECT_EQ(received, (std::vector<double>{0.5}));
    chooser->stopDeviceMotionUpdates();
    EXPECT_FALSE(first->active);
    EXPECT_FALSE(chooser->isDeviceMotionActive());
}

TEST_F(Chooser, NotifiesOfTheFirstArrivalAndTheLastDepartureOnly) {
    come(*second);
    EXPECT_EQ(listener->heard, "+");
    come(*first);
    go(*second);
    EXPECT_EQ(listener->heard, "+");
    go(*first);
    EXPECT_EQ(listener->heard, "+-");
    come(*first);
    EXPECT_EQ(listener->heard, "+-+");
}

TEST_F(Chooser, IsSilentAboutWhatWasThereWhenTheDelegateCame) {
    second->available = true;
    chooser->setDelegate(listener);
    second->connect();
    EXPECT_EQ(listener->heard, "");
    go(*second);
    EXPECT_EQ(listener->heard, "-");
}

TEST_F(Chooser, StaysWithItsSourceWhenABetterOneComes) {
    come(*second);
    start();
    come(*first);
    EXPECT_TRUE(second->active);
    EXPECT_FALSE(first->active);
}

TEST_F(Chooser, GoesOnWithWhatIsLeft) {
    come(*first);
    come(*second);
    start();
    go(*first);
    EXPECT_FALSE(first->active);
    EXPECT_TRUE(second->active);
    second->deliver(CMQuaternion{0.25, 0, 0, 0});
    EXPECT_EQ(received, (std::vector<double>{0.25}));
    EXPECT_EQ(listener->heard, "+");
}

TEST_F(Chooser, WaitsForASourceToComeBackOrAnotherToCome) {
    come(*first);
    start();
    go(*first);
    EXPECT_TRUE(first->active) << "it may come back by itself";
    EXPECT_TRUE(chooser->isDeviceMotionActive());
    come(*first);
    EXPECT_EQ(first->startCount, 1);
    go(*first);
    come(*second);
    EXPECT_FALSE(first->active);
    EXPECT_TRUE(second->active);
}

TEST_F(Chooser, AStartWithoutASourceWaitsForOne) {
    start();
    EXPECT_TRUE(chooser->isDeviceMotionActive());
    come(*second);
    EXPECT_TRUE(second->active);
}

TEST_F(Chooser, AStopForgetsTheChoice) {
    come(*second);
    start();
    chooser->stopDeviceMotionUpdates();
    come(*first);
    EXPECT_FALSE(first->active);
    start();
    EXPECT_TRUE(first->active);
    EXPECT_FALSE(second->active);
    start();
    EXPECT_EQ(first->startCount, 1);
}

TEST_F(Chooser, WithoutSourcesNothingEverComes) {
    MotionChooser none({});
    EXPECT_FALSE(none.isDeviceMotionAvailable());
    none.startDeviceMotionUpdates(delivery, [](const auto&, const auto&) { FAIL(); });
    EXPECT_TRUE(none.isDeviceMotionActive());
    none.stopDeviceMotionUpdates();
    EXPECT_FALSE(none.isDeviceMotionActive());
}

/// Comes and goes without pause.
class Restless : public MotionDriver {
public:
    void run(MotionThread& thread) override {
        for (bool isThere = true; !thread.isEnding(); isThere = !isThere) {
            thread.setAvailable(isThere);
            thread.deliver({});
            thread.wait({}, std::chrono::milliseconds(0));
        }
    }
};

/// Hears on several threads, in turns.
class Counter : public HeadphoneMotionDelegate {
public:
    void headphoneMotionManagerDidConnect() override { hear('+'); }
    void headphoneMotionManagerDidDisconnect() override { hear('-'); }
    std::atomic<int> changes = 0;
    std::atomic<bool> isAlternating = true;

private:
    void hear(char change) {
        if (last_.exchange(change) == change) {
            isAlternating = false;
        }
        ++changes;
    }
    std::atomic<char> last_ = ' ';
};

TEST(MotionChooser, ChoosesAmongThreadsWhileItIsStartedStoppedAndEnded) {
    fakes::HandCrankedQueue queue{"delivery"};
    for (int i = 0; i < 20; ++i) {
        const auto counter = std::make_shared<Counter>();
        std::vector<std::unique_ptr<HeadphoneMotion>> sources;
        for (const char* const name : {"first", "second"}) {
            sources.push_back(std::make_unique<MotionThread>(name, std::make_unique<Restless>()));
        }
        MotionChooser chooser(std::move(sources));
        chooser.setDelegate(counter);
        int received = 0;
        chooser.startDeviceMotionUpdates(queue, [&](const auto&, const auto&) { ++received; });
        EXPECT_TRUE(live::eventually([&] {
            queue.run();
            return counter->changes > 3 && received > 3;
        }));
        EXPECT_TRUE(counter->isAlternating);
        chooser.stopDeviceMotionUpdates();
        received = 0;
        queue.run();
        EXPECT_EQ(received, 0);
    }
}

}  // namespace
}  // namespace velmaro
