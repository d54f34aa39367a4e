#include "backends/cameras/CameraMonitor.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>
#include <vector>

#include "backends/cameras/CameraDescription.h"
#include "backends/cameras/PipeWireLink.h"
#include "backends/cameras/PipeWireSocket.h"
#include "backends/gstreamer/Library.h"

namespace velmaro::cameras {

namespace {

/// How long the end of a process waits for a thread that may hang.
constexpr std::chrono::milliseconds kPatienceAtTheEnd{1500};

/// The watcher's thread has it whenever it does not wait for events. The process may end only while
/// somebody else has it: loading a plug-in while the libraries are taken down is a crash.
std::binary_semaphore& turn() {
    static auto* const semaphore = new std::binary_semaphore(1);
    return *semaphore;
}

int waitForEvents(GPollFD* files, guint count, int timeout) {
    turn().release();
    const int ready = g_poll(files, count, timeout);
    const int error = errno;
    turn().acquire();
    errno = error;
    return ready;
}

/// Those that are there, in the order in which they came. PipeWire's provider has an order of its
/// own, which differs from release to release.
std::vector<gstreamer::DeviceHandle> inOrder(GstDeviceMonitor* monitor) {
    std::vector<gstreamer::DeviceHandle> devices;
    GList* const listed = gst_device_monitor_get_devices(monitor);
    for (GList* item = listed; item != nullptr; item = item->next) {
        devices.emplace_back(GST_DEVICE(item->data));
    }
    g_list_free(listed);
    std::ranges::stable_sort(devices, {}, [](const gstreamer::DeviceHandle& device) {
        return std::strtoull(serialNumber(device.get()).c_str(), nullptr, 10);
    });
    return devices;
}

}  // namespace

class CameraMonitor::Watcher {
public:
    /// The process's own, started by the first call. Never destroyed.
    static Watcher& shared();

    void subscribe(const std::shared_ptr<Subscriber>& subscriber);
    void unsubscribe(const std::shared_ptr<Subscriber>& subscriber);
    void waitUntilListed(Subscriber& subscriber, std::chrono::milliseconds limit);

    const std::shared_ptr<CameraRegistry> registry = std::make_shared<CameraRegistry>();

private:
    static gboolean busMessage(GstBus* bus, GstMessage* message, gpointer self);

    void run();
    void start();
    void stop();
    void handle(GstMessage* message);
    void tell(CameraChange change);

    // The thread's own.
    GMainContext* const context_ = g_main_context_new();
    gstreamer::ObjectHandle<GstDeviceMonitor> monitor_;
    GSource* busSource_ = nullptr;

