#include "backends/gstreamer/Pipeline.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

namespace velmaro::gstreamer {

namespace {

/// A short clip may run around several times inside the decoder's queues before its next frame is
/// due. One that has ended this often without any frame has stalled, and later there are none.
constexpr int kRoundsToStall = 20;
constexpr int kRoundsToFail = 60;
/// How often the opening and the frames of a camera are looked after.
constexpr GstClockTime kLook = 500 * GST_MSECOND;
/// Opening a file takes milliseconds, seconds for a very large picture or on a network drive.
constexpr std::chrono::seconds kOpenLimit{10};

/// Whether this is a demuxer that has stopped reading and has found no stream.
bool hasEndedWithoutStreams(GstElement* element) {
    const PadHandle input(gst_element_get_static_pad(element, "sink"));
    if (!input || gst_pad_get_task_state(input.get()) != GST_TASK_PAUSED) {
        return false;
    }
    GST_OBJECT_LOCK(element);
    const bool hasStreams = element->numsrcpads > 0;
    GST_OBJECT_UNLOCK(element);
    return !hasStreams;
}

bool anyEndedWithoutStreams(GstBin* bin) {
    bool found = false;
    const std::unique_ptr<GstIterator, decltype(&gst_iterator_free)> elements(
        gst_bin_iterate_recurse(bin), gst_iterator_free);
    // What changes meanwhile is seen at the next look.
    gst_iterator_foreach(
        elements.get(),
        [](const GValue* element, gpointer any) {
            *static_cast<bool*>(any) |=
                hasEndedWithoutStreams(GST_ELEMENT(g_value_get_object(element)));
        },
        &found);
    return found;
}

}  // namespace

void Workers::add(const std::shared_ptr<Pipeline>& pipeline) {
    const std::lock_guard lock(mutex_);
    std::erase_if(pipelines_, [](const auto& known) { return known.expired(); });
    pipelines_.push_back(pipeline);
    ++running_;
}

void Workers::remove() {
    const std::lock_guard lock(mutex_);
    --running_;
    changed_.notify_all();
}

void Workers::closeAll(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    for (const auto& known : pipelines_) {
        if (const auto pipeline = known.lock()) {
            pipeline->close();
        }
    }
    changed_.wait_for(lock, limit, [this] { return running_ == 0; });
}

std::shared_ptr<Pipeline> Pipeline::open(std::unique_ptr<Source> source,
                                         CameraOrientation orientation,
                                         const std::shared_ptr<Workers>& workers) {
    auto pipeline = std::make_shared<Pipeline>(std::move(source), orientation);
    workers->add(pipeline);
    try {
        // Detached, because nobody may wait for a pipeline that hangs.
        std::thread([pipeline, workers]() mutable {
            pthread_setname_np(pthread_self(), "capture");
            pipeline->run();
            pipeline.reset();
            workers->remove();
        }).detach();
    } catch (const std::system_error&) {
        workers->remove();
        pipeline->fail(pipeline->source_->error("the system has no thread to spare"));
    }
    return pipeline;
}

Pipeline::Pipeline(std::unique_ptr<Source> source, CameraOrientation orientation)
    : slowStart_(source->slowStart()),
      noAnswer_(source->error("it does not answer")),
      source_(std::move(source)),
      sink_(source_->pace(), orientation),
      pipeline_(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr)))),
      bus_(gst_element_get_bus(pipeline_.get())) {
    gst_bin_add(GST_BIN(pipeline_.get()), sink_.element());
}

std::optional<Error> Pipeline::play(std::shared_ptr<NewestFrame> target,
                                    std::weak_ptr<PipelineListener> listener) {
    {
        const std::lock_guard lock(mutex_);
        if (stage_ == Stage::failed) {
            return error_;
        }
        target_ = std::move(target);
        listener_ = std::move(listener);
        sink_.setTarget(target_.get());
        playRequested_.store(true);
    }
    wake();
    return std::nullopt;
}

void Pipeline::giveUp() {
    fail(noAnswer_);
}

void Pipeline::close() {
    closeRequested_.store(true);
    wake();
}

// Before the pipeline has left its first state the bus drops messages. The requests are not lost:
// they are looked at between the change of state and the first wait.
void Pipeline::wake() {
    gst_bus_post(bus_.get(),
                 gst_message_new_application(nullptr, gst_structure_new_empty("request")));
}

void Pipeline::run() {
    if (!closeRequested_.load() && openSource()) {
        work();
    }
    gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
    // Nothing runs any more, so what the streaming threads used may go.
    pipeline_.reset();
    source_.reset();
    sink_.setTarget(nullptr);
    std::shared_ptr<NewestFrame> unused;
    const std::lock_guard lock(mutex_);
    unused.swap(target_);
}

bool Pipeline::openSource() {
    opened_ = FrameWatch::Clock::now();
    const auto lost = [weakSelf = weak_from_this()](const Error& error) {
        if (const auto self = weakSelf.lock()) {
            self->fail(error);
        }
    };
    if (const auto error = source_->build(GST_BIN(pipeline_.get()), sink_, lost)) {
        fail(*error);
        return false;
    }
    switch (gst_element_set_state(pipeline_.get(), GST_STATE_PAUSED)) {
        case GST_STATE_CHANGE_FAILURE:
            failFromBus();
            return false;
        case GST_STATE_CHANGE_NO_PREROLL:
            enter(Stage::ready);
            return true;
        default:
            return true;
    }
}

