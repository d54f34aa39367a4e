#include "backends/glib/BusThread.h"

#include <gio/gunixfdlist.h>
#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>

namespace velmaro::glib {

namespace {

/// Without either, GLib would start a bus of its own where there is a display.
bool hasSessionBus() {
    if (const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        address != nullptr && *address != '\0') {
        return true;
    }
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    return folder != nullptr && std::filesystem::exists(folder + std::string("/bus"), error);
}

}  // namespace

/// A closure that GLib holds until it calls the function that destroys this.
template <typename Handler>
struct BusThread::Lent {
    Lent(BusThread& lender, Handler lentHandler) : thread(lender), handler(std::move(lentHandler)) {
        ++thread.lent_;
    }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;
    ~Lent() {
        // Before the count, after which the thread may be gone.
        handler = {};
        GMainContext* const context = g_main_context_ref(thread.context_.get());
        --thread.lent_;
        g_main_context_wakeup(context);
        g_main_context_unref(context);
    }

    static void destroy(gpointer self) { delete static_cast<Lent*>(self); }

    BusThread& thread;
    Handler handler;
};

struct BusThread::NameWatch {
    Work appeared;
    Work vanished;
};

BusThread::BusThread(std::string name, Bus bus, Client client, std::optional<std::string> address)
    : bus_(bus),
      client_(std::move(client)),
      address_(std::move(address)),
      context_(g_main_context_new()),
      loop_(g_main_loop_new(context_.get(), FALSE)),
      cancellable_(g_cancellable_new()),
      thread_([this, name = std::move(name)] { run(name); }) {}

BusThread::~BusThread() {
    isEnding_ = true;
    g_cancellable_cancel(cancellable_.get());
    // By way of the loop, which may not run yet.
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer loop) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        loop_.get(), nullptr);
    g_source_attach(source, context_.get());
    g_source_unref(source);
    thread_.join();
}

void BusThread::post(Work work) {
    {
        const std::lock_guard lock(postedMutex_);
        posted_.push_back(std::move(work));
    }
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer self) -> gboolean {
            static_cast<BusThread*>(self)->runPosted();
            return G_SOURCE_REMOVE;
        },
        this, nullptr);
    g_source_attach(source, context_.get());
    g_source_unref(source);
}

void BusThread::runPosted() {
    std::vector<Work> posted;
    {
        const std::lock_guard lock(postedMutex_);
        posted.swap(posted_);
    }
    for (const Work& work : posted) {
        if (!isEnding_) {
            work();
        }
    }
}

void BusThread::run(const std::string& name) {
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
    g_main_context_push_thread_default(context_.get());
    connect();
    client_.begin();
    g_main_loop_run(loop_.get());
    if (client_.end) {
        client_.end();
    }
    disconnect();
    g_main_context_pop_thread_default(context_.get());
}

TextHandle BusThread::findAddress() const {
    if (address_) {
        return TextHandle(g_strdup(address_->c_str()));
    }
    if (bus_ == Bus::session && !hasSessionBus()) {
        return nullptr;
    }
    return TextHandle(g_dbus_address_get_for_bus_sync(
        bus_ == Bus::session ? G_BUS_TYPE_SESSION : G_BUS_TYPE_SYSTEM, cancellable_.get(),
        nullptr));
}

void BusThread::connect() {
    const TextHandle address = findAddress();
    if (!address) {
        return;
    }
    connection_.reset(g_dbus_connection_new_for_address_sync(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, cancellable_.get(), nullptr));
}

void BusThread::disconnect() {
    if (!connection_) {
        return;
    }
    for (const unsigned watch : nameWatches_) {
        g_bus_unwatch_name(watch);
    }
    for (const unsigned subscription : subscriptions_) {
        g_dbus_connection_signal_unsubscribe(connection_.get(), subscription);
    }
    g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
    // Ends the calls that GLib made for itself and that nobody could cancel.
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
    while (lent_ > 0) {
        g_main_context_iteration(context_.get(), TRUE);
    }
    connection_.reset();
    while (g_main_context_iteration(context_.get(), FALSE) != FALSE) {
    }
}

bool BusThread::isConnected() const {
    return connection_ && g_dbus_connection_is_closed(connection_.get()) == FALSE;
}

std::string BusThread::ownName() const {
    return g_dbus_connection_get_unique_name(connection_.get());
}

