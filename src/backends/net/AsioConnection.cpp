#include "backends/net/AsioConnection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <asio/error.hpp>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>
#include <variant>

#include "backends/net/HostAddress.h"
#include "backends/queues/EventLoop.h"

namespace velmaro {

namespace {

using asio::ip::udp;

/// Two seconds of samples at the default rate: older ones interest no receiver.
constexpr std::size_t kMostKeptDatagrams = 64;

Error describe(const asio::error_code& code) {
    return {code.message(), code.message()};
}

Error describe(std::errc code) {
    return describe(std::make_error_code(code));
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
                               Port port, HostResolver resolver, Telemetry* telemetry)
    : context_(std::move(context)),
      host_(std::move(host)),
      port_(port),
      resolver_(std::move(resolver)),
      telemetry_(telemetry) {}

void AsioConnection::setStateUpdateHandler(StateUpdateHandler handler) {
    handler_ = handler ? std::make_shared<const StateUpdateHandler>(std::move(handler)) : nullptr;
}

void AsioConnection::start(DispatchQueue& queue) {
    const std::lock_guard lock(mutex_);
    callbacks_ = std::make_shared<CallbackSequence>(queue);
    if (state() == State::cancelled) {
        enter(State::cancelled);
    } else if (const auto endpoint = parseAddress(host_, port_)) {
        connectToFirst({&*endpoint, 1});
    } else {
        enter(State::preparing);
        resolveOnAbandonableThread();
    }
}

UDPConnection::State AsioConnection::state() const {
    return state_.load(std::memory_order_acquire);
}

void AsioConnection::send(std::span<const std::byte> content, const SendErrorHandler& onError) {
    if (state() == State::ready) {
        sendNow(content, onError);
        return;
    }
    const std::lock_guard lock(mutex_);
    switch (state()) {
        case State::setup:
        case State::preparing:
            keep(content, onError);
            break;
        case State::ready:
            sendNow(content, onError);
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
    if (state() != State::failed && state() != State::cancelled) {
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

void AsioConnection::resolveOnAbandonableThread() {
    // The system's resolver cannot be interrupted and may take many seconds, which nobody is to
    // wait for, not even the end of the process. So the thread is detached and owns what it needs.
    try {
        std::thread([self = shared_from_this()] {
            nameCurrentThread("resolver");
            self->resolved(self->resolver_(self->host_));
        }).detach();
    } catch (const std::system_error& error) {
        close(State::failed, describe(error.code()));
    }
}

void AsioConnection::resolved(const std::variant<std::vector<std::string>, Error>& result) {
    const std::lock_guard lock(mutex_);
    if (isReleased_ || state() != State::preparing) {
        return;
    }
    if (const auto* error = std::get_if<Error>(&result)) {
        close(State::failed, *error);
        return;
    }
    std::vector<udp::endpoint> endpoints;
    for (const std::string& address : std::get<std::vector<std::string>>(result)) {
        if (const auto endpoint = parseAddress(address, port_)) {
            endpoints.push_back(*endpoint);
        }
    }
    std::stable_partition(endpoints.begin(), endpoints.end(),
                          [](const udp::endpoint& endpoint) { return endpoint.address().is_v4(); });
    connectToFirst(endpoints);
}

void AsioConnection::connectToFirst(std::span<const udp::endpoint> endpoints) {
    asio::error_code firstError;
    for (const udp::endpoint& endpoint : endpoints) {
        asio::error_code error;
        socket_ = connectSocket(*context_, endpoint, error);
        if (!error) {
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

void AsioConnection::becomeReady() {
    // The kept datagrams go out before others can: until the state changes, `send` needs the mutex.
    std::vector<std::pair<SendErrorHandler, Error>> errors;
    for (KeptDatagram& datagram : kept_) {
        if (const auto error = transmit(datagram.content)) {
            errors.emplace_back(std::move(datagram.onError), *error);
        }
    }
    kept_.clear();
    enter(State::ready);
    for (const auto& [onError, error] : errors) {
        report(onError, error);
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
        callbacks_->post([handler = handler_, state, error] { (*handler)(state, error); });
    }
}

void AsioConnection::keep(std::span<const std::byte> content, const SendErrorHandler& onError) {
    if (kept_.size() == kMostKeptDatagrams) {
        report(kept_.front().onError, describe(std::errc::no_buffer_space));
        kept_.pop_front();
    }
    kept_.push_back({{content.begin(), content.end()}, onError});
}

void AsioConnection::sendNow(std::span<const std::byte> content, const SendErrorHandler& onError) {
    if (const auto error = transmit(content)) {
        report(onError, *error);
    }
}

std::optional<Error> AsioConnection::transmit(std::span<const std::byte> content) {
    if (::send(socket_, content.data(), content.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        return describe(asio::error_code(errno, asio::error::get_system_category()));
    }
    if (telemetry_ != nullptr) {
        telemetry_->datagramSent();
    }
    return std::nullopt;
}

void AsioConnection::report(const SendErrorHandler& onError, const Error& error) {
    if (callbacks_ && onError) {
        callbacks_->post([onError, error] { onError(error); });
    }
}

}  // namespace velmaro
