#pragma once

#include <gio/gio.h>

#include <memory>

namespace velmaro::glib {

template <auto kFunction>
struct Release {
    template <typename Object>
    void operator()(Object* object) const {
        kFunction(object);
    }
};

/// What GLib gives away to be released by its receiver.
template <typename Object>
using ObjectHandle = std::unique_ptr<Object, Release<g_object_unref>>;
using VariantHandle = std::unique_ptr<GVariant, Release<g_variant_unref>>;
using TextHandle = std::unique_ptr<char, Release<g_free>>;
using ErrorHandle = std::unique_ptr<GError, Release<g_error_free>>;
using ContextHandle = std::unique_ptr<GMainContext, Release<g_main_context_unref>>;
using LoopHandle = std::unique_ptr<GMainLoop, Release<g_main_loop_unref>>;

}  // namespace velmaro::glib
