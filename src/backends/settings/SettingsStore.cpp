#include "backends/settings/SettingsStore.h"

#include <fcntl.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <vector>

#include "backends/posix/FileDescriptor.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;

/// Of the files that hold a value until it is whole; the key and the process follow.
constexpr const char* kNewPrefix = ".new-";
constexpr std::size_t kLargestValue = 1 << 20;

fs::path homeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != '\0') {
        return home;
    }
    std::vector<char> buffer(16'384);
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr && found->pw_dir != nullptr ? fs::path(found->pw_dir) : fs::path();
}

bool isValid(std::string_view key) {
    return !key.empty() && key.size() <= 100 && std::all_of(key.begin(), key.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
}

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

/// The folder for our files alone, closed to other users even if it was open before. One that is
/// not ours, or that a link leads to, keeps its mode. Not every file system can close it; the files
/// in it are the user's own in any case.
Result<void> makePrivateFolder(const fs::path& folder) {
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0) {
        if (::g_mkdir_with_parents(folder.c_str(), S_IRWXU) != 0) {
            return failure(reasonFor(folder, errno));
        }
        syncFolder(folder.parent_path());
    } else if (S_ISDIR(status.st_mode) && status.st_uid == ::geteuid()) {
        ::chmod(folder.c_str(), S_IRWXU);
    }
    return {};
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
Result<void> replace(const fs::path& target, std::string_view key, std::string_view bytes) {
    const std::string name =
        kNewPrefix + std::string(key) + "-" + std::to_string(static_cast<int>(::getpid()));
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

std::string readAll(const fs::path& path) {
    const FileDescriptor file(
        check(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), "open"));
    struct stat status {};
    check(::fstat(file.get(), &status), "fstat");
    if (!S_ISREG(status.st_mode)) {
        throw std::system_error(EINVAL, std::generic_category(), "not a file");
    }
    std::string bytes;
    std::array<char, 4096> part{};
    for (;;) {
        const ssize_t count = ::read(file.get(), part.data(), part.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (check(static_cast<int>(count), "read") == 0) {
            return bytes;
        }
        bytes.append(part.data(), static_cast<std::size_t>(count));
        if (bytes.size() > kLargestValue) {
            throw std::system_error(EFBIG, std::generic_category(), "read");
        }
    }
}

}  // namespace

fs::path SettingsStore::defaultFolder() {
    const char* variable = std::getenv("XDG_CONFIG_HOME");
    fs::path config = variable != nullptr ? variable : "";
    if (!config.is_absolute()) {
        const fs::path home = homeFolder();
        if (!home.is_absolute()) {
            return {};
        }
        config = home / ".config";
    }
    return config / "velmaro";
}

SettingsStore::SettingsStore(Diagnostics& diagnostics, fs::path folder)
    : diagnostics_(diagnostics), folder_(std::move(folder)) {}

fs::path SettingsStore::file(std::string_view key) const {
    if (folder_.empty()) {
        throw std::system_error(ENOENT, std::generic_category(), "no home folder");
    }
    if (!isValid(key)) {
        throw std::system_error(EINVAL, std::generic_category(), "key");
    }
    return folder_ / key;
}

std::string SettingsStore::data(std::string_view key) const {
    try {
        return readAll(file(key));
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory && !isReadingReported_) {
            isReadingReported_ = true;
            report("the setting " + std::string(key) + " in " + folder_.string() +
                       " cannot be read and counts as not set (" + error.code().message() + ")",
                   "make it a readable file, or remove it");
        }
        return {};
    }
}

void SettingsStore::setData(std::string_view key, std::string_view bytes) {
    if (const auto stored = store(key, bytes); !stored && !isWritingReported_) {
        isWritingReported_ = true;
        report("the setting " + std::string(key) + " cannot be stored in " + folder_.string() +
                   " and lasts for this run (" + stored.error().description + ")",
               "make room there, or make the folder writable");
    }
}

Result<void> SettingsStore::store(std::string_view key, std::string_view bytes) const {
    try {
        const fs::path record = file(key);
        if (const auto folder = makePrivateFolder(folder_); !folder) {
            return folder;
        }
        removeAbandonedFiles(folder_, kNewPrefix);
        // A link would be replaced; what it leads to is meant.
        const auto target = followLinks(record);
        if (!target) {
            return tl::unexpected(target.error());
        }
        if (target->parent_path() != folder_) {
            removeAbandonedFiles(target->parent_path(), kNewPrefix + std::string(key) + "-");
        }
        return replace(*target, key, bytes);
    } catch (const std::system_error& error) {
        return failure(error.code().message());
    }
}

void SettingsStore::report(const std::string& text, const std::string& advice) const {
    diagnostics_.report({.kind = Diagnostic::Kind::warning,
                         .subject = Diagnostic::Subject::settings,
                         .text = text,
                         .advice = advice});
}

}  // namespace velmaro
