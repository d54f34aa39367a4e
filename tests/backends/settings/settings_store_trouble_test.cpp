// What the settings hold after processes were killed, disks were full and folders were closed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <utility>

#include "TemporaryFolder.h"
#include "backends/settings/SettingsStore.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kOld = std::string(3'000, 'o');
const std::string kNew = std::string(50'000, 'n');

/// Appends each line to a file, for a process whose memory nobody sees.
class DiagnosticsFile : public Diagnostics {
public:
    explicit DiagnosticsFile(fs::path path) : path_(std::move(path)) {}
    void report(const Diagnostic& diagnostic) override {
        std::ofstream(path_, std::ios::app) << diagnostic.line() << '\n';
    }

private:
    const fs::path path_;
};

/// Runs `work` in a process of its own, whose diagnostics go to `errors`.
template <typename Work>
pid_t start(const fs::path& errors, Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
        DiagnosticsFile diagnostics(errors);
        work(diagnostics);
        ::_exit(0);
    }
    return child;
}

std::string textOf(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

TEST(SettingsStoreTrouble, AKilledProcessLeavesTheOldValueOrTheNew) {
    const TemporaryFolder root;
    const fs::path folder = root.path / "velmaro";
    fakes::CapturedDiagnostics diagnostics;
    SettingsStore store(diagnostics, folder);
    store.setData("key", kOld);
    std::mt19937 random(7);
    std::uniform_int_distribution<useconds_t> delay(0, 8'000);
    int sawOld = 0;
    int sawNew = 0;
    for (int round = 0; round < 200; ++round) {
        const pid_t child = start(root.path / "errors", [&](Diagnostics& errors) {
            SettingsStore mine(errors, folder);
            for (;;) {
                mine.setData("key", kNew);
                mine.setData("key", kOld);
            }
        });
        ASSERT_GT(child, 0);
        ::usleep(delay(random));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        const std::string value = store.data("key");
        ASSERT_TRUE(value == kOld || value == kNew) << value.size() << " bytes";
        ++(value == kOld ? sawOld : sawNew);
    }
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0) << "no round lived long enough to store anything";
    EXPECT_EQ(textOf(root.path / "errors"), "");
    store.setData("key", kOld);
    EXPECT_THAT(namesIn(folder), ElementsAre("key"));
}

TEST(SettingsStoreTrouble, TwoProcessesDoNotMixTheirValues) {
    const TemporaryFolder root;
    const fs::path folder = root.path / "velmaro";
    const auto storing = [&folder](const std::string& value) {
        return [&folder, value](Diagnostics& errors) {
            SettingsStore mine(errors, folder);
            for (int i = 0; i < 100; ++i) {
                mine.setData("key", value);
            }
        };
    };
    const pid_t first = start(root.path / "errors", storing(kOld));
    const pid_t second = start(root.path / "errors", storing(kNew));
    ASSERT_GT(first, 0);
    ASSERT_GT(second, 0);
    fakes::CapturedDiagnostics diagnostics;
    const SettingsStore store(diagnostics, folder);
    int running = 2;
    int reads = 0;
    while (running > 0) {
        const std::string value = store.data("key");
        EXPECT_TRUE(value.empty() || value == kOld || value == kNew) << value.size() << " bytes";
        reads += value.empty() ? 0 : 1;
        int status = 0;
        if (::waitpid(-1, &status, WNOHANG) > 0) {
            EXPECT_TRUE(WIFEXITED(status));
            --running;
        }
    }
    EXPECT_GT(reads, 0);
    EXPECT_EQ(textOf(root.path / "errors"), "") << "every value could be stored";
    EXPECT_THAT(namesIn(folder), ElementsAre("key"));
}

/// A small file system in memory on a folder, seen by this process alone.
class SmallDisk {
public:
    explicit SmallDisk(const fs::path& folder) : folder_(folder) {
        if (!ownNamespace()) {
            problem = std::string("no mount namespace: ") + std::strerror(errno);
            return;
        }
        if (::mount("none", folder.c_str(), "tmpfs", 0, "size=64k") != 0) {
            problem = std::string("no tmpfs: ") + std::strerror(errno);
            return;
        }
        mounted_ = true;
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() {
        if (mounted_) {
            ::umount2(folder_.c_str(), MNT_DETACH);
        }
    }

    [[nodiscard]] bool makeReadOnly() const {
        return ::mount("none", folder_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

    /// Why there is none; empty if there is.
    std::string problem;

private:
    static bool ownNamespace() {
        const uid_t user = ::getuid();
        const gid_t group = ::getgid();
        if (::unshare(CLONE_NEWNS) != 0) {
            if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
                return false;
            }
            std::ofstream("/proc/self/setgroups") << "deny";
            std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
            std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
        }
        return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }

    fs::path folder_;
    bool mounted_ = false;
};

/// The store keeps `kOld`, says once why it cannot take `kNew`, and leaves nothing behind.
void expectRefusal(const fs::path& folder, const char* reason) {
    fakes::CapturedDiagnostics diagnostics;
    SettingsStore store(diagnostics, folder);
    store.setData("key", kNew);
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_THAT(diagnostics.lines()[0], HasSubstr(reason));
    EXPECT_THAT(diagnostics.lines()[0], HasSubstr(folder.string()));
    store.setData("key", kNew);
    EXPECT_EQ(diagnostics.all().size(), 1U);
    EXPECT_EQ(store.data("key"), kOld);
    for (const std::string& name : namesIn(folder)) {
        EXPECT_FALSE(name.starts_with(".new-")) << name;
    }
}

TEST(SettingsStoreTrouble, AFullDiskKeepsTheOldValue) {
    const TemporaryFolder root;
    const SmallDisk disk(root.path);
    if (!disk.problem.empty()) {
        GTEST_SKIP() << disk.problem;
    }
    fakes::CapturedDiagnostics diagnostics;
    SettingsStore(diagnostics, root.path).setData("key", kOld);
    std::ofstream(root.path / "filler") << std::string(200'000, 'x');
    expectRefusal(root.path, "No space left on device");
    fs::remove(root.path / "filler");
    SettingsStore(diagnostics, root.path).setData("key", kNew);
    EXPECT_EQ(SettingsStore(diagnostics, root.path).data("key"), kNew);
}

TEST(SettingsStoreTrouble, AReadOnlyFolderKeepsTheOldValue) {
    const TemporaryFolder root;
    const SmallDisk disk(root.path);
    if (!disk.problem.empty()) {
        GTEST_SKIP() << disk.problem;
    }
    fakes::CapturedDiagnostics diagnostics;
    SettingsStore(diagnostics, root.path).setData("key", kOld);
    ASSERT_TRUE(disk.makeReadOnly()) << std::strerror(errno);
    expectRefusal(root.path, "Read-only file system");
}

TEST(SettingsStoreTrouble, AFolderThatCannotBeMadeStopsNothing) {
    const TemporaryFolder root;
    std::ofstream(root.path / "file") << "in the way";
    for (const fs::path& folder :
         {root.path / "file", root.path / "file" / "velmaro", fs::path()}) {
        fakes::CapturedDiagnostics diagnostics;
        SettingsStore store(diagnostics, folder);
        store.setData("key", kNew);
        EXPECT_THAT(diagnostics.lines(), ElementsAre(HasSubstr("cannot be stored")));
        EXPECT_EQ(store.data("key"), "");
    }
    EXPECT_EQ(textOf(root.path / "file"), "in the way");
}

}  // namespace
}  // namespace velmaro
