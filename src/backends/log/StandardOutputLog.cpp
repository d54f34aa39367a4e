#include "backends/log/StandardOutputLog.h"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace velmaro {
namespace {

/// Writes what the first call left over; a pipe or a terminal may take a line in pieces.
void writeRest(std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (written < 0 && errno != EINTR) {
            return;
        }
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        }
    }
}

}  // namespace

void StandardOutputLog::line(std::string_view text) {
    char newline = '\n';
    const std::array<iovec, 2> parts{
        {{const_cast<char*>(text.data()), text.size()}, {&newline, 1}}};
    ssize_t written = 0;
    do {
        written = ::writev(STDOUT_FILENO, parts.data(), static_cast<int>(parts.size()));
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        return;
    }
    const auto count = static_cast<std::size_t>(written);
    if (count < text.size()) {
        writeRest(text.substr(count));
    }
    if (count <= text.size()) {
        writeRest("\n");
    }
}

}  // namespace velmaro
