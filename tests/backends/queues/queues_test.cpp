#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "Mailbox.h"
#include "ThreadShortage.h"
#include "backends/queues/AsioDispatch.h"
#include "backends/queues/AsioMainQueue.h"
#include "backends/queues/PostsAfterWork.h"

namespace velmaro {
namespace {

using std::chrono::duration;
using std::chrono::steady_clock;

std::string currentThreadName() {
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

class QueuesTest : public testing::Test {
protected:
    AsioMainQueue mainQueue;
    std::optional<AsioDispatch> dispatch{mainQueue};

    /// Work on the global queues may use a test's latches up to here.
    void endQueues() { dispatch.reset(); }

    std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label = "frames") {
        return dispatch->makeSerialQueue(label, QualityOfService::userInitiated);
    }
};

using SerialQueueTest = QueuesTest;

TEST_F(SerialQueueTest, RunsOnAThreadOfItsOwnThatCarriesTheLabel) {
    const auto queue = makeSerialQueue("VideoOutputQueue");
    const auto other = makeSerialQueue("other");
    Mailbox<std::string> names;
    EXPECT_FALSE(queue->isCurrent());
    queue->async([&] {
        EXPECT_TRUE(queue->isCurrent());
        EXPECT_FALSE(other->isCurrent());
        names.put(currentThreadName());
    });
    EXPECT_EQ(names.take(), "VideoOutputQueu");
    other->async([&] { names.put(currentThreadName()); });
    EXPECT_EQ(names.take(), "other");
}

TEST_F(SerialQueueTest, KeepsTheOrderAndRunsOneAtATime) {
    constexpr int kThreads = 6;
    constexpr int kEach = 400;
    std::array<std::vector<int>, kThreads> ran;
    std::atomic<int> inside = 0;
    std::latch done(std::ptrdiff_t{kThreads} * kEach);
    const auto queue = makeSerialQueue();
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kEach; ++i) {
                queue->async([&, thread, i] {
                    EXPECT_EQ(inside.fetch_add(1), 0);
                    ran[thread].push_back(i);
                    inside.fetch_sub(1);
                    done.count_down();
                });
            }
        });
    }
    done.wait();
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& each : ran) {
        EXPECT_TRUE(std::is_sorted(each.begin(), each.end()));
    }
}

TEST_F(SerialQueueTest, TheMainThreadDoesNotOvertakeTheWorkThatPostsToIt) {
    MainQueueAfterWork afterWork(mainQueue);
    const auto queue = makeSerialQueue();
    std::vector<int> ran;
    const auto work = [&](int number) {
        return [&, number] {
            EXPECT_FALSE(afterWork.isCurrent());
            afterWork.async([&ran, number] { ran.push_back(number); });
            afterWork.async([&ran, number] { ran.push_back(number + 1); });
            // The main thread comes by before the work ends.
            std::latch cameBy(1);
            mainQueue.async([&ran, &cameBy] {
                ran.push_back(0);
                cameBy.count_down();
            });
            cameBy.wait();
        };
    };
    queue->async(work(1));
    queue->asyncAfter(duration<double>(0), work(3));
    queue->asyncAfter(duration<double>(0.001),
                      [&] { afterWork.async([this] { mainQueue.stop(); }); });
    mainQueue.run();
    EXPECT_TRUE(afterWork.isCurrent());
    EXPECT_EQ(ran, (std::vector{0, 1, 2, 0, 3, 4}));
}

TEST_F(SerialQueueTest, DelayedWorkAndThatOfOtherThreadsDoesNotWaitForIt) {
    MainQueueAfterWork afterWork(mainQueue);
    const auto queue = makeSerialQueue();
    std::latch ranAll(2);
    queue->async([&] {
        afterWork.asyncAfter(duration<double>(0), [&] { ranAll.count_down(); });
        std::thread([&] { afterWork.async([&] { ranAll.count_down(); }); }).join();
        ranAll.wait();
        afterWork.async([this] { mainQueue.stop(); });
    });
    mainQueue.run();
}

TEST_F(SerialQueueTest, DelayedWorkIsNotEarly) {
    const auto queue = makeSerialQueue();
    Mailbox<steady_clock::time_point> times;
    const auto start = steady_clock::now();
    queue->asyncAfter(duration<double>(0.05), [&] { times.put(steady_clock::now()); });
    const auto time = times.take();
    ASSERT_TRUE(time);
    EXPECT_GE(*time - start, duration<double>(0.05));
}

