#include "backends/settings/SettingsStore.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "backends/posix/FileDescriptor.h"
#include "backends/settings/WholeFile.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;

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

/// The folder for our files alone, closed to other users even if it was open before. One that is
/// not ours, or that a link leads to, keeps its mode. Not every file system can close it; the files
/// in it are the user's own in any case.
Result<void> makePrivateFolder(const fs::path& folder) {
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0) {
        return makeFolder(folder);
    }
    if (S_ISDIR(status.st_mode) && status.st_uid == ::geteuid()) {
        ::chmod(folder.c_str(), S_IRWXU);
    }
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
        report("the setting " + std::string(key) +
                   (bytes.empty() ? " cannot be removed from " : " cannot be stored in ") +
                   folder_.string() +
                   (bytes.empty() ? " and stays (" : " and lasts for this run (") +
                   stored.error().description + ")",
               "make room there, or make the folder writable");
    }
}

Result<void> SettingsStore::store(std::string_view key, std::string_view bytes) const {
    try {
        const fs::path record = file(key);
        if (bytes.empty()) {
            return removeFile(record);
        }
        if (auto folder = makePrivateFolder(folder_); !folder) {
            return folder;
        }
        removeAbandonedFiles(folder_);
        return replaceFile(record, bytes);
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
