#include "backends/airpods/AirPods.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "backends/airpods/Packets.h"
#include "backends/motion/Live.h"
#include "fakes/Diagnostics.h"
#include "fakes/Dispatch.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

using live::eventually;
using namespace std::chrono_literals;

Bytes bytes(std::span<const std::uint8_t> packet) {
    return {packet.begin(), packet.end()};
}

constexpr BluetoothAddress kAddress{0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
constexpr BluetoothAddress kOther{0x00, 0x11, 0x22, 0xAA, 0xBB, 0xDD};

/// What a finder found, as the test says.
class Findings {
public:
    [[nodiscard]] int descriptor() const { return changed_.get(); }
    AirPodsFinding take() {
        eventfd_t count = 0;
        ::eventfd_read(changed_.get(), &count);
        const std::lock_guard lock(mutex_);
        return finding_;
    }
    void set(const std::optional<BluetoothAddress>& address) {
        {
            const std::lock_guard lock(mutex_);
            finding_ = {.isComplete = true, .address = address};
        }
        ::eventfd_write(changed_.get(), 1);
    }

private:
    const FileDescriptor changed_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::mutex mutex_;
    AirPodsFinding finding_;
};

class ScriptedFinder : public AirPodsFinder {
public:
    explicit ScriptedFinder(Findings& findings) : findings_(findings) {}
    [[nodiscard]] int descriptor() const override { return findings_.descriptor(); }
    AirPodsFinding find() override { return findings_.take(); }

private:
    Findings& findings_;
};

/// The other end of channels that carry packets, as Bluetooth's do.
class Headset : public testing::Test {
protected:
    void make(const AirPodsTiming& timing = {.silence = 10s, .retry = 20ms, .answer = 10s}) {
        makeWith(std::make_unique<GivenAirPods>(kAddress), timing);
    }
    void makeWith(std::unique_ptr<AirPodsFinder> finder, const AirPodsTiming& timing,
                  std::chrono::milliseconds patience = 0ms) {
        motion = std::make_unique<MotionThread>(
            "test",
            std::make_unique<AirPods>(
                std::move(finder),
                [this](const BluetoothAddress& address) { return connect(address); }, diagnostics,
                AngleSigns{}, timing),
            patience);
        motion->setDelegate(listener);
    }
    Result<FileDescriptor> connect(const BluetoothAddress& address) {
        const std::lock_guard lock(mutex);
        ++attempts;
        last = address;
        if (refusal != 0) {
            return failure(std::generic_category().message(refusal));
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

    int newFrames() {
        const auto lines = diagnostics.lines();
        return static_cast<int>(std::ranges::count(
            lines, "the AirPods have a new frame of reference: set the offset anew"));
    }

    std::mutex mutex;
    int attempts = 0;
    int refusal = 0;
    std::optional<BluetoothAddress> last;
    std::optional<FileDescriptor> headset;
    fakes::HandCrankedQueue queue{"delivery"};
    const std::shared_ptr<live::Listener> listener = std::make_shared<live::Listener>();
    std::vector<CMQuaternion> received;
    Findings findings;
    fakes::CapturedDiagnostics diagnostics;
    std::unique_ptr<MotionThread> motion;
};

constexpr AirPodsTiming kPatient{.silence = 10s, .retry = 10s, .answer = 10s};

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
    hangUp();
    ASSERT_TRUE(eventually([&] { return listener->disconnections == 1; }));
    greet();
    EXPECT_TRUE(eventually([this] { return listener->connections == 2; }));
    EXPECT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16))) << "motion goes on by itself";
    EXPECT_EQ(diagnostics.lines(),
              (std::vector<std::string>{
                  "no motion from the AirPods (experimental): they hung up; trying again"}));
}

TEST_F(Headset, ReportsOnceWhyItCannotConnect) {
    refusal = EHOSTDOWN;
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
    EXPECT_EQ(diagnostics.lines(),
              (std::vector<std::string>{
                  "no motion from the AirPods (experimental): Host is down; trying again"}));
}

TEST_F(Headset, GivesUpOnADeviceThatDoesNotAnswer) {
    make({.silence = 10s, .retry = 20ms, .answer = 50ms});
    ASSERT_TRUE(eventually([this] {
        const std::lock_guard lock(mutex);
        return attempts >= 2;
    }));
    motion.reset();
    ASSERT_EQ(diagnostics.lines().size(), 1U);
    EXPECT_NE(diagnostics.lines()[0].find("no answer"), std::string::npos);
    EXPECT_EQ(listener->connections, 0);
}

TEST_F(Headset, NothingFoundIsNothingTried) {
    findings.set(std::nullopt);
    const auto begin = std::chrono::steady_clock::now();
    makeWith(std::make_unique<ScriptedFinder>(findings), kPatient, 10s);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s) << "there is nothing to wait for";
    EXPECT_FALSE(motion->isDeviceMotionAvailable());
    motion.reset();
    EXPECT_EQ(attempts, 0);
    EXPECT_TRUE(diagnostics.all().empty());
}

