#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "backends/hid/HeadTrackerDevice.h"
#include "backends/hid/HidSystem.h"
#include "backends/motion/MotionThread.h"
#include "platform/Diagnostics.h"

namespace velmaro {

struct HeadTrackerTiming {
    /// Before a head tracker that does not answer is asked again. The time doubles with each try:
    /// over Bluetooth some need seconds after their node has come.
    std::chrono::milliseconds retry{500};
    std::chrono::milliseconds longestRetry = std::chrono::minutes(1);
};

/// Head trackers of the Android Head Tracker HID protocol: the first one that is there, until it
/// goes. Devices that come later, or become accessible later, are noticed without polling.
class HeadTracker : public MotionDriver {
public:
    HeadTracker(std::unique_ptr<HidSystem> system, Diagnostics& diagnostics,
                const HeadTrackerTiming& timing = {});
    ~HeadTracker() override;

    void run(MotionThread& thread) override;

private:
    using Clock = std::chrono::steady_clock;
    /// What is known of a node that is not in use.
    struct Node {
        /// The trouble that a person has heard of.
        std::string reported;
        int failedTries = 0;
        /// When it is asked again, if it did not answer.
        std::optional<Clock::time_point> nextTry;
    };

    void watchFolder();
    /// Looks at all nodes until one is a head tracker.
    void search(MotionThread& thread);
    /// Takes the node `name` if it is a head tracker that answers.
    void consider(const std::string& name, MotionThread& thread);
    void reportRefusal(Node& node, const std::string& place, int error);
    void askAgainLater(Node& node, const std::string& place);
    void askAgain(MotionThread& thread);
    /// Once for each trouble that a node has.
    void report(Node& node, const std::string& text, const std::string& advice);
    /// The first time that a node is asked again; nothing while a head tracker is in use.
    [[nodiscard]] std::optional<Clock::time_point> nextTry() const;
    void handleFolder(MotionThread& thread);
    /// Starts or stops the device as the thread is asked to.
    void handleRequest(MotionThread& thread);
    void read(MotionThread& thread);
    [[nodiscard]] bool start(MotionThread& thread);
    void stop(MotionThread& thread);
    void lose(MotionThread& thread);

    const std::unique_ptr<HidSystem> system_;
    Diagnostics& diagnostics_;
    const HeadTrackerTiming timing_;
    std::optional<FileDescriptor> folder_;
    /// Shared with a thread that waits for the device, which may outlive this.
    std::shared_ptr<HeadTrackerDevice> tracker_;
    std::map<std::string, Node> nodes_;
};

}  // namespace velmaro
