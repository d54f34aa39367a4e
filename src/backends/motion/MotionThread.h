#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>

#include "backends/posix/FileDescriptor.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro {

class MotionThread;

/// What speaks to a device. It is made anywhere and then used on one thread only.
class MotionDriver {
public:
    virtual ~MotionDriver() = default;

    /// Serves the device until `thread.isEnding()`.
    virtual void run(MotionThread& thread) = 0;
};

/// Headphones behind a driver, which has a thread of its own. Drivers deliver to the queue of the
/// start themselves, so that a sample changes threads once.
class MotionThread final : public HeadphoneMotion {
public:
    /// Starts the thread, called `name` (at most 15 characters), and waits, at most `patience`,
    /// until the driver is ready. Throws std::system_error if the system has no descriptor left.
    MotionThread(const std::string& name, std::unique_ptr<MotionDriver> driver,
                 std::chrono::milliseconds patience = std::chrono::milliseconds(0));
    /// Waits for the driver to take its leave of the device.
    ~MotionThread() override;
    MotionThread(const MotionThread&) = delete;
    MotionThread& operator=(const MotionThread&) = delete;

    // Any thread.

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) override;
    [[nodiscard]] bool isDeviceMotionAvailable() const override { return isAvailable_.load(); }
    [[nodiscard]] bool isDeviceMotionActive() const override { return request() != 0; }
    /// Nothing if already started. Motion goes on by itself after a loss and a return.
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) override;
    void stopDeviceMotionUpdates() override;

    // For the driver, on its thread.

    /// True once the driver must return.
    [[nodiscard]] bool isEnding() const { return isEnding_.load(); }
    /// Counts the starts; 0 while motion is not wanted.
    [[nodiscard]] std::uint64_t request() const { return request_.load(); }
    /// Waits until one of `files`, at most three, is ready (see their `revents`), the request
    /// changed, the end has come, or `timeout` has passed. A descriptor below 0 is skipped.
    void wait(std::span<pollfd> files,
              std::optional<std::chrono::milliseconds> timeout = std::nullopt);
    /// Says whether motion can be delivered; the delegate hears of a change, on this thread.
    void setAvailable(bool available);
    /// Hands a sample to the queue of the start. Samples that a blocked queue has not taken are
    /// dropped beyond a bound.
    void deliver(const CMQuaternion& attitude);
    /// Hands an error to the queue of the start.
    void fail(const std::string& description);
    /// The first look around is over: `isDeviceMotionAvailable` now tells what is there.
    void notifyReady();

private:
    struct Delivery;

    void post(std::shared_ptr<const DeviceMotion> sample, std::optional<Error> error);
    void wake() const;

    const FileDescriptor wake_;
    std::atomic<bool> isEnding_ = false;
    std::atomic<bool> isAvailable_ = false;
    std::atomic<std::uint64_t> request_ = 0;
    mutable std::mutex mutex_;
    std::uint64_t starts_ = 0;
    std::condition_variable readiness_;
    bool isReady_ = false;
    std::weak_ptr<HeadphoneMotionDelegate> delegate_;
    std::shared_ptr<Delivery> delivery_;
    const std::unique_ptr<MotionDriver> driver_;
    std::thread thread_;
};

}  // namespace velmaro
