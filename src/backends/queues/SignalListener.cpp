#include "backends/queues/SignalListener.h"

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <csignal>
#include <thread>
#include <utility>

#include "backends/queues/EventLoop.h"

namespace velmaro {
namespace {

/// Until the process ends. With the last set that holds it a signal gets its default effect back,
/// and there is no moment at which one could be ignored instead. Nobody waits at this set.
void keepFromDefaultEffect(int signal) {
    static auto& context = *new asio::io_context;
    static auto& signals = *new asio::signal_set(context);
    signals.add(signal);
}

}  // namespace

/// Waits on a thread of its own, so that it works beside any kind of main loop.
class SignalListener::Waiter {
public:
    Waiter(DispatchQueue& queue, std::initializer_list<int> signals,
           std::function<void(int)> handler)
        : queue_(queue), handler_(std::make_shared<const Handler>(std::move(handler))) {
        sigemptyset(&heard_);
        for (const int signal : signals) {
            keepFromDefaultEffect(signal);
            signals_.add(signal);
            sigaddset(&heard_, signal);
        }
        wait();
        thread_ = std::thread([this] {
            nameCurrentThread("signals");
            // Whoever blocks them in all threads means all others.
            pthread_sigmask(SIG_UNBLOCK, &heard_, nullptr);
            context_.run();
        });
    }

    ~Waiter() {
        context_.stop();
        thread_.join();
    }

    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

private:
    using Handler = std::function<void(int)>;

    void wait() {
        signals_.async_wait([this](const asio::error_code& error, int signal) {
            if (error) {
                return;
            }
            const std::weak_ptr<const Handler> weakHandler = handler_;
            queue_.async([weakHandler, signal] {
                if (const auto handler = weakHandler.lock()) {
                    (*handler)(signal);
                }
            });
            wait();
        });
    }

    DispatchQueue& queue_;
    std::shared_ptr<const Handler> handler_;
    asio::io_context context_{1};
    asio::signal_set signals_{context_};
    sigset_t heard_{};
    std::thread thread_;
};

SignalListener::SignalListener(DispatchQueue& queue, std::initializer_list<int> signals,
                               std::function<void(int)> handler)
    : waiter_(std::make_unique<Waiter>(queue, signals, std::move(handler))) {}

SignalListener::~SignalListener() = default;

}  // namespace velmaro
