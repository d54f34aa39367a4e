#include "backends/gstreamer/FileSource.h"

#include <gst/pbutils/pbutils.h>

#include <string_view>
#include <utility>

namespace velmaro::gstreamer {

namespace {

constexpr int kStillFramesPerSecond = 30;
/// A still picture that is not looped is shown for one second.
constexpr int kStillFramesOnce = 30;
/// Compressed frames that wait before the decoder: enough to bridge the seek at the loop's end.
constexpr guint kQueuedBuffers = 8;
/// More threads cost memory per thread and buy nothing at a video's own pace.
constexpr int kDecoderThreads = 2;

std::string_view mediaType(const GstCaps* caps) {
    return gst_structure_get_name(gst_caps_get_structure(caps, 0));
}

bool seekToStart(GstElement* pipeline, int flags) {
    return gst_element_seek(pipeline, 1.0, GST_FORMAT_TIME, static_cast<GstSeekFlags>(flags),
                            GST_SEEK_TYPE_SET, 0, GST_SEEK_TYPE_NONE, 0) != FALSE;
}

bool restart(GstElement* pipeline) {
    return gst_element_set_state(pipeline, GST_STATE_READY) != GST_STATE_CHANGE_FAILURE &&
           gst_element_set_state(pipeline, GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
}

}  // namespace

FileSource::FileSource(std::string path, Playback playback)
    : path_(std::move(path)), playback_(playback) {}

std::optional<Error> FileSource::build(GstBin* pipeline, FrameSink& sink) {
    bin_ = pipeline;
    sink_ = sink.element();
    GstElement* const file = gst_element_factory_make("filesrc", nullptr);
    GstElement* const decoder = gst_element_factory_make("decodebin", nullptr);
    converter_ = gst_element_factory_make("videoconvert", nullptr);
    flip_ = gst_element_factory_make("videoflip", nullptr);

    g_object_set(file, "location", path_.c_str(), nullptr);
    const CapsHandle pictures(gst_caps_from_string("video/x-raw(ANY)"));
    // Sound is not even decoded. Hardware decoders leave their pictures where reading is slow.
    g_object_set(decoder, "caps", pictures.get(), "expose-all-streams", FALSE, "force-sw-decoders",
                 TRUE, "max-size-buffers", kQueuedBuffers, nullptr);
    g_object_set(converter_, "n-threads", 1U, nullptr);
    gst_util_set_object_arg(G_OBJECT(flip_), "video-direction", "auto");

    g_signal_connect(decoder, "autoplug-continue", G_CALLBACK(autoplugContinue), this);
    g_signal_connect(decoder, "pad-added", G_CALLBACK(padAdded), this);
    g_signal_connect(decoder, "unknown-type", G_CALLBACK(unknownType), this);
    g_signal_connect(decoder, "deep-element-added", G_CALLBACK(elementAdded), this);

    gst_bin_add_many(pipeline, file, decoder, converter_, flip_, nullptr);
    gst_element_link(file, decoder);
    gst_element_link(converter_, flip_);
    return std::nullopt;
}

gboolean FileSource::autoplugContinue(GstElement* /*decoder*/, GstPad* /*pad*/, GstCaps* caps,
                                      gpointer self) {
    auto& source = *static_cast<FileSource*>(self);
    const std::string_view type = mediaType(caps);
    // The first question is about the file as a whole; a video may well hold JPEG pictures.
    if (!source.recognised_.exchange(true)) {
        source.isStill_.store(type.starts_with("image/"));
    }
    if (type.starts_with("audio/")) {
        source.sawSound_.store(true);
    }
    return TRUE;
}

void FileSource::padAdded(GstElement* /*decoder*/, GstPad* pad, gpointer self) {
    auto& source = *static_cast<FileSource*>(self);
    source.linkTail();
    const PadHandle input(gst_element_get_static_pad(source.converter_, "sink"));
    // A file may hold several videos; the first is the one to see.
    if (gst_pad_is_linked(input.get()) == FALSE) {
        gst_pad_link(pad, input.get());
    }
}

void FileSource::linkTail() {
    if (tailIsLinked_.exchange(true)) {
        return;
    }
    if (!isStill_.load()) {
        gst_element_link(flip_, sink_);
        return;
    }
    // Behind the conversion, so that the picture is converted once and then only shared.
    GstElement* const freeze = gst_element_factory_make("imagefreeze", nullptr);
    if (playback_ == Playback::once) {
        g_object_set(freeze, "num-buffers", kStillFramesOnce, nullptr);
    }
    gst_bin_add(bin_, freeze);
    const CapsHandle rate(gst_caps_new_simple("video/x-raw", "framerate", GST_TYPE_FRACTION,
                                              kStillFramesPerSecond, 1, nullptr));
    gst_element_link_filtered(freeze, sink_, rate.get());
    gst_element_link(flip_, freeze);
    gst_element_sync_state_with_parent(freeze);
}

void FileSource::unknownType(GstElement* /*decoder*/, GstPad* /*pad*/, GstCaps* caps,
                             gpointer self) {
    auto& source = *static_cast<FileSource*>(self);
    const std::string_view type = mediaType(caps);
    if (type.starts_with("video/") || type.starts_with("image/")) {
        const TextHandle name(gst_pb_utils_get_codec_description(caps));
        const std::lock_guard lock(source.mutex_);
        source.missingDecoder_ = name ? name.get() : std::string(type);
    }
}

void FileSource::elementAdded(GstBin* /*bin*/, GstBin* /*parent*/, GstElement* element,
                              gpointer /*self*/) {
    // The libav decoders and the VP8 and VP9 decoders take as many threads as there are cores.
    for (const char* property : {"max-threads", "threads"}) {
        if (g_object_class_find_property(G_OBJECT_GET_CLASS(element), property) != nullptr) {
            gst_util_set_object_arg(G_OBJECT(element), property,
                                    std::to_string(kDecoderThreads).c_str());
        }
    }
}

bool FileSource::preroll(GstElement* pipeline) {
    if (playback_ == Playback::once || isStill_.load() || sought_) {
        return true;
    }
    sought_ = true;
    // Only a seek turns the end of the file into the end of a segment, after which the next round
    // can follow without flushing.
    return !seekToStart(pipeline, GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_SEGMENT);
}

bool FileSource::goOn(GstElement* pipeline, GstMessageType end, bool hasStalled) {
    if (playback_ == Playback::once) {
        return false;
    }
    // Without the flag for segments the next end comes only after the last frame was due, so a
    // demuxer that cannot loop segments still keeps its pace, if not without a gap.
    return (end == GST_MESSAGE_SEGMENT_DONE && !hasStalled &&
            seekToStart(pipeline, GST_SEEK_FLAG_SEGMENT)) ||
           seekToStart(pipeline, GST_SEEK_FLAG_FLUSH) || restart(pipeline);
}

Error FileSource::explain(const GError& error) const {
    std::string text = reason(error);
    return {text, text};
}

std::string FileSource::reason(const GError& error) const {
    if (tailIsLinked_.load()) {
        return error.message;
    }
    const std::lock_guard lock(mutex_);
    if (!missingDecoder_.empty()) {
        return "no decoder for " + missingDecoder_ + " is installed";
    }
    if (sawSound_.load()) {
        return "it has no picture";
    }
    if (error.domain == GST_RESOURCE_ERROR) {
        return error.message;
    }
    return recognised_.load() && error.code != GST_STREAM_ERROR_WRONG_TYPE
               ? "it is damaged or incomplete"
               : "it is not a video or picture that can be played";
}

}  // namespace velmaro::gstreamer
