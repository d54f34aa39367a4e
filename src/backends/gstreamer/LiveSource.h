#pragma once

#include <memory>
#include <optional>
#include <string>

#include "backends/gstreamer/CameraRegistry.h"
#include "backends/gstreamer/LatestFrame.h"
#include "backends/gstreamer/Source.h"

namespace velmaro::gstreamer {

/// Reads a live camera. Which device that is now is found out at every start.
class LiveSource : public Source {
public:
    LiveSource(CameraDescription camera, std::shared_ptr<CameraRegistry> registry);

    [[nodiscard]] Pace pace() const override { return Pace::asTheyCome; }
    [[nodiscard]] std::string slowStart() const override;
    std::optional<Error> build(GstBin* pipeline, FrameSink& sink) override;
    bool preroll(GstElement* pipeline) override;
    bool goOn(GstElement* pipeline, GstMessageType end, bool hasStalled) override;
    std::optional<Error> frameFlowChanged(FrameFlow flow) override;
    [[nodiscard]] Error explain(const GError& reason) const override;

private:
    [[nodiscard]] Error error(const std::string& predicate) const;

    const CameraDescription camera_;
    const std::shared_ptr<CameraRegistry> registry_;
    std::optional<LatestFrame> latest_;
    std::shared_ptr<DeviceUse> use_;
};

/// Why a camera that is not there cannot be used.
[[nodiscard]] Error absent(const CameraDescription& camera);

}  // namespace velmaro::gstreamer
