#pragma once

#include <filesystem>
#include <memory>
#include <variant>

#include "backends/replay/MotionClock.h"
#include "platform/Error.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// Headphones whose every sample also goes into a motion file, at the time of its delivery. Whole
/// lines reach the file at once, so that it can be replayed however the recording ended. A file
/// that can no longer be written is told once on standard error, and the motion goes on.
class MotionRecorder : public HeadphoneMotion {
public:
    /// A recorder of `source`, which outlives it, into a new file at `path`; or why the file could
    /// not be made. A file that is already there is not touched. `clock` is read on the delivery
    /// queue.
    static std::variant<std::unique_ptr<MotionRecorder>, Error> open(
        const std::filesystem::path& path, HeadphoneMotion& source,
        MotionClock clock = steadyMotionClock);

    ~MotionRecorder() override;

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) override;
    [[nodiscard]] bool isDeviceMotionAvailable() const override;
    [[nodiscard]] bool isDeviceMotionActive() const override;
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) override;
    void stopDeviceMotionUpdates() override;

private:
    class Recording;

    MotionRecorder(HeadphoneMotion& source, std::shared_ptr<Recording> recording);

    HeadphoneMotion& source_;
    std::shared_ptr<Recording> recording_;
};

}  // namespace velmaro
