#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lo/lo.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "UDPReceiver.h"
#include "backends/control/ControlListener.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// Runs work at once, on whichever thread brings it.
class ImmediateQueue : public DispatchQueue {
public:
    void async(Work work) override { work(); }
    void asyncAfter(std::chrono::duration<double> /*delay*/, Work /*work*/) override {}
    [[nodiscard]] bool isCurrent() const override { return true; }
};

class ControlListenerTest : public testing::Test {
protected:
    void start(ControlListener& listener) {
        listener.start(queue, [this](ControlRequest request) {
            const std::lock_guard lock(mutex);
            requests.push_back(request);
            came.notify_all();
        });
    }

    static void send(const ControlListener& listener, const char* path,
                     const char* host = "127.0.0.1") {
        const std::unique_ptr<std::remove_pointer_t<lo_address>, decltype(&lo_address_free)>
            address(lo_address_new(host, std::to_string(listener.port()).c_str()),
                    &lo_address_free);
        ASSERT_GT(lo_send(address.get(), path, nullptr), 0);
    }

    std::vector<ControlRequest> waitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        came.wait(lock, [&] { return requests.size() >= count; });
        return requests;
    }

    ImmediateQueue queue;
    std::mutex mutex;
    std::condition_variable came;
    std::vector<ControlRequest> requests;
};

TEST_F(ControlListenerTest, HandsOnWhatComes) {
    const auto listener = ControlListener::listen("127.0.0.1", 0);
    ASSERT_TRUE(listener);
    start(**listener);
    send(**listener, "/other");
    send(**listener, "/velmaro/set");
    send(**listener, "/velmaro/reset");
    EXPECT_THAT(waitFor(2), ElementsAre(ControlRequest::setOffset, ControlRequest::resetOffset));
}

TEST_F(ControlListenerTest, WhatCameBeforeTheStartIsNotLost) {
    const auto listener = ControlListener::listen("127.0.0.1", 0);
    ASSERT_TRUE(listener);
    send(**listener, "/velmaro/set");
    start(**listener);
    EXPECT_THAT(waitFor(1), ElementsAre(ControlRequest::setOffset));
}

TEST_F(ControlListenerTest, EndsWithoutHavingStarted) {
    EXPECT_TRUE(ControlListener::listen("127.0.0.1", 0));
}

TEST_F(ControlListenerTest, APortThatIsTakenIsALine) {
    const UDPReceiver other;
    const auto listener = ControlListener::listen("127.0.0.1", other.port());
    ASSERT_FALSE(listener);
    EXPECT_EQ(listener.error().description, "cannot listen for control at 127.0.0.1 port " +
                                                std::to_string(other.port()) +
                                                ": another program listens there");
}

TEST_F(ControlListenerTest, AnAddressThatIsNotOfThisMachineIsALine) {
    for (const char* const address : {"192.0.2.1", "nowhere", ""}) {
        const auto listener = ControlListener::listen(address, 0);
        ASSERT_FALSE(listener) << address;
        EXPECT_THAT(listener.error().description,
                    HasSubstr("cannot listen for control at " + std::string(address)));
    }
}

}  // namespace
}  // namespace velmaro
