#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "backends/airpods/AirPodsAttitude.h"
#include "backends/airpods/AirPodsFinder.h"
#include "backends/airpods/AirPodsPacket.h"
#include "backends/motion/MotionThread.h"
#include "platform/Diagnostics.h"
#include "platform/Result.h"

namespace velmaro {

struct AirPodsTiming {
    /// Of a stream that was asked for, before it is asked for again: they stream only while worn.
    std::chrono::milliseconds silence = std::chrono::seconds(4);
    /// Between attempts to connect.
    std::chrono::milliseconds retry = std::chrono::seconds(5);
    /// For a connection and for the answer to the handshake, together.
    std::chrono::milliseconds answer = std::chrono::seconds(10);
};

/// AirPods over their accessory protocol; experimental. Those that the finder tells of are
/// connected once they answer the handshake, and tried again for as long as they do not.
class AirPods : public MotionDriver {
public:
    /// A channel that is connecting, see `connectAccessoryChannel`.
    using Connect = std::function<Result<FileDescriptor>(const BluetoothAddress& address)>;

    AirPods(std::unique_ptr<AirPodsFinder> finder, Connect connect, Diagnostics& diagnostics,
            const AngleSigns& signs = {}, const AirPodsTiming& timing = {});

    /// Ready after the first attempt, if there is anything to try.
    void run(MotionThread& thread) override;

private:
    using Clock = std::chrono::steady_clock;
    enum class Stage { idle, connecting, greeting, ready };

    /// Whether time alone changes nothing.
    [[nodiscard]] bool isIdle() const;
    void notifyReady(MotionThread& thread);
    void connect(MotionThread& thread);
    void handleFinding(MotionThread& thread);
    void handleRequest(MotionThread& thread);
    void handleTimeout(MotionThread& thread);
    void handleConnection(short events, MotionThread& thread);
    void handlePackets(MotionThread& thread);
    void handlePacket(std::span<const std::uint8_t> packet, MotionThread& thread);
    void greet(MotionThread& thread);
    void deliver(const AirPodsOrientation& orientation, MotionThread& thread);
    void send(std::span<const std::uint8_t> packet);
    void sendStart();
    /// Takes leave of the device, if it was started.
    void leave();
    void close(const std::string& why, MotionThread& thread);
    /// Once for each reason that there is no motion.
    void report(const std::string& why);

    const std::unique_ptr<AirPodsFinder> finder_;
    const Connect connect_;
    Diagnostics& diagnostics_;
    const AirPodsTiming timing_;
    AirPodsFinding finding_;
    AirPodsAttitude attitude_;
    /// Whose frame of reference `attitude_` keeps.
    std::optional<BluetoothAddress> frameOf_;
    std::optional<FileDescriptor> channel_;
    Stage stage_ = Stage::idle;
    Clock::time_point due_ = Clock::now();
    AirPodsService service_ = AirPodsService::motion16;
    /// The request that the device follows; 0 when stopped.
    std::uint64_t request_ = 0;
    /// Whether `service_` has ever streamed.
    bool isServiceKnown_ = false;
    bool hasTried_ = false;
    bool isReady_ = false;
    std::string reported_;
    /// Why those that were found hung up. If they are gone, the finder knows before the next try,
    /// and there is nothing to report.
    std::optional<std::string> hangUp_;
};

}  // namespace velmaro
