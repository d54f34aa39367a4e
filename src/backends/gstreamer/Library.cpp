#include "backends/gstreamer/Library.h"

#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

#include <algorithm>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {

namespace {

/// GLib's handlers are the process's own, so is whom they tell.
struct Listeners {
    std::mutex mutex;
    std::vector<Diagnostics*> diagnostics;
};
Listeners& listeners() {
    static auto* const shared = new Listeners;
    return *shared;
}

void report(Diagnostic::Kind kind, std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' '; }, ' ');
    Listeners& shared = listeners();
    const std::lock_guard lock(shared.mutex);
    if (!shared.diagnostics.empty()) {
        shared.diagnostics.back()->report(
            {kind, Diagnostic::Subject::program, std::move(text), ""});
    }
}

void reportPrinted(const gchar* text) {
    report(Diagnostic::Kind::hint, text);
}

GLogWriterOutput reportLogged(GLogLevelFlags level, const GLogField* fields, gsize count,
                              gpointer /*data*/) {
    std::string domain = "GLib";
    std::string message;
    for (const GLogField& field : std::span(fields, count)) {
        const std::string_view key = field.key;
        if (field.length >= 0 || (key != "GLIB_DOMAIN" && key != "MESSAGE")) {
            continue;
        }
        (key == "MESSAGE" ? message : domain) = static_cast<const char*>(field.value);
    }
    if (g_log_writer_default_would_drop(level, domain.c_str()) == FALSE) {
        const bool isWarning =
            (level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING)) != 0;
        report(isWarning ? Diagnostic::Kind::warning : Diagnostic::Kind::hint,
               "the library " + domain + " says: " + message);
    }
    return G_LOG_WRITER_HANDLED;
}

std::optional<Error> initialise() {
    // Standard output belongs to the program's own lines.
    g_set_print_handler(reportPrinted);
    g_set_printerr_handler(reportPrinted);
    g_log_set_writer_func(reportLogged, nullptr, nullptr);
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

LibraryMessages::LibraryMessages(Diagnostics& diagnostics) : diagnostics_(diagnostics) {
    Listeners& shared = listeners();
    const std::lock_guard lock(shared.mutex);
    shared.diagnostics.push_back(&diagnostics_);
}

LibraryMessages::~LibraryMessages() {
    Listeners& shared = listeners();
    const std::lock_guard lock(shared.mutex);
    shared.diagnostics.erase(std::ranges::find(shared.diagnostics, &diagnostics_));
}

}  // namespace velmaro::gstreamer
