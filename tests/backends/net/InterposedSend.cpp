#include "InterposedSend.h"

#include <sys/socket.h>

#include <cerrno>

namespace velmaro::test {
std::atomic<int> InterposedSend::commonFlags = ~0;
std::atomic<int> InterposedSend::error = 0;
}  // namespace velmaro::test

extern "C" ssize_t send(int socket, const void* content, size_t size, int flags) {
    using velmaro::test::InterposedSend;
    InterposedSend::commonFlags &= flags;
    if (const int error = InterposedSend::error; error != 0) {
        errno = error;
        return -1;
    }
    return ::sendto(socket, content, size, flags, nullptr, 0);
}
