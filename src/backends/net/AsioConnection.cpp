#include "backends/net/AsioConnection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <asio/post.hpp>
#include <cerrno>
#include <system_error>
#include <utility>

#include "backends/net/HostAddress.h"

namespace velmaro {

namespace {

using asio::ip::udp;

/// A receiver wants to know where the head is, not where it was while a name was resolved.
constexpr std::size_t kMostKeptDatagrams = 4;
/// A receiver that is started again refuses a few, one that listens elsewhere refuses all.
constexpr int kMostRefusals = 3;

Error describe(const asio::error_code& code) {
    return {code.message(), code.message()};
}

Error describe(std::errc code) {
    return describe(std::make_error_code(code));
}

Error describe(int code) {
    return describe(asio::error_code(code, asio::error::get_system_category()));
}

/// The socket's way into the network is gone: its own address was taken away, say, or the device.
/// A new socket finds another way if there is one.
bool meansDeadConnection(int code) {
    constexpr std::array kCodes = {ENETUNREACH, ENETDOWN, EADDRNOTAVAIL, EINVAL, ENODEV};
    return std::ranges::find(kCodes, code) != kCodes.end();
}

/// The descriptor of a socket that is connected to `endpoint`; the caller closes it. Released from
/// Asio, since a socket that is watched for events makes every send about five per cent slower.
int connectSocket(asio::io_context& context, const udp::endpoint& endpoint,
                  asio::error_code& error) {
    udp::socket socket(context);
    socket.open(endpoint.protocol(), error);
    if (!error) {
        socket.set_option(asio::socket_base::broadcast(true), error);
    }
    if (!error) {
        socket.connect(endpoint, error);
    }
    return error ? -1 : socket.release(error);
}

}  // namespace

AsioConnection::AsioConnection(std::shared_ptr<asio::io_context> context, std::string host,
                               Port port, std::shared_ptr<HostLookups> lookups,
                               Telemetry* telemetry)
    : context_(std::move(context)),
      host_(std::move(host)),
      port_(port),
      lookups_(std::move(lookups)),
      telemetry_(telemetry) {}

void AsioConnection::setStateUpdateHandler(StateUpdateHandler handler) {
    handler_ = handler ? std::make_shared<const StateUpdateHandler>(std::move(handler)) : nullptr;
}

void AsioConnection::start(DispatchQueue& queue) {
    const std::lock_guard lock(mutex_);
    callbacks_.emplace(QueueExecutor(context_, queue));
    if (state() == State::cancelled) {
        enter(State::cancelled);
    } else if (const auto endpoint = parseAddress(host_, port_)) {
        endpoints_ = {*endpoint};
        connectToFirst();
    } else {
        enter(State::preparing);
        if (const auto lookup = lookups_->lookUp(host_, weak_from_this()); !lookup) {
            close(State::failed, lookup.error());
        }
    }
}

UDPConnection::State AsioConnection::state() const {
    return state_.load(std::memory_order_acquire);
}

void AsioConnection::send(std::span<const std::byte> content, const SendErrorHandler& onError) {
    if (state() == State::ready) {
        if (const int error = transmit(content); error != 0) {
            const std::lock_guard lock(mutex_);
            report(onError, describe(error));
            handleSendError(error);
        }
        return;
    }
    const std::lock_guard lock(mutex_);
    switch (state()) {
        case State::setup:
        case State::preparing:
            keep(content, onError);
            break;
        case State::ready:
            if (const int error = transmit(content); error != 0) {
                report(onError, describe(error));
                handleSendError(error);
            }
            break;
        case State::failed:
        case State::cancelled:
            report(onError, ending_);
            break;
    }
}

void AsioConnection::cancel() {
    const std::lock_guard lock(mutex_);
    // The socket stays open until the release, since another thread may be sending on it.
    if (state() != State::cancelled) {
        close(State::cancelled, describe(std::errc::operation_canceled));
    }
}

void AsioConnection::release() {
    const std::lock_guard lock(mutex_);
    isReleased_ = true;
    handler_.reset();
    kept_.clear();
    if (socket_ >= 0) {
        ::close(socket_);
        socket_ = -1;
    }
}

void AsioConnection::hostResolved(const HostAddresses& addresses) {
    const std::lock_guard lock(mutex_);
    if (isReleased_ || state() != State::preparing) {
        return;
    }
    if (!addresses) {
        close(State::failed, addresses.error());
        return;
    }
    for (const std::string& address : *addresses) {
        if (const auto endpoint = parseAddress(address, port_)) {
            endpoints_.push_back(*endpoint);
        }
    }
    std::stable_partition(endpoints_.begin(), endpoints_.end(),
                          [](const udp::endpoint& endpoint) { return endpoint.address().is_v4(); });
    connectToFirst();
}

void AsioConnection::connectToFirst() {
    asio::error_code firstError;
    for (current_ = 0; current_ < endpoints_.size(); ++current_) {
        asio::error_code error;
        if (connectTo(endpoints_[current_], error)) {
            becomeReady();
            return;
        }
        if (!firstError) {
            firstError = error;
        }
    }
    close(
        State::failed,
        describe(firstError ? firstError : std::make_error_code(std::errc::address_not_available)));
}

bool AsioConnection::connectTo(const udp::endpoint& endpoint, asio::error_code& error) {
    const int socket = connectSocket(*context_, endpoint, error);
    if (error) {
        return false;
    }
    if (socket_ >= 0) {
        ::close(socket_);
    }
    socket_ = socket;
    return true;
}

void AsioConnection::connectToNext() {
    for (std::size_t step = 1; step < endpoints_.size(); ++step) {
        const std::size_t next = (current_ + step) % endpoints_.size();
        asio::error_code error;
        if (connectTo(endpoints_[next], error)) {
            current_ = next;
            return;
        }
    }
}

void AsioConnection::becomeReady() {
    // The kept datagrams go out before others can: until the state changes, `send` needs the mutex.
    std::vector<int> errors;
    for (const KeptDatagram& datagram : kept_) {
        errors.push_back(transmit(datagram.content));
    }
    enter(State::ready);
    for (std::size_t i = 0; i < errors.size(); ++i) {
        if (errors[i] != 0) {
            report(kept_[i].onError, describe(errors[i]));
        }
    }
    kept_.clear();
    if (const auto dead = std::ranges::find_if(errors, meansDeadConnection); dead != errors.end()) {
        close(State::failed, describe(*dead));
    }
}

void AsioConnection::close(State state, const Error& error) {
    ending_ = error;
    if (state == State::failed) {
        enter(state, error);
    } else {
        enter(state);
    }
    for (const KeptDatagram& datagram : kept_) {
        report(datagram.onError, error);
    }
    kept_.clear();
}

void AsioConnection::enter(State state, const std::optional<Error>& error) {
    state_.store(state, std::memory_order_release);
    if (callbacks_ && handler_) {
        asio::post(*callbacks_, [handler = handler_, state, error] { (*handler)(state, error); });
    }
}

void AsioConnection::keep(std::span<const std::byte> content, const SendErrorHandler& onError) {
    if (kept_.size() == kMostKeptDatagrams) {
        kept_.pop_front();
    }
    kept_.push_back({{content.begin(), content.end()}, onError});
}

void AsioConnection::report(const SendErrorHandler& onError, const Error& error) {
    if (callbacks_ && onError) {
        asio::post(*callbacks_, [onError, error] { onError(error); });
    }
}

void AsioConnection::handleSendError(int code) {
    if (state() != State::ready) {
        return;
    }
    if (meansDeadConnection(code)) {
        close(State::failed, describe(code));
    } else if (code == ECONNREFUSED) {
        refusals_ = accepted_ < 2 ? refusals_ + 1 : 1;
        accepted_ = 0;
        if (refusals_ == kMostRefusals) {
            refusals_ = 0;
            connectToNext();
        }
    }
}

int AsioConnection::transmit(std::span<const std::byte> content) {
    if (::send(socket_, content.data(), content.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        return errno;
    }
    accepted_ = std::min(accepted_ + 1, 2);
    if (telemetry_ != nullptr) {
        telemetry_->datagramSent();
    }
    return 0;
}

}  // namespace velmaro
