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

/// What joins a driver on its own thread to the door on the main thread.
class MotionLink {
public:
    using Handler = HeadphoneMotion::Handler;

    /// Throws std::system_error if the system has no descriptor left.
    MotionLink();
    ~MotionLink();
    MotionLink(const MotionLink&) = delete;
    MotionLink& operator=(const MotionLink&) = delete;

    // For the driver, on its thread.

    /// True once the driver must return.
    [[nodiscard]] bool isEnding() const { return ending_.load(); }
    /// Counts the starts; 0 while motion is not wanted.
    [[nodiscard]] std::uint64_t wish() const { return wish_.load(); }
    /// Waits until one of `files`, at most three, is ready (see their `revents`), the wish changed,
    /// the end has come, or `timeout` has passed. A descriptor below 0 is skipped.
    void wait(std::span<pollfd> files,
              std::optional<std::chrono::milliseconds> timeout = std::nullopt);
    /// Tells whether motion can be delivered; the delegate hears of a change.
    void setAvailable(bool available);
    /// Hands a sample to the queue of the start. Samples that a blocked queue has not taken are
    /// dropped beyond a bound.
    void deliver(const CMQuaternion& attitude);
    /// Hands an error to the queue of the start.
    void fail(const std::string& description);
    /// The first look around is over: `isAvailable` now tells what is there.
    void settle();

    // For the door.

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate);
    [[nodiscard]] bool isAvailable() const { return available_.load(); }
    [[nodiscard]] bool isActive() const { return wish() != 0; }
    void start(DispatchQueue& queue, Handler handler);
    void stop();
    void end();
    void awaitSettlement(std::chrono::milliseconds patience);

private:
    class Run;

    void post(const std::shared_ptr<const DeviceMotion>& sample,
              const std::optional<Error>& error) const;
    void wake() const;

    FileDescriptor wake_;
    std::atomic<bool> ending_ = false;
    std::atomic<bool> available_ = false;
    std::atomic<std::uint64_t> wish_ = 0;
    std::uint64_t starts_ = 0;
    mutable std::mutex mutex_;
    std::condition_variable settlement_;
    bool settled_ = false;
    std::weak_ptr<HeadphoneMotionDelegate> delegate_;
    std::shared_ptr<Run> run_;
};

/// The side of a live source that speaks to the device. It is made anywhere and then used on one
/// thread only.
class MotionDriver {
public:
    virtual ~MotionDriver() = default;

    /// Serves the device until `link.isEnding()`.
    virtual void run(MotionLink& link) = 0;
};

/// Headphones behind a driver, which has a thread of its own.
class LiveMotion final : public HeadphoneMotion {
public:
    /// Starts the thread, called `threadName` (at most 15 characters), and waits, at most
    /// `patience`, until the driver has settled.
    LiveMotion(const std::string& threadName, std::unique_ptr<MotionDriver> driver,
               std::chrono::milliseconds patience = std::chrono::milliseconds(0));
    /// Waits for the driver to take its leave of the device.
    ~LiveMotion() override;
    LiveMotion(const LiveMotion&) = delete;
    LiveMotion& operator=(const LiveMotion&) = delete;

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) override;
    [[nodiscard]] bool isDeviceMotionAvailable() const override;
    [[nodiscard]] bool isDeviceMotionActive() const override;
    /// Nothing if already started. Motion goes on by itself after a loss and a return.
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) override;
    void stopDeviceMotionUpdates() override;

private:
    MotionLink link_;
    std::unique_ptr<MotionDriver> driver_;
    std::thread thread_;
};

}  // namespace velmaro
