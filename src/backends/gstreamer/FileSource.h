#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "backends/gstreamer/FileCamera.h"
#include "backends/gstreamer/FileHead.h"
#include "backends/gstreamer/FrameTimes.h"
#include "backends/gstreamer/Source.h"

namespace velmaro::gstreamer {

/// Plays a video file or a still picture at its own pace.
class FileSource : public Source {
public:
    FileSource(std::string path, Playback playback, FileHead head);

    /// The same for every file: its name is in the text for the log only.
    [[nodiscard]] static Error cannotPlay(const std::string& path, const std::string& reason);

    [[nodiscard]] Pace pace() const override { return Pace::byTimestamp; }
    std::optional<Error> build(GstBin* pipeline, FrameSink& sink, const Lost& lost) override;
    bool preroll(GstElement* pipeline) override;
    bool goOn(GstElement* pipeline, GstMessageType end, bool hasStalled) override;
    [[nodiscard]] std::optional<Error> wrongEnd() const override;
    [[nodiscard]] Error error(const std::string& reason) const override;
    [[nodiscard]] Error explain(const GError& error) const override;

private:
    static gboolean autoplugContinue(GstElement* decoder, GstPad* pad, GstCaps* caps,
                                     gpointer self);
    static void padAdded(GstElement* decoder, GstPad* pad, gpointer self);
    static void unknownType(GstElement* decoder, GstPad* pad, GstCaps* caps, gpointer self);
    static void elementAdded(GstBin* bin, GstBin* parent, GstElement* element, gpointer self);

    void linkTail();
    /// True if a picture of that size may be decoded; else it is remembered and told.
    bool accepts(const GstCaps* caps);
    [[nodiscard]] std::string reason(const GError& error) const;

    const std::string path_;
    const Playback playback_;
    const FileHead head_;

    // Owned by the pipeline.
    GstBin* bin_ = nullptr;
    GstElement* converter_ = nullptr;
    GstElement* flip_ = nullptr;
    GstElement* sink_ = nullptr;

    bool sought_ = false;
    std::int64_t size_ = 0;
    GstClockTime duration_ = GST_CLOCK_TIME_NONE;

    FrameTimes times_;
    // What the streaming threads found out. No lock is held over a call into GStreamer, which
    // takes locks of its own on the way here.
    std::atomic<bool> recognised_ = false;
    std::atomic<bool> isStill_ = false;
    std::atomic<bool> tailIsLinked_ = false;
    std::atomic<bool> sawSound_ = false;
    /// The demuxer is one that gives nothing after a seek, gives an error or forgets the pace.
    std::atomic<bool> cannotSeek_ = false;
    mutable std::mutex mutex_;
    std::string missingDecoder_;
    std::string tooLarge_;
};

}  // namespace velmaro::gstreamer
