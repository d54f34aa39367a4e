#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"
#include "integration/trouble/Motion.h"

namespace velmaro::integration {
namespace {

bool run(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

/// This process, and what it starts, get a network of their own. Empty, or why not.
std::string enterNetworkOfItsOwn() {
    const uid_t user = ::getuid();
    const gid_t group = ::getgid();
    if (::unshare(CLONE_NEWNET) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
            return std::string("no network namespace: ") + std::strerror(errno);
        }
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
        std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
    }
    return run("ip link set lo up") ? "" : "no 'ip link set lo up'";
}

TEST(AddressChange, ANetworkThatGoesAndComesBackIsUsedAgain) {
    if (const std::string problem = enterNetworkOfItsOwn(); !problem.empty()) {
        GTEST_SKIP() << problem;
    }
    ASSERT_TRUE(run("ip address add 10.1.0.1/24 dev lo"));
    const StillHead head;
    const Receiver receiver;
    Program program(head.sentTo("10.1.0.1", receiver));
    ASSERT_TRUE(goesOn(receiver));

    ASSERT_TRUE(run("ip address delete 10.1.0.1/24 dev lo"));
    EXPECT_TRUE(program.waitForOutput("❌ OSC connection failed: "));
    ASSERT_TRUE(run("ip address add 10.1.0.1/24 dev lo"));
    EXPECT_TRUE(goesOn(receiver));

    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    const auto lines = program.outputLines();
    // The first connection's, that of the new one, and at the end its end.
    EXPECT_EQ(std::ranges::count(lines, "✅ OSC UDP connection ready"), 2);
    EXPECT_EQ(lines.back(), "⚠️ OSC connection cancelled");
}

}  // namespace
}  // namespace velmaro::integration
