#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <utility>

#include "Mailbox.h"
#include "backends/net/AsioNetwork.h"
#include "backends/queues/AsioDispatch.h"
#include "backends/queues/AsioMainQueue.h"
#include "fakes/Dispatch.h"
#include "fakes/Network.h"

namespace velmaro {
namespace {

using State = UDPConnection::State;

/// A network under test, and how to bring its connections where a test wants them.
class Subject {
public:
    virtual ~Subject() = default;
    virtual DispatchQueue& queue() = 0;
    virtual std::shared_ptr<UDPConnection> make() = 0;
    /// Starts it and sees that it becomes ready or fails.
    virtual void startReady(UDPConnection& connection) = 0;
    /// A connection that fails when it is started by this.
    virtual std::shared_ptr<UDPConnection> makeFailing() = 0;
    virtual void startFailing(UDPConnection& connection) = 0;
    /// Lets what is on its way to the queue run. How long another thread may take for it.
    virtual std::chrono::milliseconds run() = 0;
};

class RealSubject : public Subject {
public:
    DispatchQueue& queue() override { return queue_; }
    std::shared_ptr<UDPConnection> make() override {
        return network_.makeUDPConnection("127.0.0.1", Port{9});
    }
    void startReady(UDPConnection& connection) override { connection.start(queue_); }
    std::shared_ptr<UDPConnection> makeFailing() override {
        // A link-local address without a device leads nowhere.
        return network_.makeUDPConnection("fe80::1", Port{9});
    }
    void startFailing(UDPConnection& connection) override { connection.start(queue_); }
    std::chrono::milliseconds run() override { return std::chrono::seconds(10); }

private:
    AsioMainQueue mainQueue_;
    AsioDispatch dispatch_{mainQueue_};
    DispatchQueue& queue_ = dispatch_.globalQueue(QualityOfService::standard);
    AsioNetwork network_;
};

class FakeSubject : public Subject {
public:
    DispatchQueue& queue() override { return queue_; }
    std::shared_ptr<UDPConnection> make() override {
        return network_.makeUDPConnection("127.0.0.1", Port{9});
    }
    void startReady(UDPConnection& connection) override {
        connection.start(queue_);
        enter(connection, State::ready);
    }
    std::shared_ptr<UDPConnection> makeFailing() override { return make(); }
    void startFailing(UDPConnection& connection) override {
        connection.start(queue_);
        enter(connection, State::failed, Error{"broken", "broken"});
    }
    std::chrono::milliseconds run() override {
        queue_.run();
        return {};
    }

private:
    void enter(UDPConnection& connection, State state, std::optional<Error> error = std::nullopt) {
        queue_.async([&connection, state, error] {
            dynamic_cast<fakes::ScriptedConnection&>(connection).enter(state, error);
        });
        queue_.run();
    }

    fakes::HandCrankedQueue queue_{"standard"};
    fakes::ScriptedNetwork network_;
};

enum class Kind { real, fake };

class NetworkContract : public testing::TestWithParam<Kind> {
protected:
    struct Told {
        State state;
        bool hasError;
        bool operator==(const Told&) const = default;
        friend std::ostream& operator<<(std::ostream& out, const Told& told) {
            return out << "state " << static_cast<int>(told.state) << ", error " << told.hasError;
        }
    };

    NetworkContract() {
        if (GetParam() == Kind::real) {
            subject = std::make_unique<RealSubject>();
        } else {
            subject = std::make_unique<FakeSubject>();
        }
    }

    void listen(UDPConnection& connection) {
        connection.setStateUpdateHandler([this](State state, const std::optional<Error>& error) {
            EXPECT_TRUE(subject->queue().isCurrent());
            states.put({state, error.has_value()});
        });
    }
    void send(UDPConnection& connection) {
        const std::byte content{1};
        connection.send(std::span(&content, 1), [this](const Error&) {
            EXPECT_TRUE(subject->queue().isCurrent());
            errors.put(1);
        });
    }
    std::optional<Told> nextState() { return states.take(subject->run()); }
    bool hasMore() {
        const bool isOver = subject->run() == std::chrono::milliseconds(0);
        return states.take(std::chrono::milliseconds(isOver ? 0 : 30)).has_value();
    }

    Mailbox<Told> states;
    Mailbox<int> errors;
    std::unique_ptr<Subject> subject;
};

TEST_P(NetworkContract, IsInSetupUntilStarted) {
    const auto connection = subject->make();
    EXPECT_EQ(connection->state(), State::setup);
}

TEST_P(NetworkContract, ReadyIsToldOnTheQueue) {
    const auto connection = subject->make();
    listen(*connection);
    subject->startReady(*connection);
    EXPECT_EQ(connection->state(), State::ready);
    EXPECT_EQ(nextState(), (Told{State::ready, false}));
    EXPECT_FALSE(hasMore());
}

TEST_P(NetworkContract, FailureIsToldWithItsErrorAndEndsSending) {
    const auto connection = subject->makeFailing();
    listen(*connection);
    subject->startFailing(*connection);
    EXPECT_EQ(connection->state(), State::failed);
    EXPECT_EQ(nextState(), (Told{State::failed, true}));
    send(*connection);
    EXPECT_TRUE(errors.take(subject->run()));
    EXPECT_EQ(connection->state(), State::failed);
}

TEST_P(NetworkContract, CancelIsToldOnceAndEndsSending) {
    const auto connection = subject->make();
    listen(*connection);
    subject->startReady(*connection);
    EXPECT_EQ(nextState(), (Told{State::ready, false}));
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
    connection->cancel();
    EXPECT_EQ(nextState(), (Told{State::cancelled, false}));
    send(*connection);
    EXPECT_TRUE(errors.take(subject->run()));
    EXPECT_FALSE(hasMore());
}

TEST_P(NetworkContract, CancelOfAFailedConnectionIsToldToo) {
    const auto connection = subject->makeFailing();
    listen(*connection);
    subject->startFailing(*connection);
    EXPECT_EQ(nextState(), (Told{State::failed, true}));
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
    EXPECT_EQ(nextState(), (Told{State::cancelled, false}));
    EXPECT_FALSE(hasMore());
}

TEST_P(NetworkContract, CancelBeforeTheStartIsToldAtTheStart) {
    const auto connection = subject->make();
    listen(*connection);
    connection->cancel();
    EXPECT_EQ(connection->state(), State::cancelled);
    EXPECT_FALSE(hasMore());
    connection->start(subject->queue());
    EXPECT_EQ(nextState(), (Told{State::cancelled, false}));
    EXPECT_EQ(connection->state(), State::cancelled);
    EXPECT_FALSE(hasMore());
}

TEST_P(NetworkContract, CancelIsToldThoughTheConnectionIsReleased) {
    auto connection = subject->make();
    listen(*connection);
    subject->startReady(*connection);
    EXPECT_EQ(nextState(), (Told{State::ready, false}));
    connection->cancel();
    connection.reset();
    EXPECT_EQ(nextState(), (Told{State::cancelled, false}));
}

TEST_P(NetworkContract, ReleaseAloneSaysNothing) {
    auto connection = subject->make();
    listen(*connection);
    subject->startReady(*connection);
    EXPECT_EQ(nextState(), (Told{State::ready, false}));
    connection.reset();
    EXPECT_FALSE(hasMore());
}

INSTANTIATE_TEST_SUITE_P(Networks, NetworkContract, testing::Values(Kind::real, Kind::fake),
                         [](const auto& info) {
                             return info.param == Kind::real ? "Real" : "Fake";
                         });

}  // namespace
}  // namespace velmaro
