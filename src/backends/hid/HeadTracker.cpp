#include "backends/hid/HeadTracker.h"

#include <sys/inotify.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iostream>
#include <set>
#include <utility>
#include <vector>

namespace velmaro {
namespace {

/// Seconds; about the rate at which all head trackers seen so far report.
constexpr double kInterval = 0.04;
/// Bluetooth devices may need a moment after their node has come before they answer.
constexpr int kMostTries = 5;
constexpr std::chrono::milliseconds kRetryDelay{500};
constexpr std::size_t kLongestReport = 4096;
/// So that a device that never pauses cannot keep the thread from its other duties.
constexpr int kMostAtOnce = 64;

void say(const std::string& text) {
    std::cerr << "velmaro: " + text + "\n";
}

}  // namespace

struct HeadTracker::Device {
    std::string node;
    std::string name;
    std::unique_ptr<HidDevice> hid;
    HeadTrackerLayout layout;
    HeadTrackerAxes axes;
    std::vector<std::uint8_t> description;
    /// The request that the device follows; 0 when stopped.
    std::uint64_t request = 0;
    std::optional<std::uint8_t> resetCounter;
};

HeadTracker::HeadTracker(std::unique_ptr<HidSystem> system) : system_(std::move(system)) {}

HeadTracker::~HeadTracker() = default;

void HeadTracker::run(MotionThread& thread) {
    watchFolder();
    search(thread);
    thread.notifyReady();
    while (!thread.isEnding()) {
        handleRequest(thread);
        std::array<pollfd, 2> files{{{folder_ ? folder_->get() : -1, POLLIN, 0},
                                     {device_ ? device_->hid->descriptor() : -1, POLLIN, 0}}};
        std::optional<std::chrono::milliseconds> timeout;
        if (nextTry_) {
            timeout = std::chrono::ceil<std::chrono::milliseconds>(*nextTry_ - Clock::now());
        }
        thread.wait(files, timeout);
        if (files[1].revents != 0) {
            read(thread);
        }
        if (files[0].revents != 0) {
            handleFolder(thread);
        }
        if (nextTry_ && Clock::now() >= *nextTry_) {
            nextTry_.reset();
            if (!device_) {
                search(thread);
            }
        }
    }
    if (device_ && device_->request != 0) {
        stop();
    }
}

void HeadTracker::watchFolder() {
    folder_.emplace(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    // A change of attributes is how the access of the user to a node shows.
    if (folder_->get() < 0 ||
        ::inotify_add_watch(folder_->get(), system_->folder().c_str(), IN_CREATE | IN_ATTRIB) < 0) {
        say(std::string("head trackers that connect later will not be noticed: ") +
            std::strerror(errno));
        folder_.reset();
    }
}

void HeadTracker::search(MotionThread& thread) {
    std::set<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(system_->folder(), error), end;
         !error && entry != end; entry.increment(error)) {
        names.insert(entry->path().filename());
    }
    for (const std::string& name : names) {
        if (!device_) {
            consider(name, thread);
        }
    }
}

void HeadTracker::consider(const std::string& name, MotionThread& thread) {
    if (!system_->isNode(name)) {
        return;
    }
    auto descriptor = parseHidReportDescriptor(system_->reportDescriptor(name));
    if (std::holds_alternative<std::string>(descriptor)) {
        return;
    }
    auto layout = HeadTrackerLayout::of(std::get<HidReportDescriptor>(std::move(descriptor)));
    if (!layout) {
        return;
    }
    const HidIdentity identity = system_->identity(name);
    auto opened = system_->open(name);
    if (const int* const error = std::get_if<int>(&opened)) {
        const bool hasGone = *error == ENOENT || *error == ENODEV || *error == ENXIO;
        if (!hasGone && !std::exchange(refused_[name], true)) {
            say("the head tracker \"" + identity.name + "\" at " +
                (system_->folder() / name).string() +
                " cannot be opened: " + std::strerror(*error) +
                (*error == EACCES ? "; install the udev rule of docs/headphones.md" : ""));
        }
        return;
    }
    refused_.erase(name);
    auto hid = std::get<std::unique_ptr<HidDevice>>(std::move(opened));
    const auto report = layout->description();
    auto description = hid->feature(report.id, report.size);
    if (!description) {
        if (silent_.try_emplace(name, kMostTries).first->second-- > 0) {
            nextTry_ = Clock::now() + kRetryDelay;
        }
        return;
    }
    silent_.erase(name);
    if (!layout->isHeadTracker(*description)) {
        return;
    }
    device_ =
        std::make_unique<Device>(Device{.node = name,
                                        .name = identity.name,
                                        .hid = std::move(hid),
                                        .layout = std::move(*layout),
                                        .axes = headTrackerAxes(identity.vendor, identity.product),
                                        .description = std::move(*description),
                                        .resetCounter = std::nullopt});
    thread.setAvailable(true);
}

void HeadTracker::handleFolder(MotionThread& thread) {
    alignas(inotify_event) std::array<char, 16 * (sizeof(inotify_event) + NAME_MAX + 1)> buffer;
    std::set<std::string> names;
    for (;;) {
        const ssize_t size = ::read(folder_->get(), buffer.data(), buffer.size());
        if (size <= 0) {
            break;
        }
        for (ssize_t at = 0; at < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
            if (event->len > 0) {
                names.insert(event->name);
                if ((event->mask & IN_CREATE) != 0) {
                    refused_.erase(event->name);
                    silent_.erase(event->name);
                }
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    for (const std::string& name : names) {
        if (!device_) {
            consider(name, thread);
        }
    }
}

void HeadTracker::read(MotionThread& thread) {
    std::array<std::uint8_t, kLongestReport> buffer;
    for (int i = 0; i < kMostAtOnce; ++i) {
        const auto size = device_->hid->read(buffer);
        if (!size) {
            lose(thread);
            return;
        }
        if (*size == 0) {
            return;
        }
        const auto report = device_->layout.decode({buffer.data(), *size});
        if (!report || device_->request == 0) {
            continue;
        }
        if (device_->resetCounter && report->resetCounter != device_->resetCounter) {
            say("the head tracker has a new frame of reference; set the offset anew");
        }
        device_->resetCounter = report->resetCounter;
        thread.deliver(attitudeFromRotationVector(device_->axes.apply(report->rotation)));
    }
}

void HeadTracker::handleRequest(MotionThread& thread) {
    const std::uint64_t request = thread.request();
    if (!device_ || request == device_->request) {
        return;
    }
    const bool wasRunning = std::exchange(device_->request, request) != 0;
    if (request == 0) {
        stop();
    } else if (!wasRunning && !start()) {
        thread.fail("the head tracker \"" + device_->name + "\" refuses to start; connect it anew");
    }
}

bool HeadTracker::start() {
    device_->resetCounter.reset();
    bool accepted = true;
    for (const auto& control : device_->layout.controls()) {
        // What the device keeps there besides stays. One that cannot be asked gets zeros.
        auto report = device_->hid->feature(control.id, control.size);
        if (!report || !device_->layout.setStart(*report, kInterval, device_->description)) {
            report.emplace(control.size);
            report->front() = control.id;
            accepted =
                device_->layout.setStart(*report, kInterval, device_->description) && accepted;
        }
        accepted = device_->hid->setFeature(*report) && accepted;
    }
    return accepted;
}

void HeadTracker::stop() {
    for (const auto& control : device_->layout.controls()) {
        auto report = device_->hid->feature(control.id, control.size);
        if (report && device_->layout.setStop(*report)) {
            device_->hid->setFeature(*report);
        }
    }
}

void HeadTracker::lose(MotionThread& thread) {
    device_.reset();
    thread.setAvailable(false);
    search(thread);
}

}  // namespace velmaro
