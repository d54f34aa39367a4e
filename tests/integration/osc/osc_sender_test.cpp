#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "backends/net/AsioNetwork.h"
#include "backends/queues/AsioDispatch.h"
#include "backends/queues/AsioMainQueue.h"
#include "fakes/WallClock.h"
#include "integration/support/Receiver.h"
#include "osc/OSCManager.h"

namespace velmaro {
namespace {

using integration::Receiver;
using testing::ElementsAre;

class SharedLog : public Log {
public:
    void line(std::string_view text) override {
        const std::lock_guard lock(mutex_);
        lines_.emplace_back(text);
        changed_.notify_all();
    }

    /// The lines once there are that many, or those there are after ten seconds.
    std::vector<std::string> waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(10), [&] { return lines_.size() >= count; });
        return lines_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

/// The whole way: settings and values in, what an independent OSC library understands out.
class OSCSenderTest : public testing::Test {
protected:
    OSCSenderTest() {
        clock.time = 1'800'000'000.0;
        manager->port = receiver.port();
    }

    void send(float pan, float tilt, float yaw) {
        clock.time += 1;
        manager->sendOSC(pan, tilt, yaw);
    }

    Receiver::Message received(std::size_t index) {
        EXPECT_TRUE(receiver.waitFor(index + 1));
        const auto messages = receiver.messages();
        return index < messages.size() ? messages[index] : Receiver::Message{};
    }

    Receiver receiver;
    SharedLog log;
    fakes::ManualClock clock;
    AsioMainQueue mainQueue;
    AsioDispatch dispatch{mainQueue};
    AsioNetwork network;
    std::optional<OSCManager> manager{std::in_place, network, dispatch, clock, log};
};

TEST_F(OSCSenderTest, AnglesArriveAsThreeFloats) {
    send(10, -5, 0.1F);
    const auto message = received(0);
    EXPECT_EQ(message.address, "/ypr");
    EXPECT_EQ(message.types, "fff");
    EXPECT_THAT(message.values, ElementsAre(10.0F, -5.0F, 0.1F));
    EXPECT_THAT(log.waitFor(1), ElementsAre("✅ OSC UDP connection ready"));
}

TEST_F(OSCSenderTest, QuaternionArrivesAsFourFloats) {
    manager->oscMessage = "/SceneRotator/quaternions";
    manager->sendQuaternion(0.5F, -0.5F, 0.25F, 0.75F);
    const auto message = received(0);
    EXPECT_EQ(message.address, "/SceneRotator/quaternions");
    EXPECT_EQ(message.types, "ffff");
    EXPECT_THAT(message.values, ElementsAre(0.5F, -0.5F, 0.25F, 0.75F));
}

TEST_F(OSCSenderTest, EveryBitOfAValueArrives) {
    const std::vector<float> values = {-0.0F,
                                       std::numeric_limits<float>::infinity(),
                                       std::numeric_limits<float>::denorm_min(),
                                       std::numeric_limits<float>::lowest(),
                                       std::bit_cast<float>(std::uint32_t{0x7FC00123}),
                                       std::nextafter(1.0F, 2.0F)};
    send(values[0], values[1], values[2]);
    send(values[3], values[4], values[5]);
    std::vector<float> arrived = received(0).values;
    const std::vector<float> second = received(1).values;
    arrived.insert(arrived.end(), second.begin(), second.end());
    ASSERT_EQ(arrived.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(std::bit_cast<std::uint32_t>(arrived[i]), std::bit_cast<std::uint32_t>(values[i]))
            << i;
    }
}

TEST_F(OSCSenderTest, AddressesOfEveryPaddingArrive) {
    std::size_t count = 0;
    for (std::string address = "/a"; address.size() < 300; address += 'b') {
        manager->oscMessage = address;
        send(1, 2, 3);
        ASSERT_EQ(received(count).address, address);
        ++count;
    }
}

TEST_F(OSCSenderTest, HostNameIsResolvedAndItsFirstSampleIsKept) {
    manager->ipAddress = "localhost";
    send(1, 2, 3);
    EXPECT_THAT(received(0).values, ElementsAre(1.0F, 2.0F, 3.0F));
    EXPECT_THAT(log.waitFor(1), ElementsAre("✅ OSC UDP connection ready"));
}

TEST_F(OSCSenderTest, NewDestinationCountsAfterDisconnect) {
    const Receiver other;
    send(1, 0, 0);
    manager->port = other.port();
    send(2, 0, 0);
    manager->disconnect();
    send(3, 0, 0);
    EXPECT_TRUE(other.waitFor(1));
    EXPECT_THAT(other.messages().at(0).values, ElementsAre(3.0F, 0.0F, 0.0F));
    EXPECT_THAT(received(1).values, ElementsAre(2.0F, 0.0F, 0.0F));
    EXPECT_EQ(receiver.messages().size(), 2U);
    // Two connections may speak in any order, each in its own.
    EXPECT_THAT(log.waitFor(3), testing::UnorderedElementsAre("✅ OSC UDP connection ready",
                                                              "⚠️ OSC connection cancelled",
                                                              "✅ OSC UDP connection ready"));
}

TEST_F(OSCSenderTest, ReceiverMayComeLateAndIsThenHeard) {
    auto gone = std::make_unique<Receiver>();
    const std::string port = gone->port();
    gone.reset();
    manager->port = port;
    send(1, 0, 0);
    send(2, 0, 0);
    EXPECT_THAT(log.waitFor(2),
                ElementsAre("✅ OSC UDP connection ready", "OSC send error: Connection refused"));
    const Receiver late(port);
    send(3, 0, 0);
    EXPECT_TRUE(late.waitFor(1));
    EXPECT_THAT(late.messages().at(0).values, ElementsAre(3.0F, 0.0F, 0.0F));
}

TEST_F(OSCSenderTest, UnknownHostIsTriedAgainUntilItIsCorrected) {
    manager->ipAddress = "not a host name";
    send(1, 0, 0);
    EXPECT_THAT(log.waitFor(2),
                testing::UnorderedElementsAre("❌ OSC connection failed: Name or service not known",
                                              "OSC send error: Name or service not known"));
    manager->ipAddress = "127.0.0.1";
    send(2, 0, 0);
    EXPECT_THAT(received(0).values, ElementsAre(2.0F, 0.0F, 0.0F));
}

TEST_F(OSCSenderTest, LogHearsOfTheEndAfterTheManagerIsGone) {
    send(1, 0, 0);
    manager->disconnect();
    manager.reset();
    EXPECT_THAT(log.waitFor(2),
                ElementsAre("✅ OSC UDP connection ready", "⚠️ OSC connection cancelled"));
}

}  // namespace
}  // namespace velmaro
