#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "backends/hid/Descriptors.h"
#include "backends/hid/HidSystem.h"
#include "backends/posix/FileDescriptor.h"

namespace velmaro {

/// What the test sees of a device that plays a head tracker.
struct FakeTracker {
    explicit FakeTracker(Bytes reportDescriptor = trackerDescriptor(),
                         std::string marker = "#AndroidHeadTracker#1.0")
        : descriptor(std::move(reportDescriptor)) {
        features[2] = markerReport(2, marker, 40);
        features[1] = {1, 0x80};
    }

    void send(const Bytes& report) {
        const std::lock_guard lock(mutex);
        if (input && ::write(input->get(), report.data(), report.size()) < 0) {
            throw std::runtime_error("pipe");
        }
    }
    void unplug() {
        const std::lock_guard lock(mutex);
        input.reset();
    }
    [[nodiscard]] Bytes control() {
        const std::lock_guard lock(mutex);
        const auto found = features.find(1);
        return found == features.end() ? Bytes{} : found->second;
    }
    [[nodiscard]] bool isOpen() {
        const std::lock_guard lock(mutex);
        return input.has_value();
    }

    const Bytes descriptor;
    std::mutex mutex;
    /// Set before the device is there; under the mutex afterwards.
    std::map<std::uint8_t, Bytes> features;
    int openError = 0;
    int refusedFeatures = 0;
    bool refusesControl = false;
    /// Lets everybody who asks wait.
    std::atomic<bool> hangs = false;
    std::optional<FileDescriptor> input;
};

class FakeDevice : public HidDevice {
public:
    FakeDevice(std::shared_ptr<FakeTracker> tracker, FileDescriptor output)
        : tracker_(std::move(tracker)), output_(std::move(output)) {}

    [[nodiscard]] int descriptor() const override { return output_.get(); }
    std::optional<std::size_t> read(std::span<std::uint8_t> buffer) override {
        // One report at a time, as hidraw does; here all have 14 bytes.
        const ssize_t size = ::read(output_.get(), buffer.data(), 14);
        if (size > 0) {
            return static_cast<std::size_t>(size);
        }
        return size < 0 && errno == EAGAIN ? std::optional<std::size_t>(0) : std::nullopt;
    }
    std::optional<std::vector<std::uint8_t>> feature(std::uint8_t id, std::size_t size) override {
        while (tracker_->hangs.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::lock_guard lock(tracker_->mutex);
        if (tracker_->refusedFeatures > 0) {
            --tracker_->refusedFeatures;
            return std::nullopt;
        }
        const auto found = tracker_->features.find(id);
        if (found == tracker_->features.end()) {
            return std::nullopt;
        }
        Bytes report = found->second;
        report.resize(std::min(report.size(), size));
        return report;
    }
    bool setFeature(std::span<const std::uint8_t> report) override {
        const std::lock_guard lock(tracker_->mutex);
        if (tracker_->refusesControl) {
            return false;
        }
        tracker_->features[report[0]].assign(report.begin(), report.end());
        return true;
    }

private:
    std::shared_ptr<FakeTracker> tracker_;
    FileDescriptor output_;
};

/// Nodes are files of a temporary folder, so that they really come and go.
class FakeSystem {
public:
    FakeSystem() {
        std::string pattern = std::filesystem::temp_directory_path() / "velmaro-nodes.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        folder_ = pattern;
    }
    ~FakeSystem() { std::filesystem::remove_all(folder_); }
    FakeSystem(const FakeSystem&) = delete;
    FakeSystem& operator=(const FakeSystem&) = delete;

    std::shared_ptr<FakeTracker> plug(const std::string& name,
                                      std::shared_ptr<FakeTracker> tracker) {
        {
            const std::lock_guard lock(mutex_);
            trackers_[name] = tracker;
        }
        const std::ofstream node(folder_ / name);
        return tracker;
    }
    void unplug(const std::string& name) {
        std::filesystem::remove(folder_ / name);
        std::shared_ptr<FakeTracker> tracker;
        {
            const std::lock_guard lock(mutex_);
            tracker = trackers_.extract(name).mapped();
        }
        tracker->unplug();
    }
    [[nodiscard]] std::string path(const std::string& name) const { return folder_ / name; }
    /// Changes the attributes of a node, as udev does.
    void touch(const std::string& name) {
        std::filesystem::permissions(folder_ / name, std::filesystem::perms::owner_all);
    }
    void grantAccess(const std::string& name) {
        {
            const std::lock_guard lock(mutex_);
            trackers_.at(name)->openError = 0;
        }
        touch(name);
    }

    /// The system for a driver; this outlives it.
    [[nodiscard]] std::unique_ptr<HidSystem> door() { return std::make_unique<Door>(*this); }

private:
    class Door : public HidSystem {
    public:
        explicit Door(FakeSystem& system) : system_(system) {}
        [[nodiscard]] std::filesystem::path folder() const override { return system_.folder_; }
        [[nodiscard]] bool isNode(const std::string& name) const override {
            return name.starts_with("hidraw");
        }
        [[nodiscard]] std::vector<std::uint8_t> reportDescriptor(
            const std::string& name) const override {
            const std::lock_guard lock(system_.mutex_);
            const auto found = system_.trackers_.find(name);
            return found == system_.trackers_.end() ? Bytes{} : found->second->descriptor;
        }
        [[nodiscard]] HidIdentity identity(const std::string& name) const override {
            return {0x1234, 0x5678, "Tracker at " + name};
        }
        [[nodiscard]] tl::expected<std::unique_ptr<HidDevice>, int> open(
            const std::string& name) const override {
            const std::lock_guard lock(system_.mutex_);
            const auto found = system_.trackers_.find(name);
            if (found == system_.trackers_.end()) {
                return tl::unexpected(ENOENT);
            }
            if (found->second->openError != 0) {
                return tl::unexpected(found->second->openError);
            }
            std::array<int, 2> ends{};
            if (::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) != 0) {
                return tl::unexpected(errno);
            }
            const std::lock_guard trackerLock(found->second->mutex);
            found->second->input.emplace(ends[1]);
            return std::make_unique<FakeDevice>(found->second, FileDescriptor(ends[0]));
        }

    private:
        FakeSystem& system_;
    };

    std::filesystem::path folder_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<FakeTracker>> trackers_;
};

}  // namespace velmaro
