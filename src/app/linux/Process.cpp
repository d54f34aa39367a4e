#include "app/linux/Process.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <latch>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace velmaro {
namespace {

/// A run with a live camera has 19 at once, those of the libraries included, and while it changes
/// the camera a few more.
constexpr std::size_t kThreads = 24;

void openStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            // The lowest that is free, which is this one.
            ::open("/dev/null", O_RDWR);
        }
    }
}

}  // namespace

void prepareProcess() {
    // The signals first: one that comes in between would end the program.
    sigset_t harmless;
    ::sigemptyset(&harmless);
    ::sigaddset(&harmless, SIGUSR1);
    ::sigaddset(&harmless, SIGUSR2);
    ::pthread_sigmask(SIG_BLOCK, &harmless, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    openStandardDescriptors();
    // Threads come and go with every start of a camera. The allocator would give many of them a
    // heap of their own, which grow and are never given back; the frame's way allocates next to
    // nothing.
    ::mallopt(M_ARENA_MAX, 1);
}

Result<void> requireThreads() {
    std::latch isOver{1};
    std::vector<std::jthread> threads;
    Result<void> answer;
    try {
        while (threads.size() < kThreads) {
            threads.emplace_back([&isOver] { isOver.wait(); });
        }
    } catch (const std::system_error& error) {
        const std::string had = threads.empty()
                                    ? "no thread"
                                    : "only " + std::to_string(threads.size()) + " of " +
                                          std::to_string(kThreads) + " threads";
        answer = failure("the system has " + had + " to spare for this program (" +
                         error.code().message() + "): end other programs or raise their limit");
    }
    isOver.count_down();
    return answer;
}

}  // namespace velmaro