TEST_F(Headset, WhatIsThereFromTheBeginningIsAwaited) {
    findings.set(kAddress);
    std::jthread wearer([this] {
        EXPECT_EQ(next(), bytes(airPodsHandshake()));
        send({0x01, 0x00, 0x04, 0x00});
    });
    makeWith(std::make_unique<ScriptedFinder>(findings), kPatient, 10s);
    EXPECT_TRUE(motion->isDeviceMotionAvailable());
    EXPECT_EQ(last, kAddress);
}

TEST_F(Headset, AnAttemptThatFailsIsAwaitedNoLonger) {
    findings.set(kAddress);
    refusal = EHOSTDOWN;
    const auto begin = std::chrono::steady_clock::now();
    makeWith(std::make_unique<ScriptedFinder>(findings), kPatient, 10s);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_FALSE(motion->isDeviceMotionAvailable());
    motion.reset();
    ASSERT_EQ(diagnostics.lines().size(), 1U);
    EXPECT_NE(diagnostics.lines()[0].find("Host is down"), std::string::npos);
}

TEST_F(Headset, WhatIsNoLongerFoundIsLeftInSilence) {
    makeWith(std::make_unique<ScriptedFinder>(findings), kPatient);
    for (int i = 1; i <= 2; ++i) {
        findings.set(kAddress);
        greet();
        start();
        ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
        findings.set(std::nullopt);
        EXPECT_EQ(next(), bytes(airPodsStop(AirPodsService::motion16)));
        EXPECT_TRUE(eventually([&] { return listener->disconnections == i; }));
        motion->stopDeviceMotionUpdates();
        hangUp();
    }
    motion.reset();
    EXPECT_EQ(attempts, 2);
    EXPECT_TRUE(diagnostics.all().empty());
}

TEST_F(Headset, KeepsItsFrameOfReferenceOverStopsAndLosses) {
    make();
    greet();
    start();
    ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
    send(motionPacket({0, 1000, 1000}, 16));
    ASSERT_TRUE(receives(1));
    motion->stopDeviceMotionUpdates();
    ASSERT_EQ(next(), bytes(airPodsStop(AirPodsService::motion16)));
    start();
    ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
    send(motionPacket({1600, 2600, 2600}, 16));
    ASSERT_TRUE(receives(2));
    EXPECT_EQ(received[1], attitudeFromAngles(0, 9, 0)) << "relative to the first of all";
    hangUp();
    ASSERT_TRUE(eventually([&] { return listener->disconnections == 1; }));
    greet();
    ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
    send(motionPacket({1600, 2600, 2600}, 16));
    ASSERT_TRUE(receives(3));
    EXPECT_EQ(received[2], attitudeFromAngles(0, 9, 0)) << "after a loss too";
    EXPECT_EQ(newFrames(), 1) << "the first sample of all begins one";
}

TEST_F(Headset, OtherOnesBeginANewFrameOfReference) {
    makeWith(std::make_unique<ScriptedFinder>(findings), kPatient);
    for (const auto& address : {kAddress, kOther, kOther}) {
        findings.set(address);
        greet();
        start();
        ASSERT_EQ(next(), bytes(airPodsStart(AirPodsService::motion16)));
        const std::size_t before = received.size();
        send(motionPacket({0, 1000, 1000}, 16));
        ASSERT_TRUE(receives(before + 1));
        EXPECT_EQ(received.back(), (CMQuaternion{0, 0, 0, 1}));
        motion->stopDeviceMotionUpdates();
        ASSERT_EQ(next(), bytes(airPodsStop(AirPodsService::motion16)));
        findings.set(std::nullopt);
        ASSERT_TRUE(eventually([&] { return !motion->isDeviceMotionAvailable(); }));
        hangUp();
    }
    EXPECT_EQ(newFrames(), 2) << "not when the same ones come back";
}

TEST_F(Headset, ThoseThatAreGoneAreNotSaidToBeTriedAgain) {
    makeWith(std::make_unique<ScriptedFinder>(findings), kPatient);
    findings.set(kAddress);
    greet();
    hangUp();
    ASSERT_TRUE(eventually([&] { return listener->disconnections == 1; }));
    findings.set(std::nullopt);
    findings.set(kOther);
    greet();
    EXPECT_TRUE(diagnostics.all().empty()) << diagnostics.lines().front();
}

TEST_F(Headset, ThoseThatAreStillFoundAreTriedAgainWithAWordOnIt) {
    makeWith(std::make_unique<ScriptedFinder>(findings),
             {.silence = 10s, .retry = 20ms, .answer = 10s});
    findings.set(kAddress);
    greet();
    hangUp();
    greet();
    EXPECT_EQ(diagnostics.lines(),
              (std::vector<std::string>{
                  "no motion from the AirPods (experimental): they hung up; trying again"}));
}

TEST_F(Headset, OtherOnesFoundAreSpokenToInstead) {
    makeWith(std::make_unique<ScriptedFinder>(findings), kPatient);
    findings.set(kAddress);
    greet();
    findings.set(kOther);
    ASSERT_TRUE(eventually([this] {
        const std::lock_guard lock(mutex);
        return attempts == 2;
    }));
    greet();
    EXPECT_EQ(last, kOther);
    EXPECT_EQ(listener->disconnections, 1);
}

}  // namespace
}  // namespace velmaro
