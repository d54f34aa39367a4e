#include "backends/gstreamer/Library.h"

#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

#include <cstdio>
#include <string>

#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {

namespace {

void printToStandardError(const gchar* text) {
    std::fputs(text, stderr);
}

std::optional<Error> initialise() {
    // Standard output belongs to the program's own lines.
    g_set_print_handler(printToStandardError);
    g_log_writer_default_set_use_stderr(TRUE);
    // A crash should reach the debugger, not wait in GStreamer's handler.
    gst_segtrap_set_enabled(FALSE);

    // The program's own arguments are not GStreamer's.
    GError* failure = nullptr;
    if (gst_init_check(nullptr, nullptr, &failure) == FALSE) {
        const ErrorHandle error(failure);
        const std::string reason = error ? error->message : "unknown reason";
        return Error{"GStreamer does not start: " + reason, "GStreamer does not start"};
    }
    gst_pb_utils_init();
    for (const char* name :
         {"appsink", "decodebin", "filesrc", "imagefreeze", "videoconvert", "videoflip"}) {
        const ObjectHandle<GstElementFactory> factory(gst_element_factory_find(name));
        if (!factory) {
            const std::string text = "GStreamer's element \"" + std::string(name) +
                                     "\" is missing: install its base and good plug-ins";
            return Error{text, text};
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Error> ensureLibrary() {
    static const std::optional<Error> error = initialise();
    return error;
}

}  // namespace velmaro::gstreamer