void Pipeline::work() {
    while (!closeRequested_.load() && stage_ != Stage::failed) {
        if (playRequested_.load() && stage_ == Stage::ready) {
            startPlaying();
            continue;
        }
        const MessageHandle message = nextMessage();
        if (message) {
            handle(message.get());
        }
        lookAfterOpening(message == nullptr);
        lookAfterFrames();
    }
}

MessageHandle Pipeline::nextMessage() {
    const bool watches = stage_ == Stage::opening ||
                         (stage_ == Stage::playing && source_->pace() == Pace::asTheyCome);
    return MessageHandle(gst_bus_timed_pop(bus_.get(), watches ? kLook : GST_CLOCK_TIME_NONE));
}

// decodebin keeps the error of a demuxer to itself that ends before it is linked, and opens for
// ever.
void Pipeline::lookAfterOpening(bool isQuiet) {
    if (stage_ != Stage::opening) {
        return;
    }
    // An error that is still under way says more than this.
    if (isQuiet && anyEndedWithoutStreams(GST_BIN(pipeline_.get()))) {
        const ErrorHandle kept(
            g_error_new(GST_STREAM_ERROR, GST_STREAM_ERROR_DEMUX, "it has no stream"));
        fail(source_->explain(*kept));
    } else if (FrameWatch::Clock::now() - opened_ > kOpenLimit) {
        fail(source_->error("it does not open in time and is probably damaged"));
    }
}

void Pipeline::lookAfterFrames() {
    if (stage_ != Stage::playing || source_->pace() != Pace::asTheyCome) {
        return;
    }
    const FrameFlow flow = frameWatch_.look(FrameWatch::Clock::now(), sink_.frames());
    if (flow == FrameFlow::unchanged) {
        return;
    }
    if (const auto error = source_->frameFlowChanged(flow)) {
        if (const auto told = listener()) {
            told->pipelineDisturbed(*this, *error);
        }
    }
}

void Pipeline::handle(GstMessage* message) {
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_ASYNC_DONE:
            if (stage_ == Stage::opening) {
                becomeReady();
            }
            break;
        case GST_MESSAGE_STATE_CHANGED: {
            GstState state = GST_STATE_NULL;
            gst_message_parse_state_changed(message, nullptr, &state, nullptr);
            if (stage_ == Stage::starting && state == GST_STATE_PLAYING &&
                GST_MESSAGE_SRC(message) == GST_OBJECT(pipeline_.get())) {
                becomePlaying();
            }
            break;
        }
        case GST_MESSAGE_EOS:
        case GST_MESSAGE_SEGMENT_DONE:
            reachEnd(GST_MESSAGE_TYPE(message));
            break;
        case GST_MESSAGE_ERROR: {
            GError* parsed = nullptr;
            gst_message_parse_error(message, &parsed, nullptr);
            const ErrorHandle error(parsed);
            fail(source_->explain(*error));
            break;
        }
        default:
            break;
    }
}

void Pipeline::becomeReady() {
    if (sink_.isAtEnd()) {
        fail(source_->error("it has no picture"));
    } else if (source_->preroll(pipeline_.get())) {
        enter(Stage::ready);
    }
}

void Pipeline::startPlaying() {
    enter(Stage::starting);
    if (gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        failFromBus();
    }
}

void Pipeline::becomePlaying() {
    enter(Stage::playing);
    frameWatch_.begin(FrameWatch::Clock::now());
    if (const auto told = listener()) {
        told->pipelineStarted(*this);
    }
    if (earlyEnd_ != GST_MESSAGE_UNKNOWN) {
        reachEnd(earlyEnd_);
    }
}

void Pipeline::reachEnd(GstMessageType end) {
    if (stage_ != Stage::playing) {
        // A seek would wait for the full queues to move, which they do not before playing.
        earlyEnd_ = end;
        return;
    }
    const std::uint64_t frames = sink_.frames();
    emptyRounds_ = frames == framesAtLastEnd_ ? emptyRounds_ + 1 : 0;
    framesAtLastEnd_ = frames;
    if (emptyRounds_ > kRoundsToFail) {
        fail(source_->error("it gives no more pictures"));
    } else if (!ended_ && !source_->goOn(pipeline_.get(), end, emptyRounds_ >= kRoundsToStall)) {
        ended_ = true;
        if (const auto wrong = source_->wrongEnd()) {
            fail(*wrong);
        } else if (const auto told = listener()) {
            told->pipelineEnded(*this);
        }
    }
}

void Pipeline::failFromBus() {
    const MessageHandle message(gst_bus_pop_filtered(bus_.get(), GST_MESSAGE_ERROR));
    if (message) {
        handle(message.get());
    } else {
        fail(source_->error("it cannot be opened"));
    }
}

void Pipeline::fail(const Error& error) {
    std::shared_ptr<PipelineListener> told;
    {
        const std::lock_guard lock(mutex_);
        if (stage_ == Stage::failed) {
            return;
        }
        stage_ = Stage::failed;
        error_ = error;
        told = listener_.lock();
    }
    wake();
    if (told) {
        told->pipelineFailed(*this, error);
    }
}

void Pipeline::enter(Stage stage) {
    const std::lock_guard lock(mutex_);
    if (stage_ != Stage::failed) {
        stage_ = stage;
    }
}

std::shared_ptr<PipelineListener> Pipeline::listener() {
    const std::lock_guard lock(mutex_);
    return closeRequested_.load() ? nullptr : listener_.lock();
}

}  // namespace velmaro::gstreamer
