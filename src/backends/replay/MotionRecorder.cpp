#include "backends/replay/MotionRecorder.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "backends/replay/MotionFile.h"

namespace velmaro {
namespace {

/// The smallest step that the file tells apart.
constexpr double kTimeStep = 1e-6;

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

}  // namespace

class MotionRecorder::Recording {
public:
    Recording(File file, std::filesystem::path path, MotionClock clock)
        : file_(std::move(file)), path_(std::move(path)), clock_(std::move(clock)) {
        // A line goes to the file at once and as a whole.
        std::setvbuf(file_.get(), nullptr, _IONBF, 0);
        write(motionFileBeginning());
    }

    void add(const CMQuaternion& attitude) {
        if (failed_) {
            return;
        }
        const double now = clock_().count();
        if (!beginning_) {
            beginning_ = now;
        }
        time_ = std::max(now - *beginning_, time_ + kTimeStep);
        write(motionFileLine({time_, attitude}));
    }

private:
    void write(std::string_view text) {
        if (std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size()) {
            length_ += static_cast<off_t>(text.size());
            return;
        }
        failed_ = true;
        std::cerr << "velmaro: the recording " << path_
                  << " ends here: " << std::generic_category().message(errno) << ".\n";
        // Without the part of a line that the disk still took.
        if (::ftruncate(::fileno(file_.get()), length_) != 0) {
            std::cerr << "velmaro: its last line is not whole; remove it before a replay.\n";
        }
    }

    File file_;
    std::filesystem::path path_;
    MotionClock clock_;
    std::optional<double> beginning_;
    double time_ = -kTimeStep;
    off_t length_ = 0;
    bool failed_ = false;
};

std::variant<std::unique_ptr<MotionRecorder>, Error> MotionRecorder::open(
    const std::filesystem::path& path, HeadphoneMotion& source, MotionClock clock) {
    File file(std::fopen(path.c_str(), "wxe"));
    if (!file) {
        const std::string why = errno == EEXIST ? "the file exists; remove it or name another"
                                                : std::generic_category().message(errno);
        return Error{.description = path.string() + ": " + why, .localizedDescription = why};
    }
    auto recording = std::make_shared<Recording>(std::move(file), path, std::move(clock));
    return std::unique_ptr<MotionRecorder>(new MotionRecorder(source, std::move(recording)));
}

MotionRecorder::MotionRecorder(HeadphoneMotion& source, std::shared_ptr<Recording> recording)
    : source_(source), recording_(std::move(recording)) {}

MotionRecorder::~MotionRecorder() {
    source_.stopDeviceMotionUpdates();
}

void MotionRecorder::setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
    source_.setDelegate(std::move(delegate));
}

bool MotionRecorder::isDeviceMotionAvailable() const {
    return source_.isDeviceMotionAvailable();
}

bool MotionRecorder::isDeviceMotionActive() const {
    return source_.isDeviceMotionActive();
}

void MotionRecorder::startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) {
    source_.startDeviceMotionUpdates(queue, [recording = recording_, handler = std::move(handler)](
                                                const std::shared_ptr<const DeviceMotion>& sample,
                                                const std::optional<Error>& error) {
        if (sample && !error) {
            recording->add(sample->attitude.quaternion);
        }
        handler(sample, error);
    });
}

void MotionRecorder::stopDeviceMotionUpdates() {
    source_.stopDeviceMotionUpdates();
}

}  // namespace velmaro
