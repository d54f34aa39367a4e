#include "app/linux/Files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace velmaro {

std::optional<std::string> unreadable(const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        std::error_code error;
        if (std::filesystem::is_directory(file, error)) {
            return "cannot read '" + file + "': it is a directory";
        }
        if (::access(file.c_str(), R_OK) != 0) {
            return "cannot read '" + file + "': " + std::strerror(errno);
        }
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> logFile() {
    struct stat status {};
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/fd/1", error);
    // A file that was removed has a name that leads nowhere.
    if (error || ::fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode) ||
        !std::filesystem::exists(path, error)) {
        return std::nullopt;
    }
    return path;
}

}  // namespace velmaro
