#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "backends/hid/HeadTrackerAxes.h"
#include "backends/hid/HeadTrackerLayout.h"
#include "backends/hid/HidSystem.h"
#include "backends/motion/MotionThread.h"

namespace velmaro {

/// Head trackers of the Android Head Tracker HID protocol: the first one that is there, until it
/// goes. Devices that come later, or become accessible later, are noticed without polling.
class HeadTracker : public MotionDriver {
public:
    explicit HeadTracker(std::unique_ptr<HidSystem> system);
    ~HeadTracker() override;

    void run(MotionThread& thread) override;

private:
    using Clock = std::chrono::steady_clock;
    struct Device;

    void watchFolder();
    /// Looks at all nodes until one is a head tracker.
    void search(MotionThread& thread);
    /// Takes the node `name` if it is a head tracker that answers.
    void consider(const std::string& name, MotionThread& thread);
    void handleFolder(MotionThread& thread);
    void read(MotionThread& thread);
    /// Starts or stops the device as the link wishes.
    void handleRequest(MotionThread& thread);
    [[nodiscard]] bool start();
    void stop();
    void lose(MotionThread& thread);

    const std::unique_ptr<HidSystem> system_;
    std::optional<FileDescriptor> folder_;
    std::unique_ptr<Device> device_;
    /// Nodes that were told to be refused, and nodes that do not answer yet with the tries left.
    std::map<std::string, bool> refused_;
    std::map<std::string, int> silent_;
    std::optional<Clock::time_point> nextTry_;
};

}  // namespace velmaro
