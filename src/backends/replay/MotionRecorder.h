#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "backends/replay/MotionClock.h"
#include "platform/Diagnostics.h"
#include "platform/HeadphoneMotion.h"
#include "platform/Result.h"

namespace velmaro {

/// Headphones whose every sample also goes into a motion file, at the time of its delivery. The
/// file appears with the first sample, and whole lines reach it at once, so that it can be replayed
/// however the recording ended. A recording that ends empty is reported; so is a file that can not
/// be written any more, once, and the motion goes on.
class MotionRecorder : public HeadphoneMotion {
public:
    /// A recorder of `source` into a new file at `path`; or why there can be no such file. One that
    /// is already there is not touched, even if it came in the meantime. `onFailure` is called on
    /// the delivery queue when the file cannot be written, after the report. `clock` is read there.
    static Result<std::unique_ptr<MotionRecorder>> open(const std::filesystem::path& path,
                                                        std::unique_ptr<HeadphoneMotion> source,
                                                        Diagnostics& diagnostics,
                                                        std::function<void()> onFailure = nullptr,
                                                        MotionClock clock = steadyMotionClock);

    ~MotionRecorder() override;

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) override;
    [[nodiscard]] bool isDeviceMotionAvailable() const override;
    [[nodiscard]] bool isDeviceMotionActive() const override;
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) override;
    void stopDeviceMotionUpdates() override;

private:
    class Recording;

    MotionRecorder(std::unique_ptr<HeadphoneMotion> source, std::shared_ptr<Recording> recording);

    const std::unique_ptr<HeadphoneMotion> source_;
    const std::shared_ptr<Recording> recording_;
};

}  // namespace velmaro
