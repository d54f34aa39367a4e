#include "backends/portal/GlobalShortcuts.h"

#include <array>
#include <string_view>
#include <utility>

#include "backends/portal/Portal.h"

namespace velmaro {
namespace {

constexpr const char* kShortcuts = "org.freedesktop.portal.GlobalShortcuts";
constexpr const char* kSessionToken = "velmaro";

struct Shortcut {
    /// By which the desktop remembers the key.
    const char* id;
    /// For a person.
    const char* description;
    ShortcutAction action;
};

constexpr std::array kAll{
    Shortcut{"set", "Make the current pose the zero pose", ShortcutAction::setOffset},
    Shortcut{"reset", "Reset the zero pose", ShortcutAction::resetOffset}};

void addText(GVariantBuilder& options, const char* name, const char* text) {
    g_variant_builder_add(&options, "{sv}", name, g_variant_new_string(text));
}

void ignore(GVariant* /*reply*/, const GError* /*error*/) {}

}  // namespace

GlobalShortcuts::GlobalShortcuts(std::function<void(ShortcutAction)> handler)
    : handler_(std::move(handler)),
      thread_("shortcuts", glib::BusThread::Bus::session,
              {.begin = [this] { begin(); }, .end = [this] { closeSession(); }}) {}

void GlobalShortcuts::begin() {
    if (!thread_.isConnected()) {
        return;
    }
    thread_.subscribe({.sender = portal::kName,
                       .interface = kShortcuts,
                       .name = "Activated",
                       .path = portal::kPath},
                      [this](GVariant* parameters) { activated(parameters); });
    // Newer portals ask a program that is not in a sandbox for its name first; older ones do not
    // know the question.
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    thread_.call({portal::kName, portal::kPath, "org.freedesktop.host.portal.Registry", "Register"},
                 g_variant_new("(sa{sv})", "io.github.velmaro.Velmaro", &options),
                 {.milliseconds = portal::kCallLimit},
                 [this](GVariant* /*reply*/, const GError* /*error*/) { createSession(); });
}

void GlobalShortcuts::createSession() {
    constexpr const char* kToken = "velmarosession";
    const std::string request = portal::requestPath(thread_.ownName(), kToken);
    response_ = thread_.subscribe({.sender = portal::kName,
                                   .interface = portal::kRequest,
                                   .name = "Response",
                                   .path = request.c_str()},
                                  [this](GVariant* parameters) { sessionAnswered(parameters); });
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    addText(options, "handle_token", kToken);
    addText(options, "session_handle_token", kSessionToken);
    thread_.call({portal::kName, portal::kPath, kShortcuts, "CreateSession"},
                 g_variant_new("(a{sv})", &options), {.milliseconds = portal::kCallLimit}, ignore);
}

void GlobalShortcuts::sessionAnswered(GVariant* parameters) {
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})")) == FALSE) {
        return;
    }
    thread_.unsubscribe(std::exchange(response_, 0));
    guint32 response = 0;
    GVariant* results = nullptr;
    g_variant_get(parameters, "(u@a{sv})", &response, &results);
    const glib::VariantHandle held(results);
    // A path by its meaning, a text by its type.
    const char* session = nullptr;
    if (response == portal::kGranted &&
        (g_variant_lookup(results, "session_handle", "&s", &session) ||
         g_variant_lookup(results, "session_handle", "&o", &session)) &&
        g_variant_is_object_path(session)) {
        session_ = session;
        bind();
    }
}

void GlobalShortcuts::bind() {
    GVariantBuilder shortcuts;
    g_variant_builder_init(&shortcuts, G_VARIANT_TYPE("a(sa{sv})"));
    for (const Shortcut& each : kAll) {
        GVariantBuilder details;
        g_variant_builder_init(&details, G_VARIANT_TYPE_VARDICT);
        addText(details, "description", each.description);
        g_variant_builder_add(&shortcuts, "(sa{sv})", each.id, &details);
    }
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    addText(options, "handle_token", "velmarobind");
    thread_.call({portal::kName, portal::kPath, kShortcuts, "BindShortcuts"},
                 g_variant_new("(oa(sa{sv})sa{sv})", session_.c_str(), &shortcuts, "", &options),
                 {.milliseconds = portal::kCallLimit}, ignore);
}

void GlobalShortcuts::activated(GVariant* parameters) {
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(osta{sv})")) == FALSE) {
        return;
    }
    const char* session = nullptr;
    const char* id = nullptr;
    g_variant_get(parameters, "(&o&sta{sv})", &session, &id, nullptr, nullptr);
    for (const Shortcut& each : kAll) {
        if (session == session_ && std::string_view(id) == each.id) {
            handler_(each.action);
        }
    }
}

void GlobalShortcuts::closeSession() {
    if (!session_.empty() && thread_.isConnected()) {
        thread_.callWithoutReply(
            {portal::kName, session_.c_str(), "org.freedesktop.portal.Session", "Close"});
    }
}

}  // namespace velmaro
