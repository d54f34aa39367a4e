#pragma once

#include <gst/gst.h>

#include <memory>

namespace velmaro::gstreamer {

struct ReleaseObject {
    void operator()(void* object) const { gst_object_unref(object); }
};
struct ReleaseMiniObject {
    template <typename MiniObject>
    void operator()(MiniObject* object) const {
        gst_mini_object_unref(GST_MINI_OBJECT_CAST(object));
    }
};
struct ReleaseMemory {
    void operator()(void* memory) const { g_free(memory); }
};
struct ReleaseError {
    void operator()(GError* error) const { g_error_free(error); }
};

template <typename Object>
using ObjectHandle = std::unique_ptr<Object, ReleaseObject>;

using ElementHandle = ObjectHandle<GstElement>;
using DeviceHandle = ObjectHandle<GstDevice>;
using BusHandle = ObjectHandle<GstBus>;
using PadHandle = ObjectHandle<GstPad>;
using CapsHandle = std::unique_ptr<GstCaps, ReleaseMiniObject>;
using MessageHandle = std::unique_ptr<GstMessage, ReleaseMiniObject>;
using SampleHandle = std::unique_ptr<GstSample, ReleaseMiniObject>;
using ErrorHandle = std::unique_ptr<GError, ReleaseError>;
using TextHandle = std::unique_ptr<char, ReleaseMemory>;

}  // namespace velmaro::gstreamer
