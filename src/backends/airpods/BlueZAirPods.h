#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "backends/airpods/AirPodsFinder.h"
#include "backends/glib/BusThread.h"
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

    [[nodiscard]] int descriptor() const override { return changed_.get(); }
    AirPodsFinding find() override;

private:
    // On the bus's thread. Whatever BlueZ reports, it is asked for everything again, so that there
    // is no second picture of its devices here to keep right.

    void begin();
    void handleChange(GVariant* parameters);
    void ask();
    void handleAnswer(GVariant* answer);
    void conclude(const std::vector<BluetoothAddress>& present);

    Diagnostics& diagnostics_;
    const FileDescriptor changed_;
    std::mutex mutex_;
    AirPodsFinding finding_;
    bool isAsking_ = false;
    bool asksAgain_ = false;
    std::optional<BluetoothAddress> current_;
    std::optional<BluetoothAddress> reported_;
    glib::BusThread bus_;
};

}  // namespace velmaro
