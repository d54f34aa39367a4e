#include "app/linux/Process.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>
#include <thread>

namespace velmaro {
namespace {

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
    try {
        std::thread([] {}).join();
    } catch (const std::system_error& error) {
        return failure("the system has no thread to spare for this program (" +
                       error.code().message() + "): end other programs or raise their limit");
    }
    return {};
}

}  // namespace velmaro
