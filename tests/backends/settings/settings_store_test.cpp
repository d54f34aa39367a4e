#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <optional>

#include "TemporaryFolder.h"
#include "backends/settings/SettingsStore.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

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

class SettingsStoreTest : public testing::Test {
protected:
    SettingsStore open(const fs::path& folder) { return SettingsStore(diagnostics, folder); }

    fakes::CapturedDiagnostics diagnostics;
    const TemporaryFolder root;
};

TEST_F(SettingsStoreTest, BeginsEmptyAndTouchesNothing) {
    const SettingsStore store = open(root.path / "velmaro");
    EXPECT_EQ(store.data("headphoneCalibration"), "");
    EXPECT_TRUE(diagnostics.all().empty());
    EXPECT_FALSE(fs::exists(root.path / "velmaro"));
}

TEST_F(SettingsStoreTest, KeepsEveryByteBetweenRuns) {
    std::string bytes = "{\"a\":1}\n";
    for (int i = 0; i < 20'000; ++i) {
        bytes.push_back(static_cast<char>(i));
    }
    open(root.path).setData("headphoneCalibration", bytes);
    open(root.path).setData("other", "2");
    open(root.path).setData("none", "");
    const SettingsStore store = open(root.path);
    EXPECT_EQ(store.data("headphoneCalibration"), bytes);
    EXPECT_EQ(store.data("other"), "2");
    EXPECT_EQ(store.data("none"), "");
}

TEST_F(SettingsStoreTest, ReplacesAValueAndLeavesNothingElse) {
    SettingsStore store = open(root.path);
    store.setData("key", "a long first value");
    store.setData("key", "short");
    EXPECT_EQ(store.data("key"), "short");
    EXPECT_THAT(namesIn(root.path), ElementsAre("key"));
}

TEST_F(SettingsStoreTest, NothingTakesAValueAway) {
    SettingsStore store = open(root.path);
    store.setData("key", "");
    store.setData("key", "value");
    store.setData("key", "");
    EXPECT_EQ(store.data("key"), "");
    EXPECT_TRUE(namesIn(root.path).empty());
    std::ofstream(root.path / "target") << "value";
    fs::create_symlink("target", root.path / "key");
    store.setData("key", "");
    EXPECT_THAT(namesIn(root.path), ElementsAre("key"));
    EXPECT_TRUE(diagnostics.all().empty());
    fs::remove(root.path / "key");
    fs::create_directory(root.path / "key");
    store.setData("key", "");
    EXPECT_THAT(diagnostics.lines(), ElementsAre(HasSubstr("cannot be removed from")));
}

TEST_F(SettingsStoreTest, SeesWhatAnotherProcessStored) {
    SettingsStore first = open(root.path);
    SettingsStore second = open(root.path);
    first.setData("key", "1");
    EXPECT_EQ(second.data("key"), "1");
    second.setData("key", "2");
    EXPECT_EQ(first.data("key"), "2");
}

TEST_F(SettingsStoreTest, IsForTheUserAlone) {
    const mode_t before = ::umask(0);
    SettingsStore store = open(root.path / "config" / "velmaro");
    store.setData("key", "value");
    ::umask(before);
    EXPECT_EQ(modeOf(root.path / "config"), 0700U);
    EXPECT_EQ(modeOf(root.path / "config" / "velmaro"), 0700U);
    EXPECT_EQ(modeOf(root.path / "config" / "velmaro" / "key"), 0600U);
}

TEST_F(SettingsStoreTest, ClosesWhatWasOpenToOthers) {
    const fs::path folder = root.path / "velmaro";
    fs::create_directory(folder);
    ::chmod(folder.c_str(), 0755);
    std::ofstream(folder / "key") << "old";
    ::chmod((folder / "key").c_str(), 0644);
    SettingsStore store = open(folder);
    EXPECT_EQ(store.data("key"), "old");
    store.setData("key", "new");
    EXPECT_EQ(modeOf(folder), 0700U);
    EXPECT_EQ(modeOf(folder / "key"), 0600U);
}

TEST_F(SettingsStoreTest, RefusesKeysThatAreNotPlainNames) {
    const fs::path folder = root.path / "velmaro";
    for (const std::string& key :
         {std::string(), std::string("."), std::string(".."), std::string("../outside"),
          std::string("a/b"), std::string(".new-a"), std::string("a b"), std::string("a\0b", 3),
          std::string("\xC3\xA9"), std::string(101, 'a')}) {
        SettingsStore store = open(folder);
        store.setData(key, "value");
        EXPECT_EQ(store.data(key), "");
        EXPECT_THAT(diagnostics.lines().back(), HasSubstr("Invalid argument"));
    }
    EXPECT_TRUE(namesIn(root.path).empty());
    SettingsStore store = open(folder);
    store.setData(std::string(100, 'a'), "value");
    EXPECT_EQ(store.data(std::string(100, 'a')), "value");
}

