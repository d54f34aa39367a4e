#pragma once

#include <gst/gst.h>

#include <functional>
#include <optional>
#include <string>

#include "backends/gstreamer/FrameSink.h"
#include "backends/gstreamer/FrameWatch.h"
#include "platform/Diagnostics.h"
#include "platform/Error.h"

namespace velmaro::gstreamer {

/// The beginning of a pipeline: where its frames come from and what happens at their end. Each
/// pipeline has its own. Called on the pipeline's worker thread; destroyed when nothing of the
/// pipeline runs any more.
class Source {
public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    virtual ~Source() = default;

    [[nodiscard]] virtual Pace pace() const = 0;

    /// What to tell people while the start takes long, if it may.
    [[nodiscard]] virtual std::optional<Diagnostic> slowStart() const { return std::nullopt; }

    /// To be called when the device has gone for good, on any thread: the worker itself may hang in
    /// a change of state for half a minute.
    using Lost = std::function<void(const Error&)>;

    /// Adds and links elements that lead to the element of `sink`, which is in the bin already.
    virtual std::optional<Error> build(GstBin* pipeline, FrameSink& sink, const Lost& lost) = 0;

    /// The pipeline has its first frame. False if it was sent to look for it anew.
    virtual bool preroll(GstElement* pipeline) = 0;

    /// The frames ended, told by a message of that type; `hasStalled` if none came although they
    /// went on several times. False if they do not go on.
    virtual bool goOn(GstElement* pipeline, GstMessageType end, bool hasStalled) = 0;

    /// Frames that come at their own pace halted, stopped or came again. The error to tell, if the
    /// playing is disturbed by it.
    virtual std::optional<Error> frameFlowChanged(FrameFlow /*flow*/) { return std::nullopt; }

    /// Why frames that ended did not end as they should have, if so.
    [[nodiscard]] virtual std::optional<Error> wrongEnd() const { return std::nullopt; }

    /// What is wrong, in words for people: of the pipeline, as "it cannot be opened".
    [[nodiscard]] virtual Error error(const std::string& reason) const = 0;
    /// An error of an element in words for people.
    [[nodiscard]] virtual Error explain(const GError& error) const = 0;
};

}  // namespace velmaro::gstreamer
