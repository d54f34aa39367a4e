#include "backends/hid/HeadTrackerDevice.h"

#include <chrono>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

namespace velmaro {
namespace {

/// Seconds; about the rate at which all head trackers seen so far report.
constexpr double kInterval = 0.04;
/// What a device gets to answer when the end has come. The kernel itself gives it five seconds for
/// each question.
constexpr std::chrono::seconds kLeave{1};
/// How often it is looked whether the end has come while a device does not answer.
constexpr std::chrono::milliseconds kGlance{50};

}  // namespace

bool HeadTrackerDevice::start() const {
    bool accepted = true;
    for (const auto& control : layout.controls()) {
        // What the device keeps there besides stays. One that cannot be asked gets zeros.
        auto report = hid->feature(control.id, control.size);
        if (!report || !layout.setStart(*report, kInterval, description)) {
            report.emplace(control.size);
            report->front() = control.id;
            accepted = layout.setStart(*report, kInterval, description) && accepted;
        }
        accepted = hid->setFeature(*report) && accepted;
    }
    return accepted;
}

void HeadTrackerDevice::stop() const {
    for (const auto& control : layout.controls()) {
        auto report = hid->feature(control.id, control.size);
        if (report && layout.setStop(*report)) {
            hid->setFeature(*report);
        }
    }
}

bool waitForDevice(const MotionThread& thread, std::function<void()> work) {
    const auto task = std::make_shared<std::packaged_task<void()>>(std::move(work));
    const std::future<void> done = task->get_future();
    try {
        std::thread([task] { (*task)(); }).detach();
    } catch (const std::system_error&) {
        // Where the system has no thread to give, this one waits as long as it takes.
        (*task)();
    }
    std::optional<std::chrono::steady_clock::time_point> end;
    while (done.wait_for(kGlance) == std::future_status::timeout) {
        const auto now = std::chrono::steady_clock::now();
        if (!end && thread.isEnding()) {
            end = now + kLeave;
        }
        if (end && now > *end) {
            return false;
        }
    }
    return true;
}

}  // namespace velmaro
