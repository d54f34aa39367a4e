#include "backends/log/LineWriter.h"

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <csignal>
#include <system_error>
#include <utility>

namespace velmaro {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Some thousand lines: what a slow reader may be behind.
constexpr std::size_t kMostPendingBytes = 1 << 18;
/// How long the end waits for a file that takes a little now and then, in patiences.
constexpr int kMostPatience = 10;
/// How often the end looks whether the file takes anything.
constexpr milliseconds kGlance{10};

constexpr steady_clock::time_point kNever = steady_clock::time_point::max();

bool isWritable(int descriptor, int timeout) {
    pollfd waiting{descriptor, POLLOUT, 0};
    return ::poll(&waiting, 1, timeout) != 0;
}

/// How much of `lines` to write with one call: whole lines, and no more than a pipe takes without
/// mixing it with what other processes write.
std::size_t pieceOf(std::string_view lines) {
    if (lines.size() <= PIPE_BUF) {
        return lines.size();
    }
    const std::size_t last = lines.rfind('\n', PIPE_BUF - 1);
    return (last != std::string_view::npos ? last : lines.find('\n')) + 1;
}

}  // namespace

/// The lines that wait, and the loop that writes them.
class LineWriter::Queue {
public:
    Queue(int descriptor, LossHandler onLoss)
        : descriptor_(descriptor), onLoss_(std::move(onLoss)) {}

    void push(std::string_view text) {
        const std::lock_guard lock(mutex_);
        // A single line may be longer than all the room there is.
        if (!pending_.empty() && pending_.size() + text.size() >= kMostPendingBytes) {
            ++lost_;
            return;
        }
        pending_ += text;
        pending_ += '\n';
        changed_.notify_all();
    }

    /// Until everything is written after `finish`.
    void run() {
        // Kept, so that in the long run no line allocates.
        std::string lines;
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return !pending_.empty() || isFinishing_; });
            if (pending_.empty() || isAbandoned_) {
                break;
            }
            lines.swap(pending_);
            lock.unlock();
            write(lines);
            lines.clear();
            lock.lock();
            reportLoss(lock);
        }
        hasEnded_ = true;
        changed_.notify_all();
    }

    void finish() {
        const std::lock_guard lock(mutex_);
        isFinishing_ = true;
        changed_.notify_all();
    }

    [[nodiscard]] bool waitForEnd(milliseconds patience) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [this] { return hasEnded_; });
    }

    /// No handler is called any more once this returns.
    void abandon() {
        std::unique_lock lock(mutex_);
        isAbandoned_ = true;
        changed_.wait(lock, [this] { return !isReporting_; });
    }

    [[nodiscard]] int descriptor() const { return descriptor_; }
    /// When the call of `write` that is under way began; `kNever` if there is none.
    [[nodiscard]] steady_clock::time_point busySince() const { return busySince_; }

private:
    void write(std::string_view lines) {
        while (!lines.empty() && !isAbandoned_) {
            busySince_ = steady_clock::now();
            const ssize_t count = ::write(descriptor_, lines.data(), pieceOf(lines));
            busySince_ = kNever;
            if (count >= 0) {
                lines.remove_prefix(static_cast<std::size_t>(count));
            } else if (errno == EAGAIN) {
                // Somebody who shares the file has set O_NONBLOCK.
                isWritable(descriptor_, -1);
            } else if (errno != EINTR) {
                return;
            }
        }
    }

    void reportLoss(std::unique_lock<std::mutex>& lock) {
        if (lost_ == 0 || !pending_.empty() || isAbandoned_) {
            return;
        }
        const std::size_t count = std::exchange(lost_, 0);
        isReporting_ = true;
        lock.unlock();
        onLoss_(count);
        lock.lock();
        isReporting_ = false;
        changed_.notify_all();
    }

    const int descriptor_;
    const LossHandler onLoss_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string pending_;
    std::size_t lost_ = 0;
    bool isFinishing_ = false;
    bool isReporting_ = false;
    bool hasEnded_ = false;
    std::atomic<bool> isAbandoned_ = false;
    std::atomic<steady_clock::time_point> busySince_ = kNever;
};

LineWriter::LineWriter(int descriptor, std::string threadName, LossHandler onLoss,
                       milliseconds patience)
    : threadName_(std::move(threadName)),
      patience_(patience),
      queue_(std::make_shared<Queue>(descriptor, std::move(onLoss))) {}

LineWriter::~LineWriter() {
    queue_->finish();
    if (!thread_.joinable() && isWritable(queue_->descriptor(), 0)) {
        queue_->run();
    }
    if (!thread_.joinable()) {
        return;
    }
    if (waitForTheEnd()) {
        thread_.join();
    } else {
        queue_->abandon();
        thread_.detach();
    }
}

void LineWriter::line(std::string_view text) {
    queue_->push(text);
    startThread();
}

void LineWriter::startThread() {
    const std::lock_guard lock(mutex_);
    if (thread_.joinable()) {
        return;
    }
    try {
        thread_ = std::thread([queue = queue_, name = threadName_] {
            pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
            // Signals are for the threads that expect them; a reader that leaves is an error of
            // `write` here and not the end of the process.
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_BLOCK, &all, nullptr);
            queue->run();
        });
    } catch (const std::system_error&) {
        // Tried again with the next line.
    }
}

bool LineWriter::waitForTheEnd() {
    const auto begin = steady_clock::now();
    // A file that has long been taking nothing gets less.
    auto lastWritable = std::clamp(queue_->busySince(), begin - patience_ * 2 / 3, begin);
    while (!queue_->waitForEnd(kGlance)) {
        const auto now = steady_clock::now();
        if (isWritable(queue_->descriptor(), 0)) {
            lastWritable = now;
        }
        if (now - lastWritable >= patience_ || now - begin >= kMostPatience * patience_) {
            return false;
        }
    }
    return true;
}

}  // namespace velmaro
