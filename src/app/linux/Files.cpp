#include "app/linux/Files.h"

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

}  // namespace velmaro
