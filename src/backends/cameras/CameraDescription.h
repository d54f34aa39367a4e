#pragma once

#include <gst/gst.h>

#include <optional>
#include <string>

namespace velmaro::cameras {

/// What stays the same about a camera each time it is plugged in.
struct CameraDescription {
    std::string uniqueID;
    /// Without control characters.
    std::string localizedName;
    bool operator==(const CameraDescription&) const = default;
};

/// Nothing if the device gives no picture that can be used or has no lasting name. Any thread.
[[nodiscard]] std::optional<CameraDescription> describeCamera(GstDevice* device);

/// Tells cameras of the same lasting name apart for as long as they are plugged in, and is greater
/// for one that came later; empty where no two share a name. Any thread.
[[nodiscard]] std::string serialNumber(GstDevice* device);

/// The lasting name among a device's properties: PipeWire's name of the node, else where the
/// camera is plugged in. Numbers such as those of /dev/video0 change. Empty if there is none.
[[nodiscard]] std::string lastingName(const GstStructure* properties);

}  // namespace velmaro::cameras
