#pragma once

#include <array>
#include <filesystem>
#include <memory>

#include "platform/FaceLandmarks.h"
#include "platform/Result.h"
#include "platform/Telemetry.h"

namespace velmaro {

/// Face landmarks from the two MediaPipe face networks, on the processor, on the calling thread.
class FaceMesh final : public FaceLandmarks {
public:
    /// Loads the models from a folder, which takes some 20 ms. `telemetry` may be null; otherwise
    /// it must outlive the result, and every performed request counts there.
    [[nodiscard]] static Result<std::unique_ptr<FaceMesh>> create(
        const std::filesystem::path& models, Telemetry* telemetry);

    ~FaceMesh() override;

    bool perform(const std::shared_ptr<const PixelBuffer>& image,
                 const Completion& completion) override;

private:
    struct Parts;

    FaceMesh(std::unique_ptr<Parts> parts, Telemetry* telemetry);

    std::unique_ptr<Parts> parts_;
    Telemetry* telemetry_;
};

}  // namespace velmaro
