#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "TemporaryFolder.h"
#include "backends/settings/SettingsStore.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

/// Sets or removes a variable of the environment until it goes.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name) {
        if (const char* before = std::getenv(name)) {
            before_ = before;
        }
        set(value);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { set(before_ ? before_->c_str() : nullptr); }

private:
    void set(const char* value) {
        if (value != nullptr) {
            ::setenv(name_, value, 1);
        } else {
            ::unsetenv(name_);
        }
    }
    const char* name_;
    std::optional<std::string> before_;
};

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST(SettingsFolder, IsWhereTheDesktopKeepsSettings) {
    const Variable home("HOME", "/home/ada");
    {
        const Variable config("XDG_CONFIG_HOME", "/settings");
        EXPECT_EQ(SettingsStore::defaultFolder(), "/settings/velmaro");
    }
    for (const char* unusable : {static_cast<const char*>(nullptr), "", "settings", "./settings"}) {
        const Variable config("XDG_CONFIG_HOME", unusable);
        EXPECT_EQ(SettingsStore::defaultFolder(), "/home/ada/.config/velmaro");
    }
}

TEST(SettingsFolder, AsksTheSystemForAHomeThatTheEnvironmentDoesNotName) {
    const Variable config("XDG_CONFIG_HOME", nullptr);
    for (const char* unusable : {static_cast<const char*>(nullptr), ""}) {
        const Variable home("HOME", unusable);
        EXPECT_TRUE(SettingsStore::defaultFolder().is_absolute());
    }
    const Variable home("HOME", "here");
    EXPECT_EQ(SettingsStore::defaultFolder(), "");
}

TEST(SettingsStore, BeginsEmptyAndTouchesNothing) {
    const TemporaryFolder root;
    CaptureStderr();
    const SettingsStore store(root.path / "velmaro");
    EXPECT_EQ(store.data("headphoneCalibration"), "");
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_FALSE(fs::exists(root.path / "velmaro"));
}

TEST(SettingsStore, KeepsEveryByteBetweenRuns) {
    const TemporaryFolder root;
    std::string bytes = "{\"a\":1}\n";
    for (int i = 0; i < 20'000; ++i) {
        bytes.push_back(static_cast<char>(i));
    }
    SettingsStore(root.path).setData("headphoneCalibration", bytes);
    SettingsStore(root.path).setData("other", "2");
    SettingsStore(root.path).setData("none", "");
    const SettingsStore store(root.path);
    EXPECT_EQ(store.data("headphoneCalibration"), bytes);
    EXPECT_EQ(store.data("other"), "2");
    EXPECT_EQ(store.data("none"), "");
}

TEST(SettingsStore, ReplacesAValueAndLeavesNothingElse) {
    const TemporaryFolder root;
    SettingsStore store(root.path);
    store.setData("key", "a long first value");
    store.setData("key", "short");
    EXPECT_EQ(store.data("key"), "short");
    EXPECT_THAT(namesIn(root.path), ElementsAre("key"));
}

TEST(SettingsStore, SeesWhatAnotherProcessStored) {
    const TemporaryFolder root;
    SettingsStore first(root.path);
    SettingsStore second(root.path);
    first.setData("key", "1");
    EXPECT_EQ(second.data("key"), "1");
    second.setData("key", "2");
    EXPECT_EQ(first.data("key"), "2");
}

TEST(SettingsStore, IsForTheUserAlone) {
    const TemporaryFolder root;
    const mode_t before = ::umask(0);
    SettingsStore store(root.path / "config" / "velmaro");
    store.setData("key", "value");
    ::umask(before);
    EXPECT_EQ(modeOf(root.path / "config"), 0700U);
    EXPECT_EQ(modeOf(root.path / "config" / "velmaro"), 0700U);
    EXPECT_EQ(modeOf(root.path / "config" / "velmaro" / "key"), 0600U);
}

TEST(SettingsStore, ClosesWhatWasOpenToOthers) {
    const TemporaryFolder root;
    const fs::path folder = root.path / "velmaro";
    fs::create_directory(folder);
    ::chmod(folder.c_str(), 0755);
    std::ofstream(folder / "key") << "old";
    ::chmod((folder / "key").c_str(), 0644);
    SettingsStore store(folder);
    EXPECT_EQ(store.data("key"), "old");
    store.setData("key", "new");
    EXPECT_EQ(modeOf(folder), 0700U);
    EXPECT_EQ(modeOf(folder / "key"), 0600U);
}

TEST(SettingsStore, RefusesKeysThatAreNotPlainNames) {
    const TemporaryFolder root;
    const fs::path folder = root.path / "velmaro";
    for (const std::string& key :
         {std::string(), std::string("."), std::string(".."), std::string("../outside"),
          std::string("a/b"), std::string(".new-a"), std::string("a b"), std::string("a\0b", 3),
          std::string("\xC3\xA9"), std::string(101, 'a')}) {
        SettingsStore store(folder);
        CaptureStderr();
        store.setData(key, "value");
        EXPECT_EQ(store.data(key), "");
        EXPECT_THAT(GetCapturedStderr(), HasSubstr("Invalid argument"));
    }
    EXPECT_TRUE(namesIn(root.path).empty());
    SettingsStore store(folder);
    store.setData(std::string(100, 'a'), "value");
    EXPECT_EQ(store.data(std::string(100, 'a')), "value");
}

TEST(SettingsStore, SaysOnceThatASettingCannotBeRead) {
    const TemporaryFolder root;
    fs::create_directory(root.path / "folder");
    ASSERT_EQ(::mkfifo((root.path / "pipe").c_str(), 0600), 0);
    std::ofstream(root.path / "huge") << std::string((1 << 20) + 1, 'x');
    for (const char* key : {"folder", "pipe", "huge"}) {
        const SettingsStore store(root.path);
        CaptureStderr();
        EXPECT_EQ(store.data(key), "");
        const std::string first = GetCapturedStderr();
        EXPECT_THAT(first, HasSubstr(std::string("the setting ") + key)) << key;
        EXPECT_THAT(first, HasSubstr(root.path.string())) << key;
        CaptureStderr();
        EXPECT_EQ(store.data(key), "");
        EXPECT_EQ(GetCapturedStderr(), "") << key;
    }
}

TEST(SettingsStore, RemovesWhatAKilledProcessLeft) {
    const TemporaryFolder root;
    std::ofstream(root.path / ".new-aaaaaa") << "half a val";
    std::ofstream(root.path / "mine.txt") << "not ours";
    SettingsStore store(root.path);
    store.setData("key", "value");
    EXPECT_THAT(namesIn(root.path), testing::UnorderedElementsAre("key", "mine.txt"));
}

TEST(SettingsStore, LeavesAFileThatAnotherProcessIsWriting) {
    const TemporaryFolder root;
    const fs::path busy = root.path / ".new-bbbbbb";
    const int descriptor = ::open(busy.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    ASSERT_GE(descriptor, 0);
    ASSERT_EQ(::flock(descriptor, LOCK_EX | LOCK_NB), 0);
    SettingsStore store(root.path);
    store.setData("key", "value");
    EXPECT_TRUE(fs::exists(busy));
    ::close(descriptor);
    store.setData("key", "value");
    EXPECT_FALSE(fs::exists(busy));
}

}  // namespace
}  // namespace velmaro
