#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/hid/HeadTrackerAxes.h"
#include "backends/hid/HeadTrackerLayout.h"
#include "backends/hid/HidSystem.h"
#include "backends/motion/MotionThread.h"

namespace velmaro {

/// A head tracker in use.
struct HeadTrackerDevice {
    std::string name;
    std::shared_ptr<HidDevice> hid;
    HeadTrackerLayout layout;
    HeadTrackerAxes axes;
    std::vector<std::uint8_t> description;
    /// The request that the device follows; 0 when stopped.
    std::uint64_t request = 0;
    std::optional<std::uint8_t> resetCounter;

    // Both wait for the device. False if it refuses.
    [[nodiscard]] bool start() const;
    void stop() const;
};

/// Runs `work`, which asks a device, and waits for it, but not for long once the end has come: then
/// `work` is left alone with what it holds. False if so.
bool waitForDevice(const MotionThread& thread, std::function<void()> work);

}  // namespace velmaro
