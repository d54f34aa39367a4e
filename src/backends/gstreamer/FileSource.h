#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "backends/gstreamer/FileCamera.h"
#include "backends/gstreamer/Source.h"

namespace velmaro::gstreamer {

/// Plays a video file or a still picture at its own pace.
class FileSource : public Source {
public:
    FileSource(std::string path, Playback playback);

    [[nodiscard]] Pace pace() const override { return Pace::byTimestamp; }
    std::optional<Error> build(GstBin* pipeline, FrameSink& sink) override;
    bool preroll(GstElement* pipeline) override;
    bool goOn(GstElement* pipeline, GstMessageType end, bool hasStalled) override;
    [[nodiscard]] Error explain(const GError& error) const override;

private:
    static gboolean autoplugContinue(GstElement* decoder, GstPad* pad, GstCaps* caps,
                                     gpointer self);
    static void padAdded(GstElement* decoder, GstPad* pad, gpointer self);
    static void unknownType(GstElement* decoder, GstPad* pad, GstCaps* caps, gpointer self);
    static void elementAdded(GstBin* bin, GstBin* parent, GstElement* element, gpointer self);

    void linkTail();
    [[nodiscard]] std::string reason(const GError& error) const;

    const std::string path_;
    const Playback playback_;

    // Owned by the pipeline.
    GstBin* bin_ = nullptr;
    GstElement* converter_ = nullptr;
    GstElement* flip_ = nullptr;
    GstElement* sink_ = nullptr;

    bool sought_ = false;

    // What the streaming threads found out. No lock is held over a call into GStreamer, which
    // takes locks of its own on the way here.
    std::atomic<bool> recognised_ = false;
    std::atomic<bool> isStill_ = false;
    std::atomic<bool> tailIsLinked_ = false;
    std::atomic<bool> sawSound_ = false;
    mutable std::mutex mutex_;
    std::string missingDecoder_;
};

}  // namespace velmaro::gstreamer
