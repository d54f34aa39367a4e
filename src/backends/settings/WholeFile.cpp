#include "backends/settings/WholeFile.h"

#include <fcntl.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <string>
#include <system_error>

#include "backends/posix/FileDescriptor.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;

/// Of the files that hold a value until it is whole; the file's name and the process follow.
constexpr const char* kNewPrefix = ".new-";

/// Makes the names in a folder durable, where its file system can.
void syncFolder(const fs::path& folder) {
    const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.get() >= 0) {
        ::fsync(descriptor.get());
    }
}

/// Where a chain of links ends, whether or not something is there.
Result<fs::path> followLinks(fs::path path) {
    constexpr int kMostLinks = 40;
    for (int links = 0; links < kMostLinks; ++links) {
        std::error_code isNone;
        const fs::path next = fs::read_symlink(path, isNone);
        if (isNone) {
            return path;
        }
        path = path.parent_path() / next;
    }
    return failure(std::strerror(ELOOP));
}

/// Why a folder cannot be made or written to, as `code` alone would not say.
std::string reasonFor(const fs::path& folder, int code) {
    fs::path part;
    for (const fs::path& name : folder) {
        part /= name;
        std::error_code ignored;
        if (fs::is_symlink(part, ignored) && !fs::exists(part, ignored)) {
            return part.string() + " is a link to " + fs::read_symlink(part, ignored).string() +
                   ", which is not there";
        }
    }
    return std::strerror(code);
}

/// Whether the name of a new file says that a process is writing it that still runs.
bool isBeingWritten(const std::string& name) {
    const std::size_t dash = name.rfind('-');
    int process = 0;
    const auto [end, error] =
        std::from_chars(name.data() + dash + 1, name.data() + name.size(), process);
    return error == std::errc() && process > 0 && process != ::getpid() &&
           (::kill(process, 0) == 0 || errno == EPERM);
}

/// Removes new files that a process left behind when it was killed.
void removeAbandonedFiles(const fs::path& folder, const std::string& prefix) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        const std::string name = entry.path().filename();
        if (name.starts_with(prefix) && !isBeingWritten(name)) {
            ::unlink(entry.path().c_str());
        }
    }
}

/// What GLib says after the name of the file, which is a temporary one.
std::string reasonOf(const GError& error) {
    const std::string text = error.message;
    const std::size_t colon = text.rfind(": ");
    return colon == std::string::npos ? text : text.substr(colon + 2);
}

/// Writes a whole new file and puts it in the place of `target`. GLib's own temporary file would do
/// for that, but a name that it invents cannot be told from a user's own after a crash.
Result<void> replace(const fs::path& target, const std::string& prefix, std::string_view bytes) {
    const std::string name = prefix + std::to_string(static_cast<int>(::getpid()));
    const fs::path newFile = target.parent_path() / name;
    GError* error = nullptr;
    if (g_file_set_contents_full(newFile.c_str(), bytes.data(), static_cast<gssize>(bytes.size()),
                                 static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                                    G_FILE_SET_CONTENTS_DURABLE),
                                 S_IRUSR | S_IWUSR, &error) == FALSE) {
        const std::string reason = reasonOf(*error);
        g_error_free(error);
        return failure(reason);
    }
    if (::rename(newFile.c_str(), target.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        ::unlink(newFile.c_str());
        return failure(reason);
    }
    syncFolder(target.parent_path());
    return {};
}

}  // namespace

Result<void> removeFile(const fs::path& file) {
    const auto target = followLinks(file);
    if (!target) {
        return tl::unexpected(target.error());
    }
    if (::unlink(target->c_str()) != 0 && errno != ENOENT) {
        return failure(std::strerror(errno));
    }
    syncFolder(target->parent_path());
    return {};
}

void removeAbandonedFiles(const fs::path& folder) {
    removeAbandonedFiles(folder, kNewPrefix);
}

Result<void> makeFolder(const fs::path& folder) {
    if (::g_mkdir_with_parents(folder.c_str(), S_IRWXU) != 0) {
        return failure(reasonFor(folder, errno));
    }
    syncFolder(folder.parent_path());
    return {};
}

Result<void> replaceFile(const fs::path& file, std::string_view bytes) {
    const std::string prefix = kNewPrefix + file.filename().string() + "-";
    // A link would be replaced; what it leads to is meant.
    const auto target = followLinks(file);
    if (!target) {
        return tl::unexpected(target.error());
    }
    removeAbandonedFiles(target->parent_path(), prefix);
    return replace(*target, prefix, bytes);
}

}  // namespace velmaro
