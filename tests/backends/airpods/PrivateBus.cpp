#include "backends/airpods/PrivateBus.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "backends/posix/FileDescriptor.h"

namespace velmaro {

PrivateBus::PrivateBus() {
    std::array<int, 2> ends{};
    check(::pipe2(ends.data(), O_CLOEXEC), "pipe2");
    const FileDescriptor reading(ends[0]);
    {
        const FileDescriptor writing(ends[1]);
        pid_ = check(::fork(), "fork");
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(writing.get(), STDOUT_FILENO);
            // It complains of limits that it may not raise.
            ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
            ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
                     "--address=unix:tmpdir=/tmp", "--print-address", nullptr);
            ::_exit(127);
        }
    }
    for (char letter = 0; ::read(reading.get(), &letter, 1) == 1 && letter != '\n';) {
        address_ += letter;
    }
    if (address_.empty()) {
        kill();
        throw std::runtime_error("dbus-daemon does not start: is dbus installed?");
    }
}

PrivateBus::~PrivateBus() {
    kill();
}

void PrivateBus::kill() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

}  // namespace velmaro
