#pragma once

#include <gio/gio.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "backends/glib/Handles.h"

namespace velmaro::glib {

/// A thread that talks on a message bus for one client, on a connection of its own: the one that a
/// process shares would end the process when the bus ends.
///
/// Everything below is used on this thread, and every closure is called there, except where noted.
/// The client holds it as a direct member behind all that its closures use.
class BusThread {
public:
    enum class Bus { session, system };

    struct Method {
        const char* destination;
        const char* path;
        const char* interface;
        const char* name;
    };
    /// Which signals; null takes them all.
    struct Signal {
        const char* sender;
        const char* interface;
        const char* name;
        const char* path = nullptr;
        const char* firstArgument = nullptr;
    };
    struct CallOptions {
        /// What the answer must look like, such as "(o)"; null takes any.
        const char* replyType = nullptr;
        bool startsService = true;
        /// How long the answer may take.
        int milliseconds = 10'000;
    };
    struct Client {
        /// Called first of all, connected or not.
        std::function<void()> begin;
        /// Called last of all, connected or not, to take back what the client has asked of others;
        /// may be empty.
        std::function<void()> end;
    };
    using Work = std::function<void()>;
    /// One of the two is null. Neither is the receiver's to keep.
    using ReplyHandler = std::function<void(GVariant* reply, const GError* error)>;
    using DescriptorHandler = std::function<void(int descriptor)>;
    using SignalHandler = std::function<void(GVariant* parameters)>;

    /// Starts the thread, which connects to `bus`, or to the one at `address` if there is one.
    /// Throws std::system_error if the system has no thread left.
    BusThread(std::string name, Bus bus, Client client,
              std::optional<std::string> address = std::nullopt);
    BusThread(const BusThread&) = delete;
    BusThread& operator=(const BusThread&) = delete;
    /// No closure but the client's `end` begins once this has begun, and none is left when it
    /// returns. It waits for no answer. On another thread.
    ~BusThread();

    /// Runs `work` after the client's `begin`; destroys it without running if the end comes first.
    /// Any thread.
    void post(Work work);

    [[nodiscard]] bool isConnected() const;
    /// What the bus calls this connection.
    [[nodiscard]] std::string ownName() const;

    /// Calls a method; `arguments` may be floating. `onReply` is called once. Connected only.
    void call(const Method& method, GVariant* arguments, const CallOptions& options,
              ReplyHandler onReply);
    /// Calls a method that answers with one open descriptor and nothing else, which is the
    /// receiver's to close; -1 if it does not. `onDescriptor` is called once, unless the end comes
    /// first. Connected only.
    void callForDescriptor(const Method& method, GVariant* arguments,
                           DescriptorHandler onDescriptor);
    /// The same where nobody wants the answer; possible in the client's `end` too.
    void callWithoutReply(const Method& method);

    /// Calls `handler` for each such signal; the number ends that. Connected only.
    unsigned subscribe(const Signal& signal, SignalHandler handler);
    /// May be called by the handler itself.
    void unsubscribe(unsigned number);

    /// Tells whether somebody on the bus has that name, first of all what is so now, and when that
    /// changes. A name that is there vanishes with its bus. Connected only.
    void watchName(const char* name, Work appeared, Work vanished);

private:
    template <typename Handler>
    struct Lent;
    struct NameWatch;

    void run(const std::string& name);
    void runPosted();
    void connect();
    void disconnect();
    [[nodiscard]] TextHandle findAddress() const;

    const Bus bus_;
    const Client client_;
    const std::optional<std::string> address_;
    const ContextHandle context_;
    const LoopHandle loop_;
    const ObjectHandle<GCancellable> cancellable_;
    std::atomic<bool> isEnding_ = false;
    // Handed over under a lock of ours: the thread sanitizer does not see those of GLib.
    std::mutex postedMutex_;
    std::vector<Work> posted_;

    // The thread's own.
    ObjectHandle<GDBusConnection> connection_;
    std::vector<unsigned> subscriptions_;
    std::vector<unsigned> nameWatches_;
    /// Closures that GLib holds. It gives them back through the context, some on its own thread.
    std::atomic<int> lent_ = 0;

    std::thread thread_;
};

}  // namespace velmaro::glib
