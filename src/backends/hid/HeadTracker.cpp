#include "backends/hid/HeadTracker.h"

#include <sys/inotify.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

namespace velmaro {
namespace {

/// Some are slow to answer over Bluetooth; then a person hears of it.
constexpr int kTriesBeforeReport = 5;
constexpr std::size_t kLongestReport = 4096;
/// So that a device that never pauses cannot keep the thread from its other duties.
constexpr int kMostAtOnce = 64;

/// Nothing if the node `name` is of another kind of device.
std::optional<HeadTrackerLayout> layoutOf(HidSystem& system, const std::string& name) {
    auto descriptor = parseHidReportDescriptor(system.reportDescriptor(name));
    return descriptor ? HeadTrackerLayout::of(std::move(*descriptor)) : std::nullopt;
}

}  // namespace

HeadTracker::HeadTracker(std::unique_ptr<HidSystem> system, Diagnostics& diagnostics,
                         const HeadTrackerTiming& timing)
    : system_(std::move(system)), diagnostics_(diagnostics), timing_(timing) {}

HeadTracker::~HeadTracker() = default;

void HeadTracker::run(MotionThread& thread) {
    watchFolder();
    search(thread);
    thread.notifyReady();
    while (!thread.isEnding()) {
        handleRequest(thread);
        std::array<pollfd, 2> files{{{folder_ ? folder_->get() : -1, POLLIN, 0},
                                     {tracker_ ? tracker_->hid->descriptor() : -1, POLLIN, 0}}};
        std::optional<std::chrono::milliseconds> timeout;
        if (const auto next = nextTry()) {
            timeout = std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now());
        }
        thread.wait(files, timeout);
        if (files[1].revents != 0) {
            read(thread);
        }
        if (files[0].revents != 0) {
            handleFolder(thread);
        }
        if (const auto next = nextTry(); next && Clock::now() >= *next) {
            askAgain(thread);
        }
    }
    if (tracker_ && tracker_->request != 0) {
        stop(thread);
    }
}

