// virtual-camera NAME FORMAT PIPELINE: a camera of PipeWire that gives what a pipeline of
// GStreamer's gives, until that ends or PipeWire goes. FORMAT is one of GStreamer's raw ones, or
// JPEG. GStreamer has a sink for PipeWire, but that of PipeWire 0.3 crashes or locks itself up when
// somebody reads from it in its first moments.

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>
#include <pipewire/pipewire.h>
#include <spa/debug/types.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>
#include <spa/param/video/type-info.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

namespace {

struct Unref {
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
    void operator()(GstElement* element) const { gst_object_unref(element); }
};
using Sample = std::unique_ptr<GstSample, Unref>;
using Element = std::unique_ptr<GstElement, Unref>;

/// For what is told to PipeWire: 1.4 takes it from addresses that are multiples of eight only.
using Memory = std::array<std::uint64_t, 128>;

[[noreturn]] void fail(const std::string& reason) {
    std::fprintf(stderr, "virtual-camera: %s\n", reason.c_str());
    // What hangs shall hold up nobody.
    std::_Exit(EXIT_FAILURE);
}

/// What of a pipeline is told to PipeWire.
struct Pictures {
    explicit Pictures(GstSample* first);

    bool isRaw;
    spa_rectangle size;
    spa_fraction rate;
    std::uint32_t format = SPA_VIDEO_FORMAT_UNKNOWN;
    /// Bytes of a picture at most, and of a line of its first plane; none of what is compressed.
    int bytes;
    int stride = 0;
};

Pictures::Pictures(GstSample* first) {
    GstCaps* const caps = gst_sample_get_caps(first);
    const GstStructure* const structure = gst_caps_get_structure(caps, 0);
    int width = 0;
    int height = 0;
    int numerator = 0;
    int denominator = 1;
    gst_structure_get_int(structure, "width", &width);
    gst_structure_get_int(structure, "height", &height);
    gst_structure_get_fraction(structure, "framerate", &numerator, &denominator);
    size = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    rate = {static_cast<std::uint32_t>(numerator), static_cast<std::uint32_t>(denominator)};
    isRaw = gst_structure_has_name(structure, "video/x-raw") == TRUE;
    bytes = 3 * width * height;
    if (isRaw) {
        GstVideoInfo info;
        gst_video_info_from_caps(&info, caps);
        bytes = static_cast<int>(GST_VIDEO_INFO_SIZE(&info));
        stride = GST_VIDEO_INFO_PLANE_STRIDE(&info, 0);
        const std::string name =
            "Spa:Enum:VideoFormat:" + std::string(gst_structure_get_string(structure, "format"));
        format = spa_debug_type_find_type(spa_type_video_format, name.c_str());
    }
}

/// The source in PipeWire. PipeWire calls it on the loop's thread.
class Camera {
public:
    Camera(const std::string& name, const Pictures& pictures);
    /// Gives a picture to whoever reads.
    void show(Sample picture);

private:
    static void stateChanged(void* self, pw_stream_state old, pw_stream_state state,
                             const char* error);
    static void paramChanged(void* self, std::uint32_t id, const spa_pod* param);
    static void process(void* self);
    void describeBuffers();
    void fill(const spa_buffer& buffer) const;

    const Pictures pictures_;
    pw_thread_loop* const loop_ = pw_thread_loop_new("camera", nullptr);
    pw_stream* stream_ = nullptr;
    pw_stream_events events_ = {};
    Sample latest_;
};

Camera::Camera(const std::string& name, const Pictures& pictures) : pictures_(pictures) {
    events_.version = PW_VERSION_STREAM_EVENTS;
    events_.state_changed = &Camera::stateChanged;
    events_.param_changed = &Camera::paramChanged;
    events_.process = &Camera::process;
    pw_thread_loop_lock(loop_);
    pw_thread_loop_start(loop_);
    pw_properties* const properties = pw_properties_new(
        PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_ROLE, "Camera", PW_KEY_NODE_NAME,
        name.c_str(), PW_KEY_NODE_DESCRIPTION, ("Camera-" + name).c_str(), nullptr);
    stream_ = pw_stream_new_simple(pw_thread_loop_get_loop(loop_), name.c_str(), properties,
                                   &events_, this);
    if (stream_ == nullptr) {
        fail("PipeWire does not answer");
    }
    Memory memory;
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory.data(), sizeof memory);
    const spa_pod* format = nullptr;
    if (pictures_.isRaw) {
        spa_video_info_raw info = {};
        info.format = static_cast<spa_video_format>(pictures_.format);
        info.size = pictures_.size;
        info.framerate = pictures_.rate;
        format = spa_format_video_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
    } else {
        spa_video_info_mjpg info = {};
        info.size = pictures_.size;
        info.framerate = pictures_.rate;
        format = spa_format_video_mjpg_build(&builder, SPA_PARAM_EnumFormat, &info);
    }
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS);
    if (pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, &format, 1) < 0) {
        fail("PipeWire takes no such camera");
    }
    pw_thread_loop_unlock(loop_);
}

