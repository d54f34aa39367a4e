#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "backends/airpods/AirPodsFinder.h"
#include "backends/posix/FileDescriptor.h"
#include "platform/Diagnostics.h"

namespace velmaro {

/// Finds AirPods that are paired and connected by asking BlueZ on the system's bus, and hears of
/// changes from it. Those that it finds are reported. Where there is no bus, no BlueZ or no such
/// device, it is silent and finds nothing. BlueZ is never started by it.
class BlueZAirPods final : public AirPodsFinder {
public:
    /// Starts to look on a thread of its own. `busAddress` is another bus than the system's. Throws
    /// std::system_error if the system has no descriptor left.
    explicit BlueZAirPods(Diagnostics& diagnostics,
                          std::optional<std::string> busAddress = std::nullopt);
    ~BlueZAirPods() override;
    BlueZAirPods(const BlueZAirPods&) = delete;
    BlueZAirPods& operator=(const BlueZAirPods&) = delete;

    [[nodiscard]] int descriptor() const override { return changed_.get(); }
    AirPodsFinding find() override;

private:
    class Watch;

    void publish(const std::optional<BluetoothAddress>& address);

    const FileDescriptor changed_;
    std::mutex mutex_;
    AirPodsFinding finding_;
    std::unique_ptr<Watch> watch_;
    std::thread thread_;
};

}  // namespace velmaro