TEST_F(SerialQueueTest, ReleaseWaitsForRunningWorkAndDestroysTheRest) {
    // On a loaded machine the rest may have had its turn before the release; not every time.
    bool wasInTime = false;
    for (int round = 0; round < 50 && !wasInTime; ++round) {
        const auto token = std::make_shared<int>();
        auto queue = makeSerialQueue();
        std::latch entered(1);
        std::atomic<bool> finished = false;
        std::atomic<bool> ranRest = false;
        queue->async([&, token] {
            entered.count_down();
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            finished = true;
        });
        queue->async([&ranRest, token] { ranRest = true; });
        queue->asyncAfter(duration<double>(1000), [token] { ADD_FAILURE(); });
        entered.wait();
        queue.reset();
        EXPECT_TRUE(finished);
        EXPECT_EQ(token.use_count(), 1);
        wasInTime = !ranRest;
    }
    EXPECT_TRUE(wasInTime);
}

TEST_F(SerialQueueTest, CanBeReleasedByItsOwnWork) {
    auto token = std::make_shared<std::promise<void>>();
    const std::future<void> tokenDestroyed = token->get_future();
    Mailbox<int> released;
    auto queue = makeSerialQueue();
    std::latch mayRelease(1);
    // The closure holds the last reference and lets go of it on the queue's thread.
    queue->async([&mayRelease, &released, queue]() mutable {
        mayRelease.wait();
        queue.reset();
        released.put(1);
    });
    const std::weak_ptr<DispatchQueue> weakQueue = queue;
    queue->async([token] { ADD_FAILURE(); });
    queue.reset();
    token.reset();
    EXPECT_FALSE(weakQueue.expired());
    mayRelease.count_down();
    EXPECT_EQ(released.take(), 1);
    EXPECT_TRUE(weakQueue.expired());
    EXPECT_EQ(tokenDestroyed.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

// Its last piece may let go of it, and posts to the main queue when it has ended.
TEST_F(SerialQueueTest, DestructionOfAllQueuesFinishesWorkThatHasReleasedItsOwn) {
    std::latch entered(1);
    std::atomic<bool> finished = false;
    auto queue = makeSerialQueue();
    queue->async([&, queue]() mutable {
        queue.reset();
        entered.count_down();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        finished = true;
    });
    queue.reset();
    entered.wait();
    dispatch.reset();
    EXPECT_TRUE(finished);
}

TEST_F(SerialQueueTest, DestructionOfAllQueuesWaitsForWorkThatPostsToItsOwn) {
    std::latch entered(1);
    const auto queue = makeSerialQueue();
    queue->async([&entered, &queue] {
        entered.count_down();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        queue->async([] { ADD_FAILURE(); });
    });
    entered.wait();
    dispatch.reset();
}

TEST_F(SerialQueueTest, DestructionOfAllQueuesEndsThoseThatSomebodyKeeps) {
    auto queue = makeSerialQueue();
    Mailbox<int> begun;
    queue->async([&begun] { begun.put(1); });
    EXPECT_EQ(begun.take(), 1);
    dispatch.reset();
    const auto token = std::make_shared<int>();
    queue->async([token] { ADD_FAILURE(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    queue.reset();
    EXPECT_EQ(token.use_count(), 1);
}

using GlobalQueueTest = QueuesTest;

TEST_F(GlobalQueueTest, OneForEachQuality) {
    DispatchQueue& userInitiated = dispatch->globalQueue(QualityOfService::userInitiated);
    DispatchQueue& standard = dispatch->globalQueue(QualityOfService::standard);
    EXPECT_NE(&userInitiated, &standard);
    EXPECT_EQ(&userInitiated, &dispatch->globalQueue(QualityOfService::userInitiated));
    Mailbox<std::string> names;
    userInitiated.async([&] {
        EXPECT_TRUE(userInitiated.isCurrent());
        EXPECT_FALSE(standard.isCurrent());
        names.put(currentThreadName());
    });
    EXPECT_EQ(names.take(), "user-initiated");
    EXPECT_FALSE(userInitiated.isCurrent());
}

TEST_F(GlobalQueueTest, SixteenPiecesOfWorkMayBlockAtOnceAndMoreWait) {
    constexpr int kMostThreads = 16;
    DispatchQueue& queue = dispatch->globalQueue(QualityOfService::standard);
    std::latch allInside(kMostThreads);
    std::latch mayLeave(1);
    for (int i = 0; i < kMostThreads; ++i) {
        queue.async([&] {
            allInside.count_down();
            mayLeave.wait();
        });
    }
    allInside.wait();
    Mailbox<int> more;
    queue.async([&] { more.put(1); });
    EXPECT_FALSE(more.take(std::chrono::milliseconds(50)));
    mayLeave.count_down();
    EXPECT_TRUE(more.take());
    endQueues();
}

TEST_F(GlobalQueueTest, BlockedWorkHoldsBackNeitherTimersNorTheOtherQueue) {
    DispatchQueue& queue = dispatch->globalQueue(QualityOfService::userInitiated);
    std::latch inside(1);
    std::latch mayLeave(1);
    queue.async([&] {
        inside.count_down();
        mayLeave.wait();
    });
    inside.wait();
    Mailbox<int> ran;
    queue.asyncAfter(duration<double>(0.001), [&] { ran.put(1); });
    EXPECT_EQ(ran.take(), 1);
    dispatch->globalQueue(QualityOfService::standard).async([&] { ran.put(2); });
    EXPECT_EQ(ran.take(), 2);
    mayLeave.count_down();
    endQueues();
}

TEST_F(GlobalQueueTest, DestructionFinishesRunningWorkAndDestroysTheRest) {
    const auto token = std::make_shared<int>();
    DispatchQueue& queue = dispatch->globalQueue(QualityOfService::standard);
    std::latch entered(1);
    std::atomic<bool> finished = false;
    queue.async([&, token] {
        entered.count_down();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        finished = true;
    });
    queue.asyncAfter(duration<double>(1000), [token] { ADD_FAILURE(); });
    entered.wait();
    dispatch.reset();
    EXPECT_TRUE(finished);
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(GlobalQueueTest, TakesWorkFromManyThreads) {
    constexpr int kThreads = 8;
    constexpr int kEach = 300;
    DispatchQueue& queue = dispatch->globalQueue(QualityOfService::standard);
    std::atomic<int> ran = 0;
    std::latch done(std::ptrdiff_t{kThreads} * kEach);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < kEach; ++i) {
                queue.async([&] {
                    ran.fetch_add(1);
                    done.count_down();
                });
            }
        });
    }
    done.wait();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(ran, kThreads * kEach);
    endQueues();
}

TEST_F(GlobalQueueTest, BothShareTheirThreads) {
    // So that there is only the first.
    const ThreadShortage shortage;
    Mailbox<std::pair<std::thread::id, std::string>> ran;
    const auto run = [&](QualityOfService quality) {
        dispatch->globalQueue(quality).async([&] {
            ran.put({std::this_thread::get_id(), currentThreadName()});
        });
        return ran.take();
    };
    const auto first = run(QualityOfService::userInitiated);
    const auto second = run(QualityOfService::standard);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->first, second->first);
    EXPECT_EQ(first->second, "user-initiated");
    EXPECT_EQ(second->second, "standard");
    endQueues();
}

using ThreadShortageTest = QueuesTest;

TEST_F(ThreadShortageTest, AtTheStartIsAnError) {
    const ThreadShortage shortage;
    EXPECT_THROW(AsioDispatch{mainQueue}, std::system_error);
}

TEST_F(ThreadShortageTest, LaterWorkOfAGlobalQueueGoesOn) {
    const ThreadShortage shortage;
    Mailbox<int> ran;
    DispatchQueue& queue = dispatch->globalQueue(QualityOfService::standard);
    queue.async([&] { ran.put(1); });
    queue.asyncAfter(duration<double>(0.001), [&] { ran.put(2); });
    EXPECT_EQ(ran.take(), 1);
    EXPECT_EQ(ran.take(), 2);
    endQueues();
}

TEST_F(ThreadShortageTest, WorkOfASerialQueueWaitsForAThread) {
    Mailbox<int> ran;
    std::shared_ptr<DispatchQueue> queue;
    {
        const ThreadShortage shortage;
        queue = makeSerialQueue();
        queue->async([&] { ran.put(1); });
        queue->asyncAfter(duration<double>(1000), [] {});
        EXPECT_FALSE(ran.takeNow());
    }
    queue->async([&] { ran.put(2); });
    EXPECT_EQ(ran.take(), 1);
    EXPECT_EQ(ran.take(), 2);
}

TEST_F(ThreadShortageTest, ASerialQueueThatNeverGotAThreadGoes) {
    const ThreadShortage shortage;
    const auto token = std::make_shared<int>();
    makeSerialQueue()->async([token] { ADD_FAILURE(); });
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(QueuesTest, WorkHopsBetweenAllQueues) {
    const auto frames = makeSerialQueue();
    std::vector<std::string> path;
    frames->async([&] {
        path.push_back(currentThreadName());
        dispatch->globalQueue(QualityOfService::standard).async([&] {
            path.push_back(currentThreadName());
            mainQueue.async([&] { mainQueue.stop(); });
        });
    });
    mainQueue.run();
    EXPECT_EQ(path, (std::vector<std::string>{"frames", "standard"}));
}

}  // namespace
}  // namespace velmaro
