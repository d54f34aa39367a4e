#include "integration/guest/VirtualTracker.h"

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace velmaro::integration {
namespace {

constexpr int kInterval = 20;
/// One that the device rule names.
constexpr std::uint32_t kVendor = 0x054C;

}  // namespace

VirtualTracker::VirtualTracker(const Bytes& descriptor, const Bytes& description, Bytes report)
    : file_(::open("/dev/uhid", O_RDWR | O_CLOEXEC)),
      description_(description),
      report_(std::move(report)) {
    if (file_ < 0) {
        throw std::system_error(errno, std::generic_category(), "/dev/uhid");
    }
    uhid_event event{};
    event.type = UHID_CREATE2;
    auto& made = event.u.create2;
    std::ranges::copy(std::string_view("Virtual Head Tracker"), made.name);
    std::copy(descriptor.begin(), descriptor.end(), made.rd_data);
    made.rd_size = static_cast<std::uint16_t>(descriptor.size());
    made.bus = BUS_BLUETOOTH;
    made.vendor = kVendor;
    made.product = 0x5678;
    put(event);
    thread_ = std::thread([this] { serve(); });
}

VirtualTracker::~VirtualTracker() {
    ended_ = true;
    thread_.join();
    ::close(file_);
}

void VirtualTracker::setReport(Bytes report) {
    const std::lock_guard lock(mutex_);
    report_ = std::move(report);
}

VirtualTracker::Bytes VirtualTracker::control() const {
    const std::lock_guard lock(mutex_);
    return control_;
}

void VirtualTracker::serve() {
    while (!ended_) {
        pollfd file{file_, POLLIN, 0};
        uhid_event event{};
        if (::poll(&file, 1, kInterval) > 0) {
            if (::read(file_, &event, sizeof event) > 0) {
                answer(event);
            }
            continue;
        }
        const std::lock_guard lock(mutex_);
        if ((control_.at(1) & 3U) == 3) {
            event.type = UHID_INPUT2;
            std::copy(report_.begin(), report_.end(), event.u.input2.data);
            event.u.input2.size = static_cast<std::uint16_t>(report_.size());
            put(event);
        }
    }
}

void VirtualTracker::answer(const uhid_event& event) {
    const std::lock_guard lock(mutex_);
    uhid_event reply{};
    if (event.type == UHID_GET_REPORT) {
        reply.type = UHID_GET_REPORT_REPLY;
        auto& got = reply.u.get_report_reply;
        got.id = event.u.get_report.id;
        const Bytes& bytes = event.u.get_report.rnum == 2 ? description_ : control_;
        std::copy(bytes.begin(), bytes.end(), got.data);
        got.size = static_cast<std::uint16_t>(bytes.size());
        put(reply);
    } else if (event.type == UHID_SET_REPORT) {
        const auto& set = event.u.set_report;
        if (set.size == control_.size()) {
            control_.assign(set.data, set.data + set.size);
        }
        reply.type = UHID_SET_REPORT_REPLY;
        reply.u.set_report_reply.id = set.id;
        put(reply);
    }
}

void VirtualTracker::put(const uhid_event& event) const {
    if (::write(file_, &event, sizeof event) != sizeof event) {
        throw std::system_error(errno, std::generic_category(), "/dev/uhid");
    }
}

}  // namespace velmaro::integration
