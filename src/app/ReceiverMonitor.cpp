#include "app/ReceiverMonitor.h"

#include <utility>

namespace velmaro {
namespace {

using namespace std::chrono_literals;

/// One lost datagram is no news.
constexpr auto kRefusedFor = 1s;
/// Hosts in the distance say no more than once a second that they refuse.
constexpr auto kForgottenAfter = 3s;

}  // namespace

/// What is known of the latest connection. Outlives it and the monitor. Any thread.
class ReceiverMonitor::Record {
public:
    explicit Record(std::function<Clock::time_point()> now) : now_(std::move(now)) {}

    /// Begins with a new connection, whose number is the result. That the last one failed stays
    /// known until this one is ready, since a failed one is replaced many times a second.
    std::uint64_t begin(Status::Target target) {
        const std::lock_guard lock(mutex_);
        if (failed_ && target_ != target) {
            failed_ = false;
        }
        target_ = std::move(target);
        firstError_.reset();
        return ++latest_;
    }

    void enter(std::uint64_t connection, UDPConnection::State state,
               const std::optional<Error>& error) {
        const std::lock_guard lock(mutex_);
        if (connection != latest_) {
            return;
        }
        if (state == UDPConnection::State::ready) {
            failed_ = false;
        } else if (state == UDPConnection::State::failed) {
            failed_ = true;
            reason_ = error.value_or(Error{}).description;
        }
    }

    void end(std::uint64_t connection) {
        const std::lock_guard lock(mutex_);
        if (connection == latest_) {
            target_.reset();
            failed_ = false;
            firstError_.reset();
        }
    }

    void sendFailed(std::uint64_t connection, const Error& error) {
        const std::lock_guard lock(mutex_);
        if (connection != latest_ || failed_) {
            return;
        }
        const Clock::time_point now = now_();
        if (!firstError_ || now - lastError_ > kForgottenAfter) {
            firstError_ = now;
        }
        lastError_ = now;
        reason_ = error.description;
    }

    [[nodiscard]] Status status() const {
        const std::lock_guard lock(mutex_);
        if (!target_) {
            return {};
        }
        if (failed_) {
            return {target_, Trouble::notFound, reason_};
        }
        if (firstError_ && lastError_ - *firstError_ >= kRefusedFor &&
            now_() - lastError_ <= kForgottenAfter) {
            return {target_, Trouble::refused, reason_};
        }
        return {target_, Trouble::none, {}};
    }

private:
    const std::function<Clock::time_point()> now_;
    mutable std::mutex mutex_;
    std::uint64_t latest_ = 0;
    std::optional<Status::Target> target_;
    bool failed_ = false;
    std::optional<Clock::time_point> firstError_;
    Clock::time_point lastError_;
    std::string reason_;
};

class ReceiverMonitor::Connection final : public UDPConnection {
public:
    Connection(std::shared_ptr<UDPConnection> connection, std::shared_ptr<Record> record,
               std::uint64_t number)
        : connection_(std::move(connection)), record_(std::move(record)), number_(number) {}

    void setStateUpdateHandler(StateUpdateHandler handler) override {
        connection_->setStateUpdateHandler(
            [record = record_, number = number_, handler = std::move(handler)](
                State state, const std::optional<Error>& error) {
                record->enter(number, state, error);
                if (handler) {
                    handler(state, error);
                }
            });
    }

    void start(DispatchQueue& queue) override { connection_->start(queue); }

    [[nodiscard]] State state() const override { return connection_->state(); }

    void send(std::span<const std::byte> content, const SendErrorHandler& onError) override {
        if (!onError_) {
            onError_ = [record = record_, number = number_, onError](const Error& error) {
                record->sendFailed(number, error);
                if (onError) {
                    onError(error);
                }
            };
        }
        connection_->send(content, onError_);
    }

    void cancel() override {
        record_->end(number_);
        connection_->cancel();
    }

private:
    const std::shared_ptr<UDPConnection> connection_;
    const std::shared_ptr<Record> record_;
    const std::uint64_t number_;
    /// Made once, so that a datagram costs no allocation.
    SendErrorHandler onError_;
};

ReceiverMonitor::ReceiverMonitor(Network& network, std::function<Clock::time_point()> now)
    : network_(network), record_(std::make_shared<Record>(std::move(now))) {}

ReceiverMonitor::~ReceiverMonitor() = default;

ReceiverMonitor::Status ReceiverMonitor::status() const {
    return record_->status();
}

std::optional<Port> ReceiverMonitor::makePort(std::uint16_t rawValue) const {
    return network_.makePort(rawValue);
}

std::shared_ptr<UDPConnection> ReceiverMonitor::makeUDPConnection(const std::string& host,
                                                                  Port port) {
    const std::uint64_t number = record_->begin({host, port});
    return std::make_shared<Connection>(network_.makeUDPConnection(host, port), record_, number);
}

}  // namespace velmaro