void HeadTracker::watchFolder() {
    folder_.emplace(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    // A change of attributes is how the access of the user to a node shows.
    if (folder_->get() < 0 ||
        ::inotify_add_watch(folder_->get(), system_->folder().c_str(), IN_CREATE | IN_ATTRIB) < 0) {
        diagnostics_.report({.kind = Diagnostic::Kind::warning,
                             .subject = Diagnostic::Subject::headphones,
                             .text = "head trackers that connect later will not be noticed: " +
                                     std::generic_category().message(errno)});
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
    std::erase_if(nodes_, [&](const auto& node) { return !names.contains(node.first); });
    for (const std::string& name : names) {
        consider(name, thread);
    }
}

void HeadTracker::consider(const std::string& name, MotionThread& thread) {
    if (tracker_ || !system_->isNode(name)) {
        return;
    }
    auto layout = layoutOf(*system_, name);
    if (!layout) {
        return;
    }
    Node& node = nodes_[name];
    if (node.nextTry) {
        return;
    }
    const HidIdentity identity = system_->identity(name);
    const std::string place =
        "the head tracker \"" + identity.name + "\" at " + (system_->folder() / name).string();
    auto hid = system_->open(name);
    if (!hid) {
        reportRefusal(node, place, hid.error());
        return;
    }
    const auto request = layout->description();
    const std::shared_ptr<HidDevice> device = std::move(*hid);
    const auto answer = std::make_shared<std::optional<std::vector<std::uint8_t>>>();
    if (!waitForDevice(thread, [device, answer, request] {
            *answer = device->feature(request.id, request.size);
        })) {
        return;
    }
    auto description = std::move(*answer);
    if (!description) {
        askAgainLater(node, place);
        return;
    }
    if (!layout->isHeadTracker(*description)) {
        report(node, place + " has no mark of a version of the protocol that is known",
               "report it as docs/headphones.md describes");
        return;
    }
    tracker_ = std::make_shared<HeadTrackerDevice>(
        HeadTrackerDevice{.name = identity.name,
                          .hid = device,
                          .layout = std::move(*layout),
                          .axes = headTrackerAxes(identity.vendor, identity.product, diagnostics_),
                          .description = std::move(*description),
                          .resetCounter = std::nullopt});
    nodes_.erase(name);
    thread.setAvailable(true);
}

void HeadTracker::reportRefusal(Node& node, const std::string& place, int error) {
    const bool hasGone = error == ENOENT || error == ENODEV || error == ENXIO;
    if (!hasGone) {
        report(node, place + " cannot be opened: " + std::generic_category().message(error),
               error == EACCES ? "install the udev rule of docs/headphones.md" : "");
    }
}

void HeadTracker::askAgainLater(Node& node, const std::string& place) {
    std::chrono::milliseconds delay = timing_.retry;
    for (int i = 0; i < node.failedTries && delay < timing_.longestRetry; ++i) {
        delay *= 2;
    }
    node.nextTry = Clock::now() + std::min(delay, timing_.longestRetry);
    if (++node.failedTries == kTriesBeforeReport) {
        report(node, place + " does not answer; it will be asked again, ever more slowly",
               "connect it anew if it stays silent");
    }
}

void HeadTracker::askAgain(MotionThread& thread) {
    for (auto& [name, node] : nodes_) {
        if (node.nextTry && Clock::now() >= *node.nextTry) {
            node.nextTry.reset();
        }
    }
    search(thread);
}

void HeadTracker::report(Node& node, const std::string& text, const std::string& advice) {
    if (node.reported != text) {
        node.reported = text;
        diagnostics_.report({.kind = Diagnostic::Kind::warning,
                             .subject = Diagnostic::Subject::headphones,
                             .text = text,
                             .advice = advice});
    }
}

std::optional<HeadTracker::Clock::time_point> HeadTracker::nextTry() const {
    std::optional<Clock::time_point> first;
    if (tracker_) {
        return first;
    }
    for (const auto& [name, node] : nodes_) {
        if (node.nextTry && (!first || *node.nextTry < *first)) {
            first = node.nextTry;
        }
    }
    return first;
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
                    nodes_.erase(event->name);
                }
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    for (const std::string& name : names) {
        consider(name, thread);
    }
}

void HeadTracker::read(MotionThread& thread) {
    std::array<std::uint8_t, kLongestReport> buffer;
    for (int i = 0; i < kMostAtOnce; ++i) {
        const auto size = tracker_->hid->read(buffer);
        if (!size) {
            lose(thread);
            return;
        }
        if (*size == 0) {
            return;
        }
        const auto report = tracker_->layout.decode({buffer.data(), *size});
        if (!report || tracker_->request == 0) {
            continue;
        }
        if (tracker_->resetCounter && report->resetCounter != tracker_->resetCounter) {
            diagnostics_.report({.kind = Diagnostic::Kind::warning,
                                 .subject = Diagnostic::Subject::headphones,
                                 .text = "the head tracker has a new frame of reference",
                                 .advice = "set the offset anew"});
        }
        tracker_->resetCounter = report->resetCounter;
        thread.deliver(attitudeFromRotationVector(tracker_->axes.apply(report->rotation)));
    }
}

void HeadTracker::handleRequest(MotionThread& thread) {
    const std::uint64_t request = thread.request();
    if (!tracker_ || request == tracker_->request) {
        return;
    }
    const bool wasRunning = std::exchange(tracker_->request, request) != 0;
    if (request == 0) {
        stop(thread);
    } else if (!wasRunning && !start(thread)) {
        thread.fail("the head tracker \"" + tracker_->name +
                    "\" refuses to start; connect it anew");
    }
}

bool HeadTracker::start(MotionThread& thread) {
    tracker_->resetCounter.reset();
    const auto accepted = std::make_shared<bool>(false);
    return !waitForDevice(thread, [tracker = tracker_, accepted] {
        *accepted = tracker->start();
    }) || *accepted;
}

void HeadTracker::stop(MotionThread& thread) {
    waitForDevice(thread, [tracker = tracker_] { tracker->stop(); });
}

void HeadTracker::lose(MotionThread& thread) {
    tracker_.reset();
    thread.setAvailable(false);
    search(thread);
}

}  // namespace velmaro
