#include "app/linux/Resources.h"

#include <cstdlib>
#include <system_error>

namespace velmaro {

std::filesystem::path resource(const std::filesystem::path& name) {
    if (const char* const directory = std::getenv("VELMARO_DATA_DIR");
        directory != nullptr && *directory != '\0') {
        return std::filesystem::path(directory) / name;
    }
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    return executable.parent_path().parent_path() / "share" / "velmaro" / name;
}

}  // namespace velmaro
