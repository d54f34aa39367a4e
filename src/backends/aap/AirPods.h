#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <variant>

#include "backends/aap/AirPodsAttitude.h"
#include "backends/aap/AirPodsPacket.h"
#include "backends/motion/LiveMotion.h"

namespace velmaro {

struct AirPodsTiming {
    /// Of a stream that was asked for, before it is asked for again: they stream only while worn.
    std::chrono::milliseconds silence = std::chrono::seconds(4);
    /// Between attempts to connect.
    std::chrono::milliseconds retry = std::chrono::seconds(5);
    /// For a connection and for the answer to the handshake, together.
    std::chrono::milliseconds answer = std::chrono::seconds(10);
};

/// AirPods over their accessory protocol; experimental. Connected once they answer the handshake,
/// and tried again for as long as they do not.
class AirPods : public MotionDriver {
public:
    /// A channel that is connecting, see `connectAccessoryChannel`.
    using Connect = std::function<std::variant<FileDescriptor, std::error_code>()>;

    explicit AirPods(Connect connect, const AngleSigns& signs = {},
                     const AirPodsTiming& timing = {});

    void run(MotionLink& link) override;

private:
    using Clock = std::chrono::steady_clock;
    enum class Stage { idle, connecting, greeting, ready };

    void connect();
    void heedWish(MotionLink& link);
    void heedTime(MotionLink& link);
    void heedChannel(short events, MotionLink& link);
    void receive(std::span<const std::uint8_t> packet, MotionLink& link);
    void send(std::span<const std::uint8_t> packet);
    void sendStart();
    void close(const std::string& why, MotionLink* link);

    const Connect connect_;
    const AirPodsTiming timing_;
    AirPodsAttitude attitude_;
    std::optional<FileDescriptor> channel_;
    Stage stage_ = Stage::idle;
    Clock::time_point due_ = Clock::now();
    AirPodsService service_ = AirPodsService::motion16;
    std::uint64_t wish_ = 0;
    /// Whether `service_` has ever streamed.
    bool isServiceKnown_ = false;
    std::string told_;
};

}  // namespace velmaro
