#include "Media.h"

#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "backends/gstreamer/Handles.h"
#include "backends/gstreamer/Library.h"

namespace velmaro::gstreamer::test {

namespace {

ElementHandle launch(const std::string& description) {
    ensureLibrary();
    GError* parsed = nullptr;
    GstElement* const pipeline = gst_parse_launch(description.c_str(), &parsed);
    const ErrorHandle error(parsed);
    if (pipeline == nullptr || error) {
        throw std::runtime_error(description + ": " + (error ? error->message : "no pipeline"));
    }
    return ElementHandle(GST_ELEMENT(gst_object_ref_sink(pipeline)));
}

bool finish(GstElement* pipeline) {
    const BusHandle bus(gst_element_get_bus(pipeline));
    const MessageHandle end(gst_bus_timed_pop_filtered(
        bus.get(), 60 * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_element_set_state(pipeline, GST_STATE_NULL);
    return end && GST_MESSAGE_TYPE(end.get()) == GST_MESSAGE_EOS;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "media-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

bool hasElements(const std::string& names) {
    ensureLibrary();
    std::istringstream words(names);
    for (std::string name; words >> name;) {
        const ObjectHandle<GstElementFactory> factory(gst_element_factory_find(name.c_str()));
        if (!factory) {
            return false;
        }
    }
    return true;
}

bool runPipeline(const std::string& description) {
    const ElementHandle pipeline = launch(description);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    return finish(pipeline.get());
}

bool writeNumberedVideo(const std::string& file, const std::string& encoderAndMuxer, int count) {
    const ElementHandle pipeline = launch(
        "appsrc name=frames format=time caps=video/x-raw,format=BGRx,width=64,height=48,"
        "framerate=30/1 ! videoconvert ! " +
        encoderAndMuxer + " ! filesink location=" + file);
    const ElementHandle frames(gst_bin_get_by_name(GST_BIN(pipeline.get()), "frames"));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    for (int i = 0; i < count; ++i) {
        GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, 4 * 64 * 48, nullptr);
        gst_buffer_memset(buffer, 0, static_cast<guint8>(greyOfFrame(i)), 4 * 64 * 48);
        // The end of one frame is the beginning of the next, to the nanosecond.
        GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(i) * GST_SECOND / 30;
        GST_BUFFER_DURATION(buffer) =
            static_cast<GstClockTime>(i + 1) * GST_SECOND / 30 - GST_BUFFER_PTS(buffer);
        gst_app_src_push_buffer(GST_APP_SRC(frames.get()), buffer);
    }
    gst_app_src_end_of_stream(GST_APP_SRC(frames.get()));
    return finish(pipeline.get());
}

bool writePicture(const std::string& file, const std::string& encoder, int width, int height,
                  std::uint32_t argb) {
    return runPipeline(
        "videotestsrc num-buffers=1 pattern=solid-color foreground-color=" + std::to_string(argb) +
        " ! video/x-raw,format=BGRA,width=" + std::to_string(width) +
        ",height=" + std::to_string(height) + " ! videoconvert dither=none ! " + encoder +
        " ! filesink location=" + file);
}

void writeFile(const std::string& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
}

std::string readFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace velmaro::gstreamer::test
