#include "integration/guest/Guest.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace velmaro::integration {

Answer shell(const std::string& line) {
    FILE* const pipe = ::popen(("{ " + line + "\n} 2>&1").c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    Answer answer;
    std::array<char, 4096> part{};
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe)) {
        answer.text.append(part.data(), size);
    }
    const int status = ::pclose(pipe);
    answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return answer;
}

std::string withoutRights(const std::string& arguments) {
    // A copy, since such a user may not even see the folder of the build.
    static const Answer copied =
        shell("mkdir -p /tmp/copy/bin /tmp/copy/share/velmaro && cp " VELMARO_PROGRAM
              " /tmp/copy/bin/program && cp -rL " VELMARO_MODELS
              " /tmp/copy/share/velmaro/models && chmod -R a+rX /tmp/copy");
    if (copied.status != 0) {
        throw std::runtime_error(copied.text);
    }
    return "HOME=/nonexistent setpriv --reuid 65534 --regid 65534 --clear-groups"
           " /tmp/copy/bin/program " +
           arguments;
}

}  // namespace velmaro::integration
