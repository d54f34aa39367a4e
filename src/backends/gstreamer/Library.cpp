#include "backends/gstreamer/Library.h"

#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

#include <cstdio>
#include <span>
#include <string>
#include <string_view>

#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {

namespace {

void printToStandardError(const gchar* text) {
    std::fputs(text, stderr);
}

/// GLib's own switch for this may not be thrown any more once another thread of GLib runs.
GLogWriterOutput logToStandardError(GLogLevelFlags level, const GLogField* fields, gsize count,
                                    gpointer /*data*/) {
    const char* domain = nullptr;
    for (const GLogField& field : std::span(fields, count)) {
        if (std::string_view(field.key) == "GLIB_DOMAIN") {
            domain = static_cast<const char*>(field.value);
        }
    }
    if (g_log_writer_default_would_drop(level, domain) == FALSE) {
        const TextHandle text(g_log_writer_format_fields(level, fields, count, FALSE));
        printToStandardError((std::string(text.get()) + "\n").c_str());
    }
    return G_LOG_WRITER_HANDLED;
}

std::optional<Error> initialise() {
    // Standard output belongs to the program's own lines.
    g_set_print_handler(printToStandardError);
    g_log_set_writer_func(logToStandardError, nullptr, nullptr);
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
