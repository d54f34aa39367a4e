#include "backends/cameras/LiveSource.h"

#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "backends/cameras/PipeWireSocket.h"
#include "backends/gstreamer/CameraFormat.h"

namespace velmaro::cameras {

namespace {

/// The camera's place in the error of an element: it has gone for good.
constexpr int kGone = GST_RESOURCE_ERROR_NOT_FOUND;

/// What ends a stream is most often the camera's loss, of which the list may learn a little later.
constexpr std::chrono::seconds kLossIsTold{1};

bool has(GstElement* element, const char* property) {
    return g_object_class_find_property(G_OBJECT_GET_CLASS(element), property) != nullptr;
}

GstElement* make(GstBin* pipeline, const char* factory) {
    GstElement* const element = gst_element_factory_make(factory, nullptr);
    if (element != nullptr) {
        gst_bin_add(pipeline, element);
    }
    return element;
}

/// PipeWire 1.4's reader waits for its stream to run, but not if that ran before the wait began:
/// then for half a minute and in vain. The wait needs a lock that is hard to get while the stream
/// is negotiated. So the stream runs this much after its format is known.
constexpr std::chrono::microseconds kWaitBegins{50'000};

GstPadProbeReturn holdFirstFormat(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer /*nothing*/) {
    if (GST_EVENT_TYPE(gst_pad_probe_info_get_event(info)) != GST_EVENT_CAPS) {
        return GST_PAD_PROBE_OK;
    }
    std::this_thread::sleep_for(kWaitBegins);
    return GST_PAD_PROBE_REMOVE;
}

/// Told to the pipeline's worker. Any thread.
void postGone(GstElement* element) {
    const gstreamer::ErrorHandle error(
        g_error_new_literal(GST_RESOURCE_ERROR, kGone, "it was disconnected"));
    gst_element_post_message(element,
                             gst_message_new_error(GST_OBJECT(element), error.get(), nullptr));
}

}  // namespace

Error absent(const CameraDescription& camera) {
    return {
        "the camera \"" + camera.localizedName + "\" (" + camera.uniqueID + ") is not connected",
        "the camera \"" + camera.localizedName + "\" is not connected"};
}

LiveSource::LiveSource(CameraDescription camera, std::shared_ptr<CameraRegistry> registry,
                       Diagnostics& diagnostics)
    : camera_(std::move(camera)), registry_(std::move(registry)), diagnostics_(diagnostics) {}

std::optional<Diagnostic> LiveSource::slowStart() const {
    return warning("has not answered for 2 seconds", "plug it in again, or choose another");
}

std::optional<Error> LiveSource::build(GstBin* pipeline, gstreamer::FrameSink& sink,
                                       const Lost& lost) {
    const gstreamer::DeviceHandle device = registry_->find(camera_.uniqueID);
    if (!device) {
        return absent(camera_);
    }
    const gstreamer::CapsHandle offered(gst_device_get_caps(device.get()));
    const gstreamer::CapsHandle format = gstreamer::chooseFormat(offered.get());
    if (!format) {
        return says("offers no format that can be used");
    }
    GstElement* const camera = gst_device_create_element(device.get(), nullptr);
    if (camera == nullptr) {
        return says("cannot be opened");
    }
    gst_bin_add(pipeline, camera);
    loss_ = std::make_shared<std::binary_semaphore>(0);
    use_ = registry_->use(device.get(), [lost, told = loss_, error = says("was disconnected")] {
        lost(error);
        told->release();
    });
    if (!use_) {
        return absent(camera_);
    }
    // The reader would see PipeWire's own memory, which goes with the camera.
    if (has(camera, "always-copy")) {
        g_object_set(camera, "always-copy", TRUE, nullptr);
    }
    if (has(camera, "client-name")) {
        g_object_set(camera, "client-name", "Velmaro", nullptr);
    }
    prepareReader(camera);
    return linkToSink(pipeline, camera, format.get(), sink);
}

// PipeWire's readers in one process share a connection, on which PipeWire 1.4 gives a new reader
// the number of one that is still being closed, whose end then takes the new one's memory away: a
// crash.
void LiveSource::prepareReader(GstElement* camera) {
    if (!has(camera, "fd")) {
        return;
    }
    const gstreamer::PadHandle pad(gst_element_get_static_pad(camera, "src"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, holdFirstFormat, nullptr,
                      nullptr);
    if (auto connection = connectToPipeWire(pipeWireSocket())) {
        connection_.emplace(std::move(*connection));
        g_object_set(camera, "fd", connection_->get(), nullptr);
    }
}

std::optional<Error> LiveSource::linkToSink(GstBin* pipeline, GstElement* camera, GstCaps* format,
                                            gstreamer::FrameSink& sink) {
    latest_.emplace(sink);
    GstElement* const latest = latest_->element();
    gst_bin_add(pipeline, latest);
    // Passes on what can be read as it is.
    GstElement* const converter = make(pipeline, "videoconvert");
    g_object_set(converter, "n-threads", 1U, nullptr);
    GstElement* first = converter;
    const GstStructure* const structure = gst_caps_get_structure(format, 0);
    if (gst_structure_has_name(structure, "image/jpeg") != FALSE) {
        first = make(pipeline, "jpegdec");
        if (first == nullptr) {
            const std::string text =
                "GStreamer's element \"jpegdec\" is missing: install its "
                "good plug-ins";
            return Error{text, text};
        }
        gst_element_link(first, converter);
    }
    if (gst_element_link_filtered(camera, latest, format) == FALSE ||
        gst_element_link(latest, first) == FALSE ||
        gst_element_link(converter, sink.element()) == FALSE) {
        return says("cannot be connected to");
    }
    return std::nullopt;
}

bool LiveSource::preroll(GstElement* /*pipeline*/) {
    return true;
}

bool LiveSource::goOn(GstElement* pipeline, GstMessageType /*end*/, bool /*hasStalled*/) {
    // A camera has no end but its loss.
    postGone(pipeline);
    return true;
}

std::optional<Error> LiveSource::frameFlowChanged(gstreamer::FrameFlow flow) {
    switch (flow) {
        case gstreamer::FrameFlow::halted:
            diagnostics_.report(warning("has given no picture for 2 seconds",
                                        "open its shutter, or plug it in again"));
            return std::nullopt;
        case gstreamer::FrameFlow::resumed:
            diagnostics_.report({Diagnostic::Kind::hint, Diagnostic::Subject::camera,
                                 named("gives pictures again"), ""});
            return std::nullopt;
        case gstreamer::FrameFlow::stopped:
            return says("gives no more pictures");
        case gstreamer::FrameFlow::unchanged:
            break;
    }
    return std::nullopt;
}

Error LiveSource::error(const std::string& reason) const {
    return says("cannot be used: " + reason);
}

Error LiveSource::explain(const GError& reason) const {
    if (reason.domain == GST_RESOURCE_ERROR) {
        switch (reason.code) {
            case kGone:
                return says("was disconnected");
            case GST_RESOURCE_ERROR_BUSY:
                return says("is busy: another program uses it");
            case GST_RESOURCE_ERROR_READ:
                return says("gives no more pictures: it was probably disconnected");
            case GST_RESOURCE_ERROR_OPEN_READ:
            case GST_RESOURCE_ERROR_OPEN_READ_WRITE:
                return says("cannot be opened: " + std::string(reason.message));
            default:
                break;
        }
    }
    if (loss_ && loss_->try_acquire_for(kLossIsTold)) {
        return says("was disconnected");
    }
    return error(reason.message);
}

std::string LiveSource::named(const std::string& predicate) const {
    return "the camera \"" + camera_.localizedName + "\" " + predicate;
}

Diagnostic LiveSource::warning(const std::string& predicate, const std::string& advice) const {
    return {Diagnostic::Kind::warning, Diagnostic::Subject::camera, named(predicate), advice};
}

Error LiveSource::says(const std::string& predicate) const {
    const std::string text = named(predicate);
    return {text, text};
}

}  // namespace velmaro::cameras
