#include "backends/settings/SettingsStore.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <system_error>
#include <vector>

#include "backends/posix/FileDescriptor.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTemporaryPrefix = ".new-";
constexpr std::size_t kLargestValue = 1 << 20;
constexpr mode_t kFolderMode = S_IRWXU;

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

void makeFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), kFolderMode) == 0) {
        syncFolder(folder.parent_path());
        return;
    }
    if (errno == ENOENT && folder.has_relative_path()) {
        makeFolder(folder.parent_path());
        makeFolder(folder);
        return;
    }
    if (errno != EEXIST) {
        check(-1, "mkdir");
    }
}

/// The folder for our files alone, closed to other users even if it was open before. Not every file
/// system can close it; the files in it are the user's own in any case.
void makePrivateFolder(const fs::path& folder) {
    makeFolder(folder);
    std::error_code ignored;
    fs::permissions(folder, fs::perms::owner_all, ignored);
}

/// Removes temporary files that a process left behind when it was killed. One that is being written
/// is locked by its writer.
void removeAbandonedFiles(const fs::path& folder) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        if (!entry.path().filename().string().starts_with(kTemporaryPrefix)) {
            continue;
        }
        const FileDescriptor file(
            ::open(entry.path().c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (file.get() >= 0 && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
            ::unlink(entry.path().c_str());
        }
    }
}

/// A new file under a name of its own, which disappears unless it is renamed.
class TemporaryFile {
public:
    explicit TemporaryFile(const fs::path& folder) : file_(create(folder, path_)) {}
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!path_.empty()) {
            ::unlink(path_.c_str());
        }
    }

    void write(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = ::write(file_.get(), bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) {
                continue;
            }
            bytes.remove_prefix(static_cast<std::size_t>(check(static_cast<int>(count), "write")));
        }
        check(::fsync(file_.get()), "fsync");
    }

    void renameTo(const fs::path& target) {
        check(::rename(path_.c_str(), target.c_str()), "rename");
        path_.clear();
    }

private:
    static FileDescriptor create(const fs::path& folder, std::string& path) {
        for (;;) {
            std::string name = (folder / kTemporaryPrefix).string() + "XXXXXX";
            FileDescriptor file(check(::mkostemp(name.data(), O_CLOEXEC), "mkostemp"));
            // Another process may take it for an abandoned one before it is locked.
            const bool locked = ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
            const bool taken = !locked && errno == EWOULDBLOCK;
            struct stat status {};
            check(::fstat(file.get(), &status), "fstat");
            if (!taken && status.st_nlink > 0) {
                path = name;
                return file;
            }
        }
    }

    std::string path_;
    FileDescriptor file_;
};

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

SettingsStore::SettingsStore(fs::path folder) : folder_(std::move(folder)) {}

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
        if (error.code() != std::errc::no_such_file_or_directory && !readingTold_) {
            readingTold_ = true;
            std::cerr << "velmaro: the setting " << key << " in " << folder_
                      << " cannot be read: " << error.code().message()
                      << ". It counts as not set; make it a readable file, or remove it.\n";
        }
        return {};
    }
}

void SettingsStore::setData(std::string_view key, std::string_view bytes) {
    try {
        const fs::path target = file(key);
        makePrivateFolder(folder_);
        removeAbandonedFiles(folder_);
        TemporaryFile temporary(folder_);
        temporary.write(bytes);
        temporary.renameTo(target);
        syncFolder(folder_);
    } catch (const std::system_error& error) {
        if (!writingTold_) {
            writingTold_ = true;
            std::cerr
                << "velmaro: the setting " << key << " cannot be stored in " << folder_ << ": "
                << error.code().message()
                << ". Its stored value stays; make room there, or make the folder writable.\n";
        }
    }
}

}  // namespace velmaro
