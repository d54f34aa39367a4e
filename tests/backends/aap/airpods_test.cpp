#include "backends/aap/AirPods.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include "backends/aap/Packets.h"
#include "backends/motion/Live.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

using live::eventually;
using namespace std::chrono_literals;

Bytes bytes(std::span<const std::uint8_t> packet) {
    return {packet.begin(), packet.end()};
}

/// The other end of channels that carry packets, as Bluetooth's do.
class Headset : public testing::Test {
protected:
    void make(const AirPodsTiming& timing = {.silence = 10s, .retry = 20ms, .answer = 10s}) {
        motion = std::make_unique<LiveMotion>(
            "test", std::make_unique<AirPods>([this] { return connect(); }, AngleSigns{}, timing),
            10s);
        motion->setDelegate(listener);
    }
    std::variant<FileDescriptor, std::error_code> connect() {
        const std::lock_guard lock(mutex);
        ++attempts;
        if (refusal != 0) {
            return std::error_code(refusal, std::generic_category());
        }
        std::array<int, 2> ends{};
        check(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()),
              "socketpair");
        headset.emplace(ends[1]);
        return FileDescriptor(ends[0]);
    }
    int handle() {
        const std::lock_guard lock(mutex);
        return headset ? headset->get() : -1;
    }
    /// The next packet from the program; empty if none came in 5 s.
    Bytes next() {
        if (!eventually([this] { return handle() >= 0; })) {
            return {};
        }
        pollfd file{handle(), POLLIN, 0};
        ::poll(&file, 1, 5000);
        Bytes packet(4096);
        const ssize_t size = ::recv(handle(), packet.data(), packet.size(), 0);
        packet.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return packet;
    }
    void send(const Bytes& packet) {
        ASSERT_EQ(::send(handle(), packet.data(), packet.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(packet.size()));
    }
    void hangUp() {
        const std::lock_guard lock(mutex);
        headset.reset();
    }
    void greet() {
        ASSERT_EQ(next(), bytes(airPodsHandshake()));
        EXPECT_FALSE(motion->isDeviceMotionAvailable());
        send({0x01, 0x00, 0x04, 0x00, 0x00, 0x00});
        ASSERT_EQ(next(), bytes(airPodsNotifications()));
        ASSERT_TRUE(eventually([this] { return motion->isDeviceMotionAvailable(); }));
    }
    void start() {
        motion->startDeviceMotionUpdates(queue, [this](const auto& sample, const auto&) {
            received.push_back(sample->attitude.quaternion);
        });
    }
    bool receives(std::size_t count) {
        return eventually([&] {
            queue.run();
            return received.size() >= count;
        });
    }

    std::mutex mutex;
    int attempts = 0;
    int refusal = 0;
    std::optional<FileDescriptor> headset;
    live::LockedQueue queue;
    const std::shared_ptr<live::Listener> listener = std::make_shared<live::Listener>();
    std::vector<CMQuaternion> received;
    std::unique_ptr<LiveMotion> motion;
};

TEST_F(Headset, StreamsFromStartToStop) {
    make();
    greet();
    EXPECT_TRUE(eventually([this] { return listener->connections == 1; }));
    start();
    ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
    send(motionPacket({0, 1000, 1000}, 16));
    send({0x04, 0x00, 0x04, 0x00, 0x06, 0x00, 0x00, 0x00});
    send(motionPacket({1600, 2600, 2600}, 16));
    ASSERT_TRUE(receives(2));
    EXPECT_EQ(received[0], (CMQuaternion{0, 0, 0, 1})) << "the first since the start is neutral";
    EXPECT_EQ(received[1], attitudeFromAngles(0, 9, 0));
    motion->stopDeviceMotionUpdates();
    EXPECT_EQ(next(), bytes(airPodsStop(AirPodsService::motion16)));
    EXPECT_TRUE(motion->isDeviceMotionAvailable());
    start();
    ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
    motion.reset();
    EXPECT_EQ(next(), bytes(airPodsStop(AirPodsService::motion16))) << "at the end too";
}

TEST_F(Headset, TriesTheOtherServiceInSilenceAndKeepsWhatStreams) {
    make({.silence = 50ms, .retry = 20ms, .answer = 10s});
    greet();
    start();
    EXPECT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
    EXPECT_EQ(next(), bytes(airPodsStart(AirPodsService::motion14)));
    send(motionPacket({0, 0, 0}, 14));
    ASSERT_TRUE(receives(1));
    EXPECT_EQ(next(), bytes(airPodsStart(AirPodsService::motion14))) << "taken out of the ear";
    EXPECT_EQ(next(), bytes(airPodsStart(AirPodsService::motion14)));
}

TEST_F(Headset, ConnectsAnewAfterALoss) {
    make();
    greet();
    start();
    ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
    testing::internal::CaptureStderr();
    hangUp();
    ASSERT_TRUE(eventually([&] { return listener->disconnections == 1; }));
    greet();
    EXPECT_TRUE(eventually([this] { return listener->connections == 2; }));
    EXPECT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16))) << "motion goes on by itself";
    EXPECT_NE(testing::internal::GetCapturedStderr().find("experimental"), std::string::npos);
}

TEST_F(Headset, TellsOnceWhyItCannotConnect) {
    refusal = EHOSTDOWN;
    testing::internal::CaptureStderr();
    make();
    ASSERT_TRUE(eventually([this] {
        const std::lock_guard lock(mutex);
        return attempts >= 3;
    }));
    {
        const std::lock_guard lock(mutex);
        refusal = 0;
    }
    greet();
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_NE(told.find("Host is down"), std::string::npos) << told;
}

TEST_F(Headset, GivesUpOnADeviceThatDoesNotAnswer) {
    testing::internal::CaptureStderr();
    make({.silence = 10s, .retry = 20ms, .answer = 50ms});
    ASSERT_TRUE(eventually([this] {
        const std::lock_guard lock(mutex);
        return attempts >= 2;
    }));
    motion.reset();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no answer"), std::string::npos);
    EXPECT_EQ(listener->connections, 0);
}

}  // namespace
}  // namespace velmaro
