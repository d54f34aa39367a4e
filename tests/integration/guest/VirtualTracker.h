#pragma once

#include <linux/uhid.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace velmaro::integration {

/// A head tracker that the kernel itself presents, as a Bluetooth one: 50 reports a second of one
/// rotation once it was started. It is plugged in when made and unplugged when destroyed.
class VirtualTracker {
public:
    using Bytes = std::vector<std::uint8_t>;

    /// `report` is the input report to send. Throws std::system_error if the kernel has no such
    /// devices or this user may not make them.
    VirtualTracker(const Bytes& descriptor, const Bytes& description, Bytes report);
    ~VirtualTracker();
    VirtualTracker(const VirtualTracker&) = delete;
    VirtualTracker& operator=(const VirtualTracker&) = delete;

    void setReport(Bytes report);
    /// The feature report that starts and stops it.
    [[nodiscard]] Bytes control() const;

private:
    void serve();
    void answer(const uhid_event& event);
    void put(const uhid_event& event) const;

    int file_;
    const Bytes description_;
    mutable std::mutex mutex_;
    Bytes report_;
    Bytes control_{1, 0};
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

}  // namespace velmaro::integration
