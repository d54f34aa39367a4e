#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTest>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "app/window/QtMainQueue.h"

namespace velmaro {
namespace {

using namespace std::chrono_literals;

TEST(QtMainQueue, RunsWorkLaterAndInOrder) {
    QtMainQueue queue;
    std::vector<int> ran;
    for (int index = 0; index < 100; ++index) {
        queue.async([&ran, index] { ran.push_back(index); });
    }
    EXPECT_TRUE(ran.empty());
    QCoreApplication::processEvents();
    ASSERT_EQ(ran.size(), 100U);
    for (int index = 0; index < 100; ++index) {
        EXPECT_EQ(ran[static_cast<std::size_t>(index)], index);
    }
}

TEST(QtMainQueue, TakesWorkFromEveryThread) {
    QtMainQueue queue;
    int count = 0;
    const auto mainThread = std::this_thread::get_id();
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            EXPECT_FALSE(queue.isCurrent());
            for (int each = 0; each < 500; ++each) {
                queue.async([&] {
                    EXPECT_EQ(std::this_thread::get_id(), mainThread);
                    EXPECT_TRUE(queue.isCurrent());
                    ++count;
                });
            }
        });
    }
    EXPECT_TRUE(QTest::qWaitFor([&] { return count == 2000; }, 10'000));
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(QtMainQueue, WorkMayQueueMore) {
    QtMainQueue queue;
    int depth = 0;
    std::function<void()> again = [&] {
        if (++depth < 10) {
            queue.async(again);
        }
    };
    queue.async(again);
    EXPECT_TRUE(QTest::qWaitFor([&] { return depth == 10; }, 5'000));
}

TEST(QtMainQueue, DelayedWorkIsNeverEarly) {
    QtMainQueue queue;
    const auto start = std::chrono::steady_clock::now();
    std::vector<double> delays;
    const auto note = [&] {
        delays.push_back(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    };
    queue.asyncAfter(120ms, note);
    queue.asyncAfter(30ms, note);
    std::thread([&] { queue.asyncAfter(60ms, note); }).join();
    queue.asyncAfter(-1s, note);
    EXPECT_TRUE(QTest::qWaitFor([&] { return delays.size() == 4; }, 10'000));
    EXPECT_GE(delays.at(1), 0.030);
    EXPECT_GE(delays.at(2), 0.060);
    EXPECT_GE(delays.at(3), 0.120);
}

TEST(QtMainQueue, CloseDropsWhatIsQueuedAndWhatComes) {
    QtMainQueue queue;
    bool ran = false;
    const auto held = std::make_shared<int>(0);
    queue.async([&ran, held] { ran = true; });
    queue.asyncAfter(1ms, [&ran, held] { ran = true; });
    QCoreApplication::sendPostedEvents();
    queue.asyncAfter(1ms, [&ran, held] { ran = true; });
    ran = false;
    queue.close();
    EXPECT_EQ(held.use_count(), 1) << "what the work held is gone";
    queue.async([&ran, held] { ran = true; });
    queue.asyncAfter(0ms, [&ran, held] { ran = true; });
    EXPECT_EQ(held.use_count(), 1);
    QTest::qWait(20);
    EXPECT_FALSE(ran);
}

// Work may hold the last reference to something whose end queues more work.
TEST(QtMainQueue, DroppedWorkMayQueueMore) {
    struct Last {
        QtMainQueue& queue;
        ~Last() {
            queue.async([] { FAIL(); });
        }
    };
    {
        QtMainQueue queue;
        queue.async([last = std::make_shared<Last>(Last{queue})] {});
        queue.close();
    }
    QCoreApplication::processEvents();
}

}  // namespace
}  // namespace velmaro
