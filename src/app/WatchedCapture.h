#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/Capture.h"
#include "platform/Result.h"

namespace velmaro {

/// Why a camera was refused before its session could start.
struct CaptureRefusal {
    enum class Reason {
        /// The person or the system does not allow cameras.
        accessDenied,
        /// The chosen one cannot be opened.
        cannotOpen,
    };
    Reason reason;
    /// For the person.
    std::string text;
};

/// Another door to cameras that tells when one is refused: the logic says so only in its status
/// text.
class WatchedCapture final : public Capture {
public:
    /// `capture` outlives this one. `onRefusal` is called on the thread on which the refusal
    /// arises.
    WatchedCapture(Capture& capture, std::function<void(const CaptureRefusal&)> onRefusal);

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> discover(
        std::span<const CaptureDeviceType> types) override;
    [[nodiscard]] AuthorizationStatus authorizationStatus() const override;
    void requestAccess(std::function<void(bool granted)> completion) override;
    std::shared_ptr<CaptureSession> makeSession() override;
    Result<std::shared_ptr<CaptureDeviceInput>> makeDeviceInput(
        const std::shared_ptr<CaptureDevice>& device) override;
    std::shared_ptr<VideoDataOutput> makeVideoDataOutput() override;

private:
    Capture& capture_;
    const std::function<void(const CaptureRefusal&)> onRefusal_;
};

}  // namespace velmaro