    // Held while subscribers are called, which therefore only queue work.
    std::mutex mutex_;
    std::condition_variable listedChanged_;
    bool listed_ = false;
    std::vector<std::shared_ptr<Subscriber>> subscribers_;
    bool isParked_ = false;
};

CameraMonitor::Watcher& CameraMonitor::Watcher::shared() {
    static Watcher* const watcher = [] {
        auto* const made = new Watcher;
        std::thread([made] {
            pthread_setname_np(pthread_self(), "cameras");
            made->run();
        }).detach();
        return made;
    }();
    return *watcher;
}

void CameraMonitor::Watcher::run() {
    turn().acquire();
    g_main_context_set_poll_func(context_, waitForEvents);
    g_main_context_push_thread_default(context_);
    PipeWireLink link(context_, pipeWireSocket(),
                      {.appeared =
                           [this] {
                               stop();
                               // What is read without PipeWire may go on.
                               tell(registry->forgetAll());
                               start();
                           },
                       // The provider is not stopped yet: it handles the loss on a thread of its
                       // own.
                       .lost = [this] { tell(registry->removeAll()); },
                       .stayedAway =
                           [this] {
                               stop();
                               start();
                           }});
    const bool usable = !gstreamer::ensureLibrary();
    if (usable) {
        link.begin();
        start();
    }
    {
        const std::lock_guard lock(mutex_);
        listed_ = true;
    }
    listedChanged_.notify_all();
    if (usable) {
        // To the end of the process.
        for (;;) {
            g_main_context_iteration(context_, TRUE);
        }
    }
    g_main_context_pop_thread_default(context_);
    turn().release();
}

void CameraMonitor::Watcher::start() {
    // Each monitor that is stopped after PipeWire's end leaves its sockets behind, so one serves.
    if (!monitor_) {
        monitor_.reset(GST_DEVICE_MONITOR(gst_object_ref_sink(gst_device_monitor_new())));
        gst_device_monitor_add_filter(monitor_.get(), "Video/Source", nullptr);
    }
    const gstreamer::BusHandle bus(gst_device_monitor_get_bus(monitor_.get()));
    busSource_ = gst_bus_create_watch(bus.get());
    g_source_set_callback(busSource_, G_SOURCE_FUNC(busMessage), this, nullptr);
    g_source_attach(busSource_, context_);
    registry->open();
    gst_device_monitor_start(monitor_.get());
    for (const gstreamer::DeviceHandle& device : inOrder(monitor_.get())) {
        tell(registry->add(device.get()));
    }
}

// Only after PipeWire's daemon has gone, or while it is not in use.
void CameraMonitor::Watcher::stop() {
    // PipeWire's provider goes on using its devices after the stop has released them.
    GList* devices = nullptr;
    const gstreamer::ObjectHandle<GstDeviceProvider> provider(
        gst_device_provider_factory_get_by_name("pipewiredeviceprovider"));
    if (provider) {
        devices = gst_device_provider_get_devices(provider.get());
    }
    gst_device_monitor_stop(monitor_.get());
    g_list_free_full(devices, gst_object_unref);
    g_source_destroy(busSource_);
    g_source_unref(busSource_);
    busSource_ = nullptr;
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
            tell(registry->add(device));
            break;
        case GST_MESSAGE_DEVICE_REMOVED:
            gst_message_parse_device_removed(message, &device);
            tell(registry->remove(device));
            break;
        case GST_MESSAGE_DEVICE_CHANGED:
            gst_message_parse_device_changed(message, &device, &old);
            registry->replace(old, device);
            break;
        default:
            break;
    }
    gst_clear_object(&old);
    gst_clear_object(&device);
}

void CameraMonitor::Watcher::tell(CameraChange change) {
    if (change == CameraChange::none) {
        return;
    }
    const std::lock_guard lock(mutex_);
    for (const auto& subscriber : subscribers_) {
        if (subscriber->asked) {
            subscriber->onChange(change);
        }
    }
}

void CameraMonitor::Watcher::subscribe(const std::shared_ptr<Subscriber>& subscriber) {
    const std::lock_guard lock(mutex_);
    subscribers_.push_back(subscriber);
    if (isParked_) {
        isParked_ = false;
        turn().release();
    }
}

void CameraMonitor::Watcher::unsubscribe(const std::shared_ptr<Subscriber>& subscriber) {
    std::unique_lock lock(mutex_);
    std::erase(subscribers_, subscriber);
    if (!subscribers_.empty()) {
        return;
    }
    // The thread may need the mutex to come to its next wait.
    lock.unlock();
    const bool isParked = turn().try_acquire_for(kPatienceAtTheEnd);
    lock.lock();
    isParked_ = isParked;
}

void CameraMonitor::Watcher::waitUntilListed(Subscriber& subscriber,
                                             std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (!subscriber.asked) {
        listedChanged_.wait_for(lock, limit, [this] { return listed_; });
        subscriber.asked = true;
    }
}

CameraMonitor::CameraMonitor(OnChange onChange)
    : watcher_(Watcher::shared()),
      subscriber_(std::make_shared<Subscriber>(Subscriber{std::move(onChange)})) {
    watcher_.subscribe(subscriber_);
}

CameraMonitor::~CameraMonitor() {
    watcher_.unsubscribe(subscriber_);
}

const std::shared_ptr<CameraRegistry>& CameraMonitor::registry() const {
    return watcher_.registry;
}

void CameraMonitor::waitUntilListed(std::chrono::milliseconds limit) {
    watcher_.waitUntilListed(*subscriber_, limit);
}

}  // namespace velmaro::cameras
