#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "backends/queues/AsioDispatch.h"
#include "backends/queues/AsioMainQueue.h"

namespace velmaro {
namespace {

using std::chrono::duration;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(AsioMainQueue, RunsWorkInOrderOnTheMainThreadAndNeverInline) {
    AsioMainQueue queue;
    std::vector<int> ran;
    queue.async([&] {
        EXPECT_TRUE(queue.isCurrent());
        ran.push_back(1);
        queue.async([&] {
            ran.push_back(3);
            queue.stop();
        });
    });
    queue.async([&] { ran.push_back(2); });
    EXPECT_THAT(ran, IsEmpty());
    queue.run();
    EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST(AsioMainQueue, StopBeforeRunMakesRunReturnAtOnceAndItCanRunAgain) {
    AsioMainQueue queue;
    int ran = 0;
    queue.stop();
    queue.async([&] { ++ran; });
    queue.run();
    EXPECT_EQ(ran, 0);
    queue.async([&] { queue.stop(); });
    queue.run();
    EXPECT_EQ(ran, 1);
}

TEST(AsioMainQueue, IsCurrentOnlyOnTheThreadThatMadeIt) {
    AsioMainQueue queue;
    EXPECT_TRUE(queue.isCurrent());
    std::thread([&] { EXPECT_FALSE(queue.isCurrent()); }).join();
}

TEST(AsioMainQueue, DelayedWorkRunsInTheOrderOfItsTimesAndNotEarly) {
    AsioMainQueue queue;
    std::vector<int> ran;
    const auto start = steady_clock::now();
    queue.asyncAfter(duration<double>(0.06), [&] {
        EXPECT_GE(steady_clock::now() - start, duration<double>(0.06));
        ran.push_back(3);
        queue.stop();
    });
    queue.asyncAfter(duration<double>(0.03), [&] {
        EXPECT_GE(steady_clock::now() - start, duration<double>(0.03));
        ran.push_back(2);
    });
    queue.async([&] { ran.push_back(1); });
    queue.run();
    EXPECT_THAT(ran, ElementsAre(1, 2, 3));
}

TEST(AsioMainQueue, StrangeDelaysAreEitherNoneOrVeryLong) {
    AsioMainQueue queue;
    int ran = 0;
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double endless : {infinity, 1e300}) {
        queue.asyncAfter(duration<double>(endless), [] { ADD_FAILURE(); });
    }
    for (const double none : {0.0, -1.0, -infinity, std::nan("")}) {
        queue.asyncAfter(duration<double>(none), [&] {
            if (++ran == 4) {
                queue.stop();
            }
        });
    }
    queue.run();
    EXPECT_EQ(ran, 4);
}

TEST(AsioMainQueue, DestroysLeftOverWorkWithoutRunningIt) {
    const auto token = std::make_shared<int>();
    {
        AsioMainQueue queue;
        queue.async([token] { ADD_FAILURE(); });
        queue.asyncAfter(duration<double>(0), [token] { ADD_FAILURE(); });
        queue.asyncAfter(duration<double>(1000), [token] { ADD_FAILURE(); });
        EXPECT_EQ(token.use_count(), 4);
    }
    EXPECT_EQ(token.use_count(), 1);
}

TEST(AsioMainQueue, CloseDestroysWhatIsQueuedThenAndLater) {
    struct QueuesWhenDestroyed {
        explicit QueuesWhenDestroyed(AsioMainQueue& mainQueue) : queue(mainQueue) {}
        QueuesWhenDestroyed(const QueuesWhenDestroyed&) = delete;
        QueuesWhenDestroyed& operator=(const QueuesWhenDestroyed&) = delete;
        AsioMainQueue& queue;
        ~QueuesWhenDestroyed() {
            queue.async([] { ADD_FAILURE(); });
        }
    };
    AsioMainQueue queue;
    const auto token = std::make_shared<int>();
    queue.async([token] { ADD_FAILURE(); });
    queue.asyncAfter(duration<double>(0), [token] { ADD_FAILURE(); });
    queue.async([last = std::make_shared<QueuesWhenDestroyed>(queue)] { ADD_FAILURE(); });
    queue.close();
    EXPECT_EQ(token.use_count(), 1);
    queue.async([token] { ADD_FAILURE(); });
    queue.asyncAfter(duration<double>(0), [token] { ADD_FAILURE(); });
    EXPECT_EQ(token.use_count(), 1);
    queue.stop();
    queue.run();
    queue.close();
}

TEST(AsioMainQueue, TakesWorkFromManyThreads) {
    constexpr int kThreads = 8;
    constexpr int kEach = 500;
    AsioMainQueue queue;
    std::vector<std::vector<int>> ran(kThreads);
    int count = 0;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kEach; ++i) {
                queue.async([&, thread, i] {
                    ran[thread].push_back(i);
                    if (++count == kThreads * kEach) {
                        queue.stop();
                    }
                });
            }
        });
    }
    queue.run();
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& each : ran) {
        EXPECT_EQ(each.size(), static_cast<std::size_t>(kEach));
        EXPECT_TRUE(std::is_sorted(each.begin(), each.end()));
    }
}

TEST(AsioDispatch, HandsOutTheMainQueueThatItWasGiven) {
    AsioMainQueue queue;
    AsioDispatch dispatch(queue);
    EXPECT_EQ(&dispatch.mainQueue(), &queue);
}

}  // namespace
}  // namespace velmaro
