#pragma once

#include <gst/gst.h>

#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {

/// The one mode of a camera to ask for: fast enough for tracking first, then the largest of at most
/// 1280 x 720, then uncompressed. Left alone, a camera gives its largest picture, however slowly.
/// Where the camera told no rate but bounds, any other rate is a second choice. Null if `offered`
/// has no picture in colour that can be decoded. Any thread.
[[nodiscard]] CapsHandle chooseFormat(const GstCaps* offered);

}  // namespace velmaro::gstreamer
