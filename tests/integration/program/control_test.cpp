#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lo/lo.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "UDPReceiver.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;

std::string freePort() {
    return std::to_string(UDPReceiver().port());
}

void send(const std::string& port, const char* path) {
    const std::unique_ptr<std::remove_pointer_t<lo_address>, decltype(&lo_address_free)> address(
        lo_address_new("127.0.0.1", port.c_str()), &lo_address_free);
    // Refused while nothing listens yet.
    lo_send(address.get(), path, nullptr);
}

/// Sends until the receiver's latest pan is as wanted.
bool sendUntil(const std::string& port, const char* path, const Receiver& receiver,
               bool (*wanted)(float)) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < deadline) {
        const auto messages = receiver.messages();
        if (!messages.empty() && wanted(messages.back().values.at(0))) {
            return true;
        }
        send(port, path);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

TEST(ProgramControl, SetsAndResetsTheZeroPoseByOsc) {
    const TemporaryFolder folder;
    const std::string motion = folder.write("held.txt",
                                            "# velmaro motion 1\ntime yaw pitch roll\n"
                                            "0 30 0 0\n0.05 30 0 0\n");
    const Receiver receiver;
    const std::string port = freePort();
    Program program({"--motion-file", motion, "--port", receiver.port(), "--control-port", port});
    ASSERT_TRUE(receiver.waitFor(2));
    EXPECT_NEAR(receiver.messages().back().values.at(0), 30, 0.01);
    EXPECT_TRUE(
        sendUntil(port, "/velmaro/set", receiver, [](float pan) { return std::abs(pan) < 0.01F; }));
}

/// A picture of a head that is turned to one side and stays so.
TEST(ProgramControl, ResetUndoesTheZeroPoseOfACamera) {
    const Receiver receiver;
    const std::string port = freePort();
    Program program(
        {"--camera-file", VELMARO_STILL, "--port", receiver.port(), "--control-port", port});
    const auto turned = [](float pan) { return std::abs(pan) > 10; };
    ASSERT_TRUE(sendUntil(port, "/velmaro/other", receiver, turned));
    ASSERT_TRUE(
        sendUntil(port, "/velmaro/set", receiver, [](float pan) { return std::abs(pan) < 5; }));
    EXPECT_TRUE(sendUntil(port, "/velmaro/reset", receiver, turned));
}

/// How many UDP sockets of the process take datagrams from anybody.
int listeningSockets(pid_t process) {
    std::set<std::string> inodes;
    const std::filesystem::path files = "/proc/" + std::to_string(process) + "/fd";
    for (const auto& file : std::filesystem::directory_iterator(files)) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(file, gone);
        if (target.starts_with("socket:[")) {
            inodes.insert(target.substr(8, target.size() - 9));
        }
    }
    int count = 0;
    for (const char* const table : {"/proc/net/udp", "/proc/net/udp6"}) {
        std::ifstream rows(table);
        std::string row;
        std::getline(rows, row);
        while (std::getline(rows, row)) {
            std::istringstream fields(row);
            const std::vector<std::string> field(std::istream_iterator<std::string>(fields), {});
            count += field.at(2).ends_with(":0000") && inodes.contains(field.at(9)) ? 1 : 0;
        }
    }
    return count;
}

TEST(ProgramControl, NothingListensWithoutIt) {
    const Receiver receiver;
    const Program without({"--demo", "--port", receiver.port()});
    ASSERT_TRUE(receiver.waitFor(1));
    EXPECT_EQ(listeningSockets(without.pid()), 0);

    const Receiver other;
    const Program with({"--demo", "--port", other.port(), "--control-port", freePort()});
    ASSERT_TRUE(other.waitFor(1));
    EXPECT_EQ(listeningSockets(with.pid()), 1);
}

TEST(ProgramControl, APortThatIsTakenEndsItWithALine) {
    const UDPReceiver other;
    const Finished finished =
        runProgram({"--demo", "--control-port", std::to_string(other.port())});
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.errors,
                HasSubstr("cannot listen for control at 127.0.0.1 port " +
                          std::to_string(other.port()) + ": another program listens there\n"));
}

}  // namespace
}  // namespace velmaro::integration
