#pragma once

#include <string>

#include "backends/gstreamer/Handles.h"

namespace velmaro::cameras::test {

constexpr const char* kColour = "video/x-raw,format=YUY2,width=640,height=480,framerate=30/1";
constexpr const char* kGrey = "video/x-raw,format=GRAY8,width=640,height=480,framerate=30/1";

/// A device called "Name" with these properties ("node.name=a, ..."). What it gives when it is
/// opened is the pipeline `content`, as for gst-launch; without one it cannot be opened.
gstreamer::DeviceHandle scriptedDevice(const std::string& properties,
                                       const std::string& caps = kColour,
                                       const std::string& type = "Video/Source",
                                       const std::string& content = "");

}  // namespace velmaro::cameras::test
