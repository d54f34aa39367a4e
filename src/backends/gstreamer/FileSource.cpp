#include "backends/gstreamer/FileSource.h"

#include <gst/pbutils/pbutils.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
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

/// How much of a video's end may be missing: an index may count one frame too many.
constexpr GstClockTime kTolerableGap = 100 * GST_MSECOND;

/// 0 if the file has gone.
std::int64_t sizeOf(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<std::int64_t>(size);
}

std::string seconds(GstClockTime time) {
    const auto tenths = (time + 50 * GST_MSECOND) / (100 * GST_MSECOND);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

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

FileSource::FileSource(std::string path, Playback playback, FileHead head)
    : path_(std::move(path)), playback_(playback), head_(std::move(head)) {}

Error FileSource::cannotPlay(const std::string& path, const std::string& reason) {
    return {"cannot play \"" + FileCamera::fromPath(path).uniqueID.substr(5) + "\": " + reason,
            reason};
}

std::optional<Error> FileSource::build(GstBin* pipeline, FrameSink& sink, const Lost& /*lost*/) {
    size_ = sizeOf(path_);
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
    // A video's own word about it comes as a tag; that of a picture was read before.
    g_object_set(flip_, "video-direction",
                 head_.orientation == GST_VIDEO_ORIENTATION_IDENTITY ? GST_VIDEO_ORIENTATION_AUTO
                                                                     : head_.orientation,
                 nullptr);
    const PadHandle decoded(gst_element_get_static_pad(converter_, "sink"));
    times_.watch(decoded.get());

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
    return source.accepts(caps) ? TRUE : FALSE;
}

bool FileSource::accepts(const GstCaps* caps) {
    int width = 0;
    int height = 0;
    const GstStructure* const structure = gst_caps_get_structure(caps, 0);
    gst_structure_get_int(structure, "width", &width);
    gst_structure_get_int(structure, "height", &height);
    const auto reason = whyTooLarge(width, height);
    if (!reason) {
        return true;
    }
    {
        const std::lock_guard lock(mutex_);
        tooLarge_ = *reason;
    }
    GST_ELEMENT_ERROR(converter_, STREAM, FAILED, ("%s", reason->c_str()), (nullptr));
    return false;
}

void FileSource::padAdded(GstElement* /*decoder*/, GstPad* pad, gpointer self) {
    auto& source = *static_cast<FileSource*>(self);
    const CapsHandle caps(gst_pad_get_current_caps(pad));
    if (caps && !source.accepts(caps.get())) {
        return;
    }
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
    const CapsHandle converted(gst_caps_from_string("video/x-raw, format=BGRA"));
    gst_element_link_filtered(flip_, freeze, converted.get());
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
                              gpointer self) {
    // Left alone, decoders are silent about frames that they cannot decode. Those of libav are fed
    // bare streams too, in pieces that need not be frames.
    const std::string_view kind = GST_OBJECT_NAME(gst_element_get_factory(element));
    if (kind.starts_with("avdemux_") || kind == "y4mdec") {
        static_cast<FileSource*>(self)->cannotSeek_.store(true);
    }
    if (static_cast<FileSource*>(self)->playback_ == Playback::once &&
        !kind.starts_with("avdec_") &&
        g_object_class_find_property(G_OBJECT_GET_CLASS(element), "max-errors") != nullptr) {
        g_object_set(element, "max-errors", 0, nullptr);
    }
    // The libav decoders and the VP8 and VP9 decoders take as many threads as there are cores.
    for (const char* property : {"max-threads", "threads"}) {
        if (g_object_class_find_property(G_OBJECT_GET_CLASS(element), property) != nullptr) {
            gst_util_set_object_arg(G_OBJECT(element), property,
                                    std::to_string(kDecoderThreads).c_str());
        }
    }
}

bool FileSource::preroll(GstElement* pipeline) {
    gint64 duration = 0;
    if (gst_element_query_duration(pipeline, GST_FORMAT_TIME, &duration) != FALSE && duration > 0) {
        duration_ = static_cast<GstClockTime>(duration);
    }
    if (playback_ == Playback::once || isStill_.load() || sought_ || cannotSeek_.load()) {
        return true;
    }
    sought_ = true;
    // Only a seek turns the end of the file into the end of a segment, after which the next round
    // can follow without flushing.
    return !seekToStart(pipeline, GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_SEGMENT);
}

bool FileSource::goOn(GstElement* pipeline, GstMessageType end, bool hasStalled) {
    if (playback_ == Playback::once || sizeOf(path_) < size_) {
        return false;
    }
    if (cannotSeek_.load()) {
        return restart(pipeline);
    }
    // Without the flag for segments the next end comes only after the last frame was due, so a
    // demuxer that cannot loop segments still keeps its pace, if not without a gap.
    return (end == GST_MESSAGE_SEGMENT_DONE && !hasStalled &&
            seekToStart(pipeline, GST_SEEK_FLAG_SEGMENT)) ||
           seekToStart(pipeline, GST_SEEK_FLAG_FLUSH) || restart(pipeline);
}

std::optional<Error> FileSource::wrongEnd() const {
    if (sizeOf(path_) < size_) {
        return error("it was cut off while it played");
    }
    if (head_.saidSize > size_) {
        return error("it is damaged or incomplete: it has " + std::to_string(size_) + " of " +
                     std::to_string(head_.saidSize) + " bytes");
    }
    // Sound may well go on behind the last picture.
    if (isStill_.load() || sawSound_.load() || !GST_CLOCK_TIME_IS_VALID(duration_)) {
        return std::nullopt;
    }
    const GstClockTime missing = duration_ - std::min(times_.end(), duration_);
    if (missing <= kTolerableGap || missing <= duration_ / 20) {
        return std::nullopt;
    }
    return error("it is damaged or incomplete: pictures of its last " + seconds(missing) + " of " +
                 seconds(duration_) + " seconds are missing");
}

Error FileSource::error(const std::string& reason) const {
    return cannotPlay(path_, reason);
}

Error FileSource::explain(const GError& problem) const {
    return error(reason(problem));
}

std::string FileSource::reason(const GError& error) const {
    const std::lock_guard lock(mutex_);
    if (!tooLarge_.empty()) {
        return tooLarge_;
    }
    if (tailIsLinked_.load()) {
        if (sizeOf(path_) < size_) {
            return "it was cut off while it played";
        }
        return error.domain != GST_RESOURCE_ERROR ? "it is damaged: " + std::string(error.message)
                                                  : error.message;
    }
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