void Camera::show(Sample picture) {
    pw_thread_loop_lock(loop_);
    latest_ = std::move(picture);
    if (pw_stream_get_state(stream_, nullptr) == PW_STREAM_STATE_STREAMING) {
        pw_stream_trigger_process(stream_);
    }
    pw_thread_loop_unlock(loop_);
}

void Camera::stateChanged(void* /*self*/, pw_stream_state /*old*/, pw_stream_state state,
                          const char* error) {
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED) {
        fail(error != nullptr ? error : "PipeWire has gone");
    }
}

void Camera::paramChanged(void* self, std::uint32_t id, const spa_pod* param) {
    if (id == SPA_PARAM_Format && param != nullptr) {
        static_cast<Camera*>(self)->describeBuffers();
    }
}

void Camera::describeBuffers() {
    Memory memory;
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory.data(), sizeof memory);
    const auto add = [&builder](std::uint32_t key, int value) {
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_int(&builder, value);
    };
    std::array<const spa_pod*, 2> params = {};
    spa_pod_frame frame;
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
    add(SPA_PARAM_BUFFERS_buffers, 8);
    add(SPA_PARAM_BUFFERS_blocks, 1);
    add(SPA_PARAM_BUFFERS_size, pictures_.bytes);
    add(SPA_PARAM_BUFFERS_stride, pictures_.stride);
    add(SPA_PARAM_BUFFERS_dataType, 1 << SPA_DATA_MemFd);
    params[0] = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
    spa_pod_builder_prop(&builder, SPA_PARAM_META_type, 0);
    spa_pod_builder_id(&builder, SPA_META_Header);
    add(SPA_PARAM_META_size, sizeof(spa_meta_header));
    params[1] = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
    pw_stream_update_params(stream_, params.data(), params.size());
}

void Camera::process(void* self) {
    auto& camera = *static_cast<Camera*>(self);
    // Without one the reader still holds all: this picture is lost, as a camera's would be.
    if (pw_buffer* const buffer = pw_stream_dequeue_buffer(camera.stream_)) {
        camera.fill(*buffer->buffer);
        pw_stream_queue_buffer(camera.stream_, buffer);
    }
}

void Camera::fill(const spa_buffer& buffer) const {
    const spa_data& data = buffer.datas[0];
    const std::size_t size = latest_ ? gst_buffer_extract(gst_sample_get_buffer(latest_.get()), 0,
                                                          data.data, data.maxsize)
                                     : 0;
    data.chunk->offset = 0;
    data.chunk->size = static_cast<std::uint32_t>(size);
    data.chunk->stride = pictures_.stride;
    if (auto* const header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)))) {
        timespec now = {};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        *header = {};
        header->pts = SPA_TIMESPEC_TO_NSEC(&now);
    }
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(nullptr, nullptr);
    pw_init(nullptr, nullptr);
    if (argc != 4) {
        fail("usage: virtual-camera NAME FORMAT PIPELINE");
    }
    const std::string format = argv[2];
    const std::string encoder =
        format == "JPEG" ? "jpegenc ! image/jpeg" : "video/x-raw,format=" + format;
    GError* error = nullptr;
    const Element pipeline(
        gst_parse_launch((std::string(argv[3]) + " ! videoconvert ! " + encoder +
                          " ! appsink name=pictures sync=false max-buffers=1 drop=true")
                             .c_str(),
                         &error));
    if (error != nullptr) {
        fail(error->message);
    }
    const Element sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "pictures"));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    const auto next = [&sink] {
        return Sample(gst_app_sink_pull_sample(GST_APP_SINK(sink.get())));
    };
    Sample picture = next();
    if (!picture) {
        fail("the pipeline gives no picture");
    }
    Camera camera(argv[1], Pictures(picture.get()));
    for (; picture; picture = next()) {
        camera.show(std::move(picture));
    }
    std::_Exit(EXIT_SUCCESS);
}
