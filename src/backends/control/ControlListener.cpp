#include "backends/control/ControlListener.h"

#include <pthread.h>

#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <span>
#include <thread>
#include <utility>

namespace velmaro {

/// Waits on a thread of its own, so that it works beside any kind of main loop.
class ControlListener::Receiver {
public:
    ~Receiver() {
        context_.stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    asio::error_code bind(const asio::ip::udp::endpoint& endpoint) {
        asio::error_code error;
        socket_.open(endpoint.protocol(), error);
        if (!error) {
            socket_.bind(endpoint, error);
        }
        return error;
    }

    [[nodiscard]] std::uint16_t port() const {
        asio::error_code ignored;
        return socket_.local_endpoint(ignored).port();
    }

    void start(DispatchQueue& queue, std::function<void(ControlRequest)> handler) {
        queue_ = &queue;
        handler_ = std::make_shared<const Handler>(std::move(handler));
        receive();
        thread_ = std::thread([this] {
            pthread_setname_np(pthread_self(), "control");
            context_.run();
        });
    }

private:
    using Handler = std::function<void(ControlRequest)>;

    void receive() {
        socket_.async_receive(asio::buffer(packet_),
                              [this](const asio::error_code& error, std::size_t size) {
                                  if (error) {
                                      return;
                                  }
                                  read({packet_.data(), size});
                                  receive();
                              });
    }

    void read(std::span<const char> packet) {
        readControlPacket(packet, [this](ControlRequest request) {
            queue_->async([weakHandler = std::weak_ptr(handler_), request] {
                if (const auto handler = weakHandler.lock()) {
                    (*handler)(request);
                }
            });
        });
    }

    DispatchQueue* queue_ = nullptr;
    std::shared_ptr<const Handler> handler_;
    asio::io_context context_{1};
    asio::ip::udp::socket socket_{context_};
    /// One byte more tells a packet that is too long.
    std::array<char, kLongestControlPacket + 1> packet_;
    std::thread thread_;
};

Result<std::unique_ptr<ControlListener>> ControlListener::listen(const std::string& address,
                                                                 std::uint16_t port) {
    const std::string where =
        "cannot listen for control at " + address + " port " + std::to_string(port) + ": ";
    asio::error_code error;
    const asio::ip::address parsed = asio::ip::make_address(address, error);
    if (error) {
        return failure(where + "give an IP address of this machine");
    }
    auto receiver = std::make_unique<Receiver>();
    if (const asio::error_code refusal = receiver->bind({parsed, port})) {
        return failure(where + (refusal == asio::error::address_in_use
                                    ? "another program listens there"
                                    : refusal.message()));
    }
    return std::unique_ptr<ControlListener>(new ControlListener(std::move(receiver)));
}

ControlListener::ControlListener(std::unique_ptr<Receiver> receiver)
    : receiver_(std::move(receiver)) {}

ControlListener::~ControlListener() = default;

std::uint16_t ControlListener::port() const {
    return receiver_->port();
}

void ControlListener::start(DispatchQueue& queue, std::function<void(ControlRequest)> handler) {
    receiver_->start(queue, std::move(handler));
}

}  // namespace velmaro
