#pragma once

#include <memory>
#include <optional>
#include <semaphore>
#include <string>

#include "backends/cameras/CameraRegistry.h"
#include "backends/gstreamer/LatestFrame.h"
#include "backends/gstreamer/Source.h"
#include "backends/posix/FileDescriptor.h"

namespace velmaro::cameras {

/// Reads a live camera. Which device that is now is found out at every start.
class LiveSource : public gstreamer::Source {
public:
    /// `diagnostics` outlives the source.
    LiveSource(CameraDescription camera, std::shared_ptr<CameraRegistry> registry,
               Diagnostics& diagnostics);

    [[nodiscard]] gstreamer::Pace pace() const override { return gstreamer::Pace::asTheyCome; }
    [[nodiscard]] std::optional<Diagnostic> slowStart() const override;
    std::optional<Error> build(GstBin* pipeline, gstreamer::FrameSink& sink,
                               const Lost& lost) override;
    bool preroll(GstElement* pipeline) override;
    bool goOn(GstElement* pipeline, GstMessageType end, bool hasStalled) override;
    std::optional<Error> frameFlowChanged(gstreamer::FrameFlow flow) override;
    [[nodiscard]] Error error(const std::string& reason) const override;
    /// Waits a moment for the camera's loss to be known.
    [[nodiscard]] Error explain(const GError& reason) const override;

private:
    /// The camera's name before `predicate`.
    [[nodiscard]] std::string named(const std::string& predicate) const;
    /// A warning about the camera, as `predicate` says it.
    [[nodiscard]] Diagnostic warning(const std::string& predicate, const std::string& advice) const;
    [[nodiscard]] Error says(const std::string& predicate) const;
    /// If the camera is one of PipeWire's.
    void prepareReader(GstElement* camera);
    /// The way from the camera's element, which gives `format`, to `sink`.
    std::optional<Error> linkToSink(GstBin* pipeline, GstElement* camera, GstCaps* format,
                                    gstreamer::FrameSink& sink);

    const CameraDescription camera_;
    const std::shared_ptr<CameraRegistry> registry_;
    Diagnostics& diagnostics_;
    std::optional<gstreamer::LatestFrame> latest_;
    std::shared_ptr<DeviceUse> use_;
    std::shared_ptr<std::binary_semaphore> loss_;
    /// The camera's element knows it by its number and takes a copy, so it stays open as long.
    std::optional<FileDescriptor> connection_;
};

/// Why a camera that is not there cannot be used.
[[nodiscard]] Error absent(const CameraDescription& camera);

}  // namespace velmaro::cameras
