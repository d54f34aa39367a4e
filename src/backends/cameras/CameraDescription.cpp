#include "backends/cameras/CameraDescription.h"

#include <algorithm>
#include <memory>

#include "backends/gstreamer/CameraFormat.h"
#include "backends/gstreamer/Handles.h"

namespace velmaro::cameras {

std::string lastingName(const GstStructure* properties) {
    for (const char* property : {"node.name", "device.bus_path", "v4l2.device.bus_info"}) {
        const char* const value = gst_structure_get_string(properties, property);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return "";
}

std::string serialNumber(GstDevice* device) {
    const std::unique_ptr<GstStructure, decltype(&gst_structure_free)> properties(
        gst_device_get_properties(device), gst_structure_free);
    const char* const serial =
        properties ? gst_structure_get_string(properties.get(), "object.serial") : nullptr;
    return serial == nullptr ? "" : serial;
}

std::optional<CameraDescription> describeCamera(GstDevice* device) {
    if (gst_device_has_classes(device, "Video/Source") == FALSE) {
        return std::nullopt;
    }
    const std::unique_ptr<GstStructure, decltype(&gst_structure_free)> properties(
        gst_device_get_properties(device), gst_structure_free);
    const gstreamer::CapsHandle caps(gst_device_get_caps(device));
    if (!properties || !gstreamer::chooseFormat(caps.get())) {
        return std::nullopt;
    }
    std::string uniqueID = lastingName(properties.get());
    if (uniqueID.empty()) {
        return std::nullopt;
    }
    const gstreamer::TextHandle name(gst_device_get_display_name(device));
    std::string localizedName = name && *name != '\0' ? name.get() : uniqueID;
    std::ranges::replace_if(
        localizedName, [](unsigned char c) { return c < ' '; }, ' ');
    return CameraDescription{std::move(uniqueID), std::move(localizedName)};
}

}  // namespace velmaro::cameras