void BusThread::call(const Method& method, GVariant* arguments, const CallOptions& options,
                     ReplyHandler onReply) {
    const auto ended = [](GObject* connection, GAsyncResult* result, gpointer lent) {
        const std::unique_ptr<Lent<ReplyHandler>> call(static_cast<Lent<ReplyHandler>*>(lent));
        GError* error = nullptr;
        const VariantHandle reply(
            g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
        const ErrorHandle held(error);
        if (!call->thread.isEnding_) {
            call->handler(reply.get(), error);
        }
    };
    g_dbus_connection_call(
        connection_.get(), method.destination, method.path, method.interface, method.name,
        arguments, options.replyType == nullptr ? nullptr : G_VARIANT_TYPE(options.replyType),
        options.startsService ? G_DBUS_CALL_FLAGS_NONE : G_DBUS_CALL_FLAGS_NO_AUTO_START,
        options.milliseconds, cancellable_.get(), ended,
        new Lent<ReplyHandler>(*this, std::move(onReply)));
}

void BusThread::callForDescriptor(const Method& method, GVariant* arguments,
                                  DescriptorHandler onDescriptor) {
    const auto ended = [](GObject* connection, GAsyncResult* result, gpointer lent) {
        const std::unique_ptr<Lent<DescriptorHandler>> call(
            static_cast<Lent<DescriptorHandler>*>(lent));
        GUnixFDList* list = nullptr;
        const VariantHandle reply(g_dbus_connection_call_with_unix_fd_list_finish(
            G_DBUS_CONNECTION(connection), &list, result, nullptr));
        const ObjectHandle<GUnixFDList> descriptors(list);
        if (call->thread.isEnding_) {
            return;
        }
        const bool isThere = reply && list != nullptr && g_unix_fd_list_get_length(list) == 1;
        call->handler(isThere ? g_unix_fd_list_get(list, 0, nullptr) : -1);
    };
    g_dbus_connection_call_with_unix_fd_list(
        connection_.get(), method.destination, method.path, method.interface, method.name,
        arguments, G_VARIANT_TYPE("(h)"), G_DBUS_CALL_FLAGS_NONE, CallOptions().milliseconds,
        nullptr, cancellable_.get(), ended,
        new Lent<DescriptorHandler>(*this, std::move(onDescriptor)));
}

void BusThread::callWithoutReply(const Method& method) {
    g_dbus_connection_call(connection_.get(), method.destination, method.path, method.interface,
                           method.name, nullptr, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1,
                           nullptr, nullptr, nullptr);
}

unsigned BusThread::subscribe(const Signal& signal, SignalHandler handler) {
    const auto came = [](GDBusConnection*, const char*, const char*, const char*, const char*,
                         GVariant* parameters, gpointer lent) {
        const auto& subscription = *static_cast<Lent<SignalHandler>*>(lent);
        if (!subscription.thread.isEnding_) {
            subscription.handler(parameters);
        }
    };
    subscriptions_.push_back(g_dbus_connection_signal_subscribe(
        connection_.get(), signal.sender, signal.interface, signal.name, signal.path,
        signal.firstArgument, G_DBUS_SIGNAL_FLAGS_NONE, came,
        new Lent<SignalHandler>(*this, std::move(handler)), Lent<SignalHandler>::destroy));
    return subscriptions_.back();
}

void BusThread::unsubscribe(unsigned number) {
    std::erase(subscriptions_, number);
    g_dbus_connection_signal_unsubscribe(connection_.get(), number);
}

void BusThread::watchName(const char* name, Work appeared, Work vanished) {
    const auto hasAppeared = [](GDBusConnection*, const char*, const char*, gpointer lent) {
        const auto& watch = *static_cast<Lent<NameWatch>*>(lent);
        if (!watch.thread.isEnding_) {
            watch.handler.appeared();
        }
    };
    const auto hasVanished = [](GDBusConnection*, const char*, gpointer lent) {
        const auto& watch = *static_cast<Lent<NameWatch>*>(lent);
        if (!watch.thread.isEnding_) {
            watch.handler.vanished();
        }
    };
    nameWatches_.push_back(g_bus_watch_name_on_connection(
        connection_.get(), name, G_BUS_NAME_WATCHER_FLAGS_NONE, hasAppeared, hasVanished,
        new Lent<NameWatch>(*this, {std::move(appeared), std::move(vanished)}),
        Lent<NameWatch>::destroy));
}

}  // namespace velmaro::glib
