#include "osc/OSCManager.h"

#include <array>
#include <memory_resource>
#include <utility>

#include "osc/OSCMessage.h"

namespace velmaro {

namespace {

constexpr Port kFallbackPort{8000};

/// Room for a message with a long address; a longer one still goes out, through the heap.
constexpr std::size_t kMessageBufferSize = 256;

UDPConnection::StateUpdateHandler logStatesTo(Log& log) {
    return [&log](UDPConnection::State state, const std::optional<Error>& error) {
        switch (state) {
            case UDPConnection::State::ready:
                log.line("✅ OSC UDP connection ready");
                break;
            case UDPConnection::State::failed:
                log.line("❌ OSC connection failed: " + error.value_or(Error{}).description);
                break;
            case UDPConnection::State::cancelled:
                log.line("⚠️ OSC connection cancelled");
                break;
            case UDPConnection::State::setup:
            case UDPConnection::State::preparing:
                break;
        }
    };
}

bool isDead(const UDPConnection& connection) {
    const UDPConnection::State state = connection.state();
    return state == UDPConnection::State::failed || state == UDPConnection::State::cancelled;
}

}  // namespace

std::optional<std::uint16_t> parsePort(std::string_view text) {
    bool isNegative = false;
    if (text.starts_with('+') || text.starts_with('-')) {
        isNegative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    const std::uint32_t highest = isNegative ? 0 : 65535;
    std::uint32_t number = 0;
    for (const char character : text) {
        if (character < '0' || character > '9') {
            return std::nullopt;
        }
        number = number * 10 + static_cast<std::uint32_t>(character - '0');
        if (number > highest) {
            return std::nullopt;
        }
    }
    return static_cast<std::uint16_t>(number);
}

OSCManager::OSCManager(Network& network, Dispatch& dispatch, const WallClock& wallClock, Log& log)
    : network_(network),
      queue_(dispatch.globalQueue(QualityOfService::standard)),
      wallClock_(wallClock),
      log_(log),
      onSendError_(
          [&log](const Error& error) { log.line("OSC send error: " + error.description); }) {}

void OSCManager::sendOSC(float pan, float tilt, float yaw) {
    sendValues(std::array{pan, tilt, yaw});
}

void OSCManager::sendQuaternion(float qw, float qx, float qy, float qz) {
    sendValues(std::array{qw, qx, qy, qz});
}

void OSCManager::disconnect() {
    // Taken first, so that a connection made by a sample in this moment is never forgotten without
    // being cancelled.
    if (const auto connection = connection_.exchange(nullptr)) {
        connection->cancel();
    }
}

void OSCManager::sendValues(std::span<const float> values) {
    if (!passesRateLimit()) {
        return;
    }
    const std::optional<std::uint16_t> number = parsePort(*port.snapshot());
    if (!number) {
        return;
    }
    const Port destination = network_.makePort(*number).value_or(kFallbackPort);
    const std::shared_ptr<UDPConnection> connection = liveConnection(destination);

    std::array<std::byte, kMessageBufferSize> buffer;
    std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size());
    // Sent at once even on a connection that is not ready: it keeps the datagram until it is.
    connection->send(createOSCMessage(*oscMessage.snapshot(), values, &memory), onSendError_);
}

bool OSCManager::passesRateLimit() {
    const WallTime now = wallClock_.now();
    const double elapsed = now - lastSendTime_.load(std::memory_order_relaxed);
    // Rate 0 makes an infinite interval, a negative rate a negative one.
    const double interval = 1.0 / static_cast<double>(frameRate.get());
    if (!(interval <= elapsed)) {
        return false;
    }
    lastSendTime_.store(now, std::memory_order_relaxed);
    return true;
}

std::shared_ptr<UDPConnection> OSCManager::liveConnection(Port destination) {
    std::shared_ptr<UDPConnection> connection = connection_.load();
    if (!connection || isDead(*connection)) {
        connection = network_.makeUDPConnection(*ipAddress.snapshot(), destination);
        connection_.store(connection);
        connection->setStateUpdateHandler(logStatesTo(log_));
        connection->start(queue_);
    }
    return connection;
}

}  // namespace velmaro
