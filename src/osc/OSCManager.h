#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/AtomicPointer.h"
#include "platform/Dispatch.h"
#include "platform/Log.h"
#include "platform/Network.h"
#include "platform/Observable.h"
#include "platform/WallClock.h"

namespace velmaro {

/// The number that a port field's text stands for: an optional sign, then decimal digits and
/// nothing else, from 0 to 65535. Leading zeros are welcome; a minus sign leaves only zero.
[[nodiscard]] std::optional<std::uint16_t> parsePort(std::string_view text);

/// Sends orientation samples as OSC messages, one per UDP datagram, at most `frameRate` a second.
///
/// The settings are changed on the main thread. Samples come on the thread of the source that
/// delivers them, one at a time. No member waits or reports failure: what goes wrong is a line in
/// the log. What is sent and printed, and in which order, is fixed: see docs/behaviour.md.
class OSCManager : public Observable {
public:
    /// Connections are made by `network` and call back on the standard global queue of `dispatch`.
    /// All four outlive the manager; `log` also outlives every connection.
    OSCManager(Network& network, Dispatch& dispatch, const WallClock& wallClock, Log& log);

    /// Destination: an address or a host name. Like `port`, it counts when the next connection is
    /// made, which is after `disconnect()` or after a failure.
    Published<std::string> ipAddress{*this, "127.0.0.1"};
    /// Destination port as decimal text; see `parsePort`.
    Published<std::string> port{*this, "8000"};
    /// The OSC address of every message, 7-bit ASCII; anything else ends the process.
    Published<std::string> oscMessage{*this, "/ypr"};
    /// The most datagrams per second. 0 sends nothing; a negative rate has no limit.
    Published<std::int64_t> frameRate{*this, 30};

    /// Sends the angles, in degrees and in this order, unless the rate limit drops them.
    void sendOSC(float pan, float tilt, float yaw);

    /// Sends the quaternion's parts in this order, unless the rate limit drops them.
    void sendQuaternion(float qw, float qx, float qy, float qz);

    /// Cancels the connection, if any; the next sample that passes makes a new one. Any thread.
    void disconnect();

private:
    friend struct OSCManagerTestAccess;

    void sendValues(std::span<const float> values);
    /// True, and noted as the time of the latest send, if enough time has passed since the last.
    bool passesRateLimit();
    /// The connection to send on, made anew if there is none or it is dead.
    std::shared_ptr<UDPConnection> liveConnection(Port destination);

    Network& network_;
    DispatchQueue& queue_;
    const WallClock& wallClock_;
    Log& log_;
    const UDPConnection::SendErrorHandler onSendError_;

    /// Samples and `disconnect()` may come on different threads.
    AtomicPointer<UDPConnection> connection_;
    std::atomic<WallTime> lastSendTime_ = kDistantPast;
};

}  // namespace velmaro
