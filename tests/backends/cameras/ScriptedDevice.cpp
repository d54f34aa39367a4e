#include "ScriptedDevice.h"

#include <gtest/gtest.h>

#include "backends/gstreamer/Library.h"

namespace velmaro::cameras::test {
namespace {

struct TestDevice {
    GstDevice parent;
};
struct TestDeviceClass {
    GstDeviceClass parent;
};
G_DEFINE_TYPE(TestDevice, test_device, GST_TYPE_DEVICE)

constexpr const char* kContent = "content";

GstElement* open(GstDevice* device, const gchar* /*name*/) {
    const auto* const content =
        static_cast<const char*>(g_object_get_data(G_OBJECT(device), kContent));
    if (*content == '\0') {
        return nullptr;
    }
    return gst_parse_bin_from_description(content, TRUE, nullptr);
}

void test_device_class_init(TestDeviceClass* type) {
    type->parent.create_element = open;
}
void test_device_init(TestDevice* /*device*/) {}

}  // namespace

gstreamer::DeviceHandle scriptedDevice(const std::string& properties, const std::string& caps,
                                       const std::string& type, const std::string& content) {
    EXPECT_FALSE(gstreamer::ensureLibrary());
    const gstreamer::CapsHandle format(gst_caps_from_string(caps.c_str()));
    GstStructure* const structure = gst_structure_from_string(("p," + properties).c_str(), nullptr);
    auto* const made = GST_DEVICE(g_object_new(test_device_get_type(), "display-name", "Name",
                                               "caps", format.get(), "device-class", type.c_str(),
                                               "properties", structure, nullptr));
    gst_structure_free(structure);
    g_object_set_data_full(G_OBJECT(made), kContent, g_strdup(content.c_str()), g_free);
    return gstreamer::DeviceHandle(GST_DEVICE(gst_object_ref_sink(made)));
}

}  // namespace velmaro::cameras::test
