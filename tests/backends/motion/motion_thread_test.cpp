#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "backends/motion/Live.h"
#include "backends/motion/MotionThread.h"
#include "fakes/Dispatch.h"

namespace velmaro {
namespace {

using namespace std::chrono_literals;
using live::eventually;

class Driver : public MotionDriver {
public:
    explicit Driver(std::function<void(MotionThread&)> body) : body_(std::move(body)) {}
    void run(MotionThread& thread) override { body_(thread); }

private:
    std::function<void(MotionThread&)> body_;
};

std::unique_ptr<Driver> driver(std::function<void(MotionThread&)> body) {
    return std::make_unique<Driver>(std::move(body));
}

TEST(MotionThread, WaitsForTheFirstLookAround) {
    const MotionThread motion("test", driver([](MotionThread& thread) {
                                  std::this_thread::sleep_for(20ms);
                                  thread.setAvailable(true);
                                  thread.notifyReady();
                                  while (!thread.isEnding()) {
                                      thread.wait({});
                                  }
                              }),
                              10s);
    EXPECT_TRUE(motion.isDeviceMotionAvailable());
}

TEST(MotionThread, DoesNotWaitForeverForADriver) {
    const auto begin = std::chrono::steady_clock::now();
    const MotionThread motion("test", driver([](MotionThread& thread) {
                                  while (!thread.isEnding()) {
                                      thread.wait({});
                                  }
                              }),
                              5ms);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 5ms);
    EXPECT_FALSE(motion.isDeviceMotionAvailable());
}

TEST(MotionThread, DeliversOnTheQueueUntilStopped) {
    fakes::HandCrankedQueue queue{"delivery"};
    std::vector<double> received;
    std::vector<std::string> errors;
    std::atomic<int> sent = 0;
    MotionThread motion("test", driver([&](MotionThread& thread) {
                            while (!thread.isEnding()) {
                                thread.wait({}, 1ms);
                                if (thread.request() != 0 && sent < 3) {
                                    thread.deliver({static_cast<double>(++sent), 0, 0, 0});
                                } else if (thread.request() != 0 && sent == 3) {
                                    ++sent;
                                    thread.fail("broken");
                                }
                            }
                        }));
    EXPECT_FALSE(motion.isDeviceMotionActive());
    motion.startDeviceMotionUpdates(queue, [&](const auto& sample, const auto& error) {
        if (error) {
            errors.push_back(error->description);
        } else {
            received.push_back(sample->attitude.quaternion.x);
        }
    });
    EXPECT_TRUE(motion.isDeviceMotionActive());
    ASSERT_TRUE(eventually([&] { return queue.pending() == 4; }));
    queue.run();
    EXPECT_EQ(received, (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(errors, (std::vector<std::string>{"broken"}));

    sent = 0;
    ASSERT_TRUE(eventually([&] { return queue.pending() == 4; }));
    motion.stopDeviceMotionUpdates();
    EXPECT_FALSE(motion.isDeviceMotionActive());
    queue.run();
    EXPECT_EQ(received.size(), 3U) << "nothing is delivered after a stop";
}

TEST(MotionThread, EachStartIsANewRequest) {
    fakes::HandCrankedQueue queue{"delivery"};
    std::atomic<std::uint64_t> seen = 0;
    MotionThread motion("test", driver([&](MotionThread& thread) {
                            while (!thread.isEnding()) {
                                seen = thread.request();
                                thread.wait({});
                            }
                        }));
    for (const std::uint64_t request : {1U, 2U, 3U}) {
        motion.startDeviceMotionUpdates(queue, [](const auto&, const auto&) {});
        motion.startDeviceMotionUpdates(queue, [](const auto&, const auto&) { FAIL(); });
        EXPECT_TRUE(eventually([&] { return seen == request; }));
        motion.stopDeviceMotionUpdates();
        EXPECT_TRUE(eventually([&] { return seen == 0; }));
    }
}

TEST(MotionThread, AStuckQueueDoesNotFillTheMemory) {
    fakes::HandCrankedQueue queue{"delivery"};
    std::atomic<bool> done = false;
    MotionThread motion("test", driver([&](MotionThread& thread) {
                            while (!thread.isEnding() && thread.request() == 0) {
                                thread.wait({});
                            }
                            for (int i = 0; i < 10'000; ++i) {
                                thread.deliver({});
                            }
                            done = true;
                        }));
    int received = 0;
    motion.startDeviceMotionUpdates(queue, [&](const auto&, const auto&) { ++received; });
    ASSERT_TRUE(eventually([&] { return done.load(); }));
    EXPECT_EQ(queue.pending(), 256U);
    queue.run();
    EXPECT_EQ(received, 256);
}

TEST(MotionThread, NotifiesOfChangesOnceAndNothingAtItsEnd) {
    const auto listener = std::make_shared<live::Listener>();
    std::atomic<int> step = 0;
    {
        MotionThread motion("test", driver([&](MotionThread& thread) {
                                for (int done = 0; !thread.isEnding();) {
                                    thread.wait({}, 1ms);
                                    if (step > done) {
                                        done = step;
                                        thread.setAvailable(done != 3);
                                    }
                                }
                            }));
        motion.setDelegate(listener);
        step = 1;
        ASSERT_TRUE(eventually([&] { return listener->connections == 1; }));
        step = 2;
        step = 3;
        ASSERT_TRUE(eventually([&] { return listener->disconnections == 1; }));
        EXPECT_EQ(listener->connections, 1);
        EXPECT_FALSE(motion.isDeviceMotionAvailable());
        step = 4;
        ASSERT_TRUE(eventually([&] { return motion.isDeviceMotionAvailable(); }));
    }
    EXPECT_EQ(listener->disconnections, 1);
}

TEST(MotionThread, WaitsForFilesAndSkipsNone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    std::atomic<short> events = 0;
    const MotionThread motion(
        "test", driver([&](MotionThread& thread) {
            std::array<pollfd, 2> files{{{-1, POLLIN, 0}, {ends[0], POLLIN, 0}}};
            while (!thread.isEnding() && files[1].revents == 0) {
                thread.wait(files);
            }
            EXPECT_EQ(files[0].revents, 0);
            events = files[1].revents;
        }));
    ASSERT_EQ(::write(ends[1], "x", 1), 1);
    EXPECT_TRUE(eventually([&] { return events == POLLIN; }));
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace
}  // namespace velmaro
