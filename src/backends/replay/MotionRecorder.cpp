#include "backends/replay/MotionRecorder.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "backends/replay/MotionFile.h"

namespace velmaro {
namespace {

/// The smallest step in time that the file keeps.
constexpr double kTimeStep = 1e-6;

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

}  // namespace

/// Used on the delivery queue; ends with the recorder or with the last delivery that is queued.
class MotionRecorder::Recording {
public:
    Recording(std::filesystem::path path, Diagnostics& diagnostics, std::function<void()> onFailure,
              MotionClock clock)
        : path_(std::move(path)),
          diagnostics_(diagnostics),
          onFailure_(std::move(onFailure)),
          clock_(std::move(clock)) {}

    void add(const CMQuaternion& attitude) {
        const double now = clock_().count();
        if (!beginning_) {
            beginning_ = now;
            begin();
        }
        time_ = std::max(now - *beginning_, time_ + kTimeStep);
        write(motionFileLine({time_, attitude}));
    }

    void end() const {
        if (!beginning_) {
            report(Diagnostic::Kind::warning, "nothing was recorded, since no motion came");
        }
    }

private:
    void begin() {
        file_.reset(std::fopen(path_.c_str(), "wxe"));
        if (!file_) {
            fail("cannot be made: " + lastError());
            return;
        }
        // A line goes to the file at once and as a whole.
        std::setvbuf(file_.get(), nullptr, _IONBF, 0);
        write(motionFileBeginning());
    }

    void write(std::string_view text) {
        if (!file_) {
            return;
        }
        if (std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size()) {
            length_ += static_cast<off_t>(text.size());
            return;
        }
        const std::string why = lastError();
        // Without the part of a line that the disk still took.
        if (::ftruncate(::fileno(file_.get()), length_) != 0) {
            report(Diagnostic::Kind::warning, "the last line of the recording is not whole",
                   "remove it before a replay");
        }
        file_.reset();
        fail("ends here: " + why);
    }

    void fail(const std::string& how) const {
        report(Diagnostic::Kind::failure, "the recording \"" + path_.string() + "\" " + how);
        if (onFailure_) {
            onFailure_();
        }
    }

    void report(Diagnostic::Kind kind, const std::string& text,
                const std::string& advice = {}) const {
        diagnostics_.report({.kind = kind,
                             .subject = Diagnostic::Subject::recording,
                             .text = text,
                             .advice = advice});
    }

    static std::string lastError() { return std::generic_category().message(errno); }

    const std::filesystem::path path_;
    Diagnostics& diagnostics_;
    const std::function<void()> onFailure_;
    const MotionClock clock_;
    File file_;
    std::optional<double> beginning_;
    double time_ = -kTimeStep;
    off_t length_ = 0;
};

Result<std::unique_ptr<MotionRecorder>> MotionRecorder::open(
    const std::filesystem::path& path, std::unique_ptr<HeadphoneMotion> source,
    Diagnostics& diagnostics, std::function<void()> onFailure, MotionClock clock) {
    const auto refusal = [&path](const std::string& why) {
        return tl::unexpected(
            Error{.description = path.string() + ": " + why, .localizedDescription = why});
    };
    std::error_code none;
    if (std::filesystem::exists(std::filesystem::symlink_status(path, none))) {
        return refusal("the file exists; remove it or name another");
    }
    // The file itself comes later, but a folder without room for it is a mistake now.
    if (::access((std::filesystem::absolute(path).parent_path() / ".").c_str(), W_OK | X_OK) != 0) {
        return refusal(std::generic_category().message(errno));
    }
    auto recording =
        std::make_shared<Recording>(path, diagnostics, std::move(onFailure), std::move(clock));
    return std::unique_ptr<MotionRecorder>(
        new MotionRecorder(std::move(source), std::move(recording)));
}

MotionRecorder::MotionRecorder(std::unique_ptr<HeadphoneMotion> source,
                               std::shared_ptr<Recording> recording)
    : source_(std::move(source)), recording_(std::move(recording)) {}

MotionRecorder::~MotionRecorder() {
    source_->stopDeviceMotionUpdates();
    recording_->end();
}

void MotionRecorder::setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
    source_->setDelegate(std::move(delegate));
}

bool MotionRecorder::isDeviceMotionAvailable() const {
    return source_->isDeviceMotionAvailable();
}

bool MotionRecorder::isDeviceMotionActive() const {
    return source_->isDeviceMotionActive();
}

void MotionRecorder::startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) {
    source_->startDeviceMotionUpdates(queue, [recording = recording_, handler = std::move(handler)](
                                                 const std::shared_ptr<const DeviceMotion>& sample,
                                                 const std::optional<Error>& error) {
        if (sample && !error) {
            recording->add(sample->attitude.quaternion);
        }
        handler(sample, error);
    });
}

void MotionRecorder::stopDeviceMotionUpdates() {
    source_->stopDeviceMotionUpdates();
}

}  // namespace velmaro
