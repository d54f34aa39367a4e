#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <optional>
#include <system_error>
#include <vector>

#include "backends/queues/AsioMainQueue.h"
#include "backends/queues/SignalListener.h"
#include "fakes/Dispatch.h"

namespace velmaro {
namespace {

using testing::ElementsAre;

bool hasDefaultEffect(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_DFL;
}

TEST(SignalListener, CallsOnTheQueueForEachSignal) {
    AsioMainQueue queue;
    std::vector<int> seen;
    const SignalListener listener(queue, {SIGINT, SIGTERM, SIGUSR1, SIGUSR2}, [&](int signal) {
        EXPECT_TRUE(queue.isCurrent());
        seen.push_back(signal);
        queue.stop();
    });
    for (const int signal : {SIGUSR1, SIGUSR2, SIGUSR1, SIGTERM, SIGINT}) {
        std::raise(signal);
        queue.run();
    }
    EXPECT_THAT(seen, ElementsAre(SIGUSR1, SIGUSR2, SIGUSR1, SIGTERM, SIGINT));
}

TEST(SignalListener, LeavesThemWithoutEffect) {
    AsioMainQueue queue;
    for (int count = 0; count < 2; ++count) {
        const SignalListener listener(queue, {SIGHUP}, [](int) {});
        EXPECT_FALSE(hasDefaultEffect(SIGHUP));
    }
    ASSERT_FALSE(hasDefaultEffect(SIGHUP));
    std::raise(SIGHUP);
}

TEST(SignalListener, CallsNothingOnceItIsGone) {
    AsioMainQueue queue;
    bool called = false;
    std::optional<SignalListener> listener;
    // A signal that no other test listens for: the next listener may be told of it.
    listener.emplace(queue, std::initializer_list<int>{SIGALRM}, [&](int) { called = true; });
    std::raise(SIGALRM);
    // The call is on its way or queued already; either way it comes too late.
    queue.asyncAfter(std::chrono::duration<double>(0.05), [&] { queue.stop(); });
    listener.reset();
    queue.run();
    EXPECT_FALSE(called);
}

TEST(SignalListener, HearsWhatEveryOtherThreadBlocks) {
    sigset_t signals, before;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    AsioMainQueue queue;
    int seen = 0;
    {
        // One that came before waits for it.
        ::kill(::getpid(), SIGUSR1);
        const SignalListener listener(queue, {SIGUSR1}, [&](int signal) {
            seen = signal;
            queue.stop();
        });
        queue.run();
    }
    EXPECT_EQ(seen, SIGUSR1);
    // One that comes after waits for ever.
    ::kill(::getpid(), SIGUSR1);
    const timespec now{};
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &now), SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(SignalListener, ThrowsForASignalThatCannotBeCaught) {
    AsioMainQueue queue;
    EXPECT_THROW(SignalListener(queue, {SIGKILL}, [](int) {}), std::system_error);
}

}  // namespace
}  // namespace velmaro