TEST_F(SettingsStoreTest, SaysOnceThatASettingCannotBeRead) {
    fs::create_directory(root.path / "folder");
    ASSERT_EQ(::mkfifo((root.path / "pipe").c_str(), 0600), 0);
    std::ofstream(root.path / "huge") << std::string((1 << 20) + 1, 'x');
    for (const char* key : {"folder", "pipe", "huge"}) {
        const SettingsStore store = open(root.path);
        const std::size_t before = diagnostics.all().size();
        EXPECT_EQ(store.data(key), "");
        const std::string first = diagnostics.lines().back();
        EXPECT_THAT(first, HasSubstr(std::string("the setting ") + key)) << key;
        EXPECT_THAT(first, HasSubstr(root.path.string())) << key;
        EXPECT_EQ(store.data(key), "");
        EXPECT_EQ(diagnostics.all().size(), before + 1) << key;
    }
}

TEST_F(SettingsStoreTest, RemovesWhatAKilledProcessLeft) {
    std::ofstream(root.path / ".new-aaaaaa") << "half a val";
    std::ofstream(root.path / "mine.txt") << "not ours";
    SettingsStore store = open(root.path);
    store.setData("key", "value");
    EXPECT_THAT(namesIn(root.path), testing::UnorderedElementsAre("key", "mine.txt"));
}

TEST_F(SettingsStoreTest, LeavesAFileThatAnotherProcessIsWriting) {
    const pid_t other = ::fork();
    if (other == 0) {
        for (;;) {
            ::pause();
        }
    }
    ASSERT_GT(other, 0);
    const std::vector<fs::path> busy = {root.path / (".new-key-" + std::to_string(other)),
                                        root.path / (".new-key-" + std::to_string(other) + ".a1B")};
    for (const fs::path& each : busy) {
        std::ofstream(each) << "half a val";
    }
    SettingsStore store = open(root.path);
    store.setData("key", "value");
    EXPECT_THAT(busy, testing::Each(testing::ResultOf(
                          [](const auto& file) { return fs::exists(file); }, testing::IsTrue())));
    ::kill(other, SIGKILL);
    ::waitpid(other, nullptr, 0);
    store.setData("key", "value");
    EXPECT_THAT(namesIn(root.path), ElementsAre("key"));
}

TEST_F(SettingsStoreTest, WritesWhatALinkLeadsTo) {
    const fs::path elsewhere = root.path / "elsewhere";
    const fs::path folder = root.path / "velmaro";
    fs::create_directories(elsewhere);
    fs::create_directories(folder);
    ::chmod(elsewhere.c_str(), 0755);
    std::ofstream(elsewhere / "record") << "old";
    std::ofstream(elsewhere / ".new-other-1") << "not ours";
    fs::create_symlink("../elsewhere/middle", folder / "key");
    fs::create_symlink("record", elsewhere / "middle");
    SettingsStore store = open(folder);
    EXPECT_EQ(store.data("key"), "old");
    store.setData("key", "new");
    EXPECT_TRUE(fs::is_symlink(folder / "key"));
    EXPECT_TRUE(fs::is_symlink(elsewhere / "middle"));
    EXPECT_FALSE(fs::is_symlink(elsewhere / "record"));
    EXPECT_EQ(store.data("key"), "new");
    EXPECT_EQ(modeOf(elsewhere), 0755U);
    EXPECT_THAT(namesIn(elsewhere),
                testing::UnorderedElementsAre("record", "middle", ".new-other-1"));
    // Where it leads to may be yet to come.
    fs::remove(elsewhere / "record");
    store.setData("key", "newer");
    EXPECT_EQ(open(folder).data("key"), "newer");
    EXPECT_TRUE(fs::is_symlink(folder / "key"));
    EXPECT_TRUE(diagnostics.all().empty());
}

TEST_F(SettingsStoreTest, AFolderThatALinkLeadsToKeepsItsMode) {
    const fs::path shared = root.path / "shared";
    fs::create_directory(shared);
    ::chmod(shared.c_str(), 0755);
    fs::create_directory_symlink(shared, root.path / "velmaro");
    open(root.path / "velmaro").setData("key", "value");
    EXPECT_EQ(modeOf(shared), 0755U);
    EXPECT_EQ(open(shared).data("key"), "value");
}

TEST_F(SettingsStoreTest, ALinkThatLeadsNowhereIsSaidOnceAndStopsNothing) {
    fs::create_directory_symlink("/nonexistent/disk", root.path / "config");
    SettingsStore store = open(root.path / "config" / "velmaro");
    EXPECT_EQ(store.data("key"), "");
    store.setData("key", "value");
    store.setData("key", "value");
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_EQ(diagnostics.all()[0].subject, Diagnostic::Subject::settings);
    EXPECT_THAT(diagnostics.lines()[0],
                HasSubstr((root.path / "config").string() +
                          " is a link to /nonexistent/disk, which is not there"));
    EXPECT_FALSE(fs::exists("/nonexistent"));
}

TEST_F(SettingsStoreTest, ARecordWhoseLinkLeadsNowhereMakesNoFolderThere) {
    const fs::path folder = root.path / "velmaro";
    fs::create_directory(folder);
    fs::create_symlink("/nonexistent/disk/record", folder / "key");
    fs::create_symlink("circle", folder / "circle");
    SettingsStore store = open(folder);
    store.setData("key", "value");
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_THAT(diagnostics.lines()[0], HasSubstr("No such file or directory"));
    EXPECT_FALSE(fs::exists("/nonexistent"));
    open(folder).setData("circle", "value");
    EXPECT_THAT(diagnostics.lines().back(), HasSubstr("Too many levels of symbolic links"));
}

}  // namespace
}  // namespace velmaro
