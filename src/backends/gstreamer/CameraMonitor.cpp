#include "backends/gstreamer/CameraMonitor.h"

#include <pthread.h>

#include <thread>
#include <utility>

#include "backends/gstreamer/Library.h"
#include "backends/gstreamer/PipeWireLink.h"

namespace velmaro::gstreamer {

namespace {

/// Ending takes milliseconds unless a daemon hangs.
constexpr std::chrono::milliseconds kEndLimit{1000};

struct ReleaseContext {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
struct ReleaseLoop {
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};

}  // namespace

class CameraMonitor::Watcher {
public:
    Watcher(std::shared_ptr<CameraRegistry> registry, OnChange onChange)
        : registry_(std::move(registry)),
          context_(g_main_context_new()),
          loop_(g_main_loop_new(context_.get(), FALSE)),
          onChange_(std::move(onChange)) {}

    void run();
    void end();
    void waitUntilListed(std::chrono::milliseconds limit);

private:
    static gboolean busMessage(GstBus* bus, GstMessage* message, gpointer self);
    static gboolean quit(gpointer self);

    void start();
    void stop();
    void handle(GstMessage* message);
    void tell(CameraChange change);
    void set(bool Watcher::*flag);

    const std::shared_ptr<CameraRegistry> registry_;
    const std::unique_ptr<GMainContext, ReleaseContext> context_;
    const std::unique_ptr<GMainLoop, ReleaseLoop> loop_;

    // The thread's own.
    ObjectHandle<GstDeviceMonitor> monitor_;
    GSource* busSource_ = nullptr;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool listed_ = false;
    bool asked_ = false;
    bool ended_ = false;

    std::mutex tellMutex_;
    OnChange onChange_;
};

void CameraMonitor::Watcher::run() {
    if (!ensureLibrary()) {
        g_main_context_push_thread_default(context_.get());
        {
            PipeWireLink link(context_.get(), PipeWireLink::socketOfEnvironment(),
                              {.appeared =
                                   [this] {
                                       stop();
                                       // What is read directly may go on.
                                       tell(registry_->forgetAll());
                                       start();
                                   },
                               .lost =
                                   [this] {
                                       stop();
                                       tell(registry_->removeAll());
                                   },
                               .stayedAway =
                                   [this] {
                                       if (!monitor_) {
                                           start();
                                       }
                                   }});
            link.begin();
            start();
            set(&Watcher::listed_);
            g_main_loop_run(loop_.get());
            stop();
        }
        g_main_context_pop_thread_default(context_.get());
    } else {
        set(&Watcher::listed_);
    }
    set(&Watcher::ended_);
}

void CameraMonitor::Watcher::start() {
    monitor_.reset(GST_DEVICE_MONITOR(gst_object_ref_sink(gst_device_monitor_new())));
    gst_device_monitor_add_filter(monitor_.get(), "Video/Source", nullptr);
    const BusHandle bus(gst_device_monitor_get_bus(monitor_.get()));
    busSource_ = gst_bus_create_watch(bus.get());
    g_source_set_callback(busSource_, G_SOURCE_FUNC(busMessage), this, nullptr);
    g_source_attach(busSource_, context_.get());
    gst_device_monitor_start(monitor_.get());
    GList* const devices = gst_device_monitor_get_devices(monitor_.get());
    for (GList* item = devices; item != nullptr; item = item->next) {
        tell(registry_->add(GST_DEVICE(item->data)));
    }
    g_list_free_full(devices, gst_object_unref);
}

void CameraMonitor::Watcher::stop() {
    if (!monitor_) {
        return;
    }
    gst_device_monitor_stop(monitor_.get());
    g_source_destroy(busSource_);
    g_source_unref(busSource_);
    busSource_ = nullptr;
    monitor_.reset();
}

gboolean CameraMonitor::Watcher::busMessage(GstBus* /*bus*/, GstMessage* message, gpointer self) {
    static_cast<Watcher*>(self)->handle(message);
    return G_SOURCE_CONTINUE;
}

void CameraMonitor::Watcher::handle(GstMessage* message) {
    GstDevice* device = nullptr;
    GstDevice* old = nullptr;
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_DEVICE_ADDED:
            gst_message_parse_device_added(message, &device);
            tell(registry_->add(device));
            break;
        case GST_MESSAGE_DEVICE_REMOVED:
            gst_message_parse_device_removed(message, &device);
            tell(registry_->remove(device));
            break;
        case GST_MESSAGE_DEVICE_CHANGED:
            gst_message_parse_device_changed(message, &device, &old);
            registry_->replace(old, device);
            break;
        default:
            break;
    }
    if (old != nullptr) {
        gst_object_unref(old);
    }
    if (device != nullptr) {
        gst_object_unref(device);
    }
}

void CameraMonitor::Watcher::tell(CameraChange change) {
    if (change == CameraChange::none) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        if (!asked_) {
            return;
        }
    }
    const std::lock_guard lock(tellMutex_);
    if (onChange_) {
        onChange_(change);
    }
}

void CameraMonitor::Watcher::set(bool Watcher::*flag) {
    const std::lock_guard lock(mutex_);
    this->*flag = true;
    changed_.notify_all();
}

void CameraMonitor::Watcher::waitUntilListed(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (!asked_) {
        changed_.wait_for(lock, limit, [this] { return listed_; });
        asked_ = true;
    }
}

gboolean CameraMonitor::Watcher::quit(gpointer self) {
    g_main_loop_quit(static_cast<Watcher*>(self)->loop_.get());
    return G_SOURCE_REMOVE;
}

void CameraMonitor::Watcher::end() {
    {
        const std::lock_guard lock(tellMutex_);
        onChange_ = nullptr;
    }
    GSource* const source = g_idle_source_new();
    g_source_set_callback(source, quit, this, nullptr);
    g_source_attach(source, context_.get());
    g_source_unref(source);
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kEndLimit, [this] { return ended_; });
}

CameraMonitor::CameraMonitor(std::shared_ptr<CameraRegistry> registry, OnChange onChange)
    : watcher_(std::make_shared<Watcher>(std::move(registry), std::move(onChange))) {
    std::thread([watcher = watcher_] {
        pthread_setname_np(pthread_self(), "cameras");
        watcher->run();
    }).detach();
}

CameraMonitor::~CameraMonitor() {
    watcher_->end();
}

void CameraMonitor::waitUntilListed(std::chrono::milliseconds limit) {
    watcher_->waitUntilListed(limit);
}

}  // namespace velmaro::gstreamer
