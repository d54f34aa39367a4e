#include "backends/airpods/AirPods.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <span>
#include <system_error>
#include <utility>

namespace velmaro {
namespace {

/// No packet is longer than what a channel takes in.
constexpr std::size_t kLongestPacket = 4096;
constexpr int kMostAtOnce = 64;

std::string message(int error) {
    return std::generic_category().message(error);
}

}  // namespace

AirPods::AirPods(std::unique_ptr<AirPodsFinder> finder, Connect connect, Diagnostics& diagnostics,
                 const AngleSigns& signs, const AirPodsTiming& timing)
    : finder_(std::move(finder)),
      connect_(std::move(connect)),
      diagnostics_(diagnostics),
      timing_(timing),
      attitude_(signs) {}

void AirPods::run(MotionThread& thread) {
    handleFinding(thread);
    while (!thread.isEnding()) {
        handleRequest(thread);
        notifyReady(thread);
        std::array<pollfd, 2> files{
            {{channel_ ? channel_->get() : -1,
              static_cast<short>(stage_ == Stage::connecting ? POLLOUT : POLLIN), 0},
             {finder_->descriptor(), POLLIN, 0}}};
        std::optional<std::chrono::milliseconds> timeout;
        if (!isIdle()) {
            timeout = std::chrono::ceil<std::chrono::milliseconds>(due_ - Clock::now());
        }
        thread.wait(files, timeout);
        if (files[0].revents != 0 && stage_ == Stage::connecting) {
            handleConnection(files[0].revents, thread);
        } else if (files[0].revents != 0) {
            handlePackets(thread);
        }
        if (files[1].revents != 0) {
            handleFinding(thread);
        }
        if (!isIdle() && Clock::now() >= due_) {
            handleTimeout(thread);
        }
    }
    leave();
}

bool AirPods::isIdle() const {
    return stage_ == Stage::idle ? !finding_.address : stage_ == Stage::ready && request_ == 0;
}

void AirPods::notifyReady(MotionThread& thread) {
    if (!isReady_ && finding_.isComplete && (hasTried_ || !finding_.address)) {
        isReady_ = true;
        thread.notifyReady();
    }
}

void AirPods::connect(MotionThread& thread) {
    due_ = Clock::now() + timing_.answer;
    auto channel = connect_(*finding_.address);
    if (!channel) {
        close(channel.error().description, thread);
        return;
    }
    channel_.emplace(std::move(*channel));
    stage_ = Stage::connecting;
}

void AirPods::handleFinding(MotionThread& thread) {
    const AirPodsFinding earlier = std::exchange(finding_, finder_->find());
    if (finding_.address == earlier.address) {
        return;
    }
    leave();
    channel_.reset();
    stage_ = Stage::idle;
    due_ = Clock::now();
    service_ = AirPodsService::motion16;
    isServiceKnown_ = false;
    reported_.clear();
    hangUp_.reset();
    thread.setAvailable(false);
}

void AirPods::handleRequest(MotionThread& thread) {
    const std::uint64_t request = thread.request();
    if (stage_ != Stage::ready || request == request_) {
        return;
    }
    const bool wasRunning = std::exchange(request_, request) != 0;
    if (request == 0) {
        send(airPodsStop(service_));
    } else if (!wasRunning) {
        sendStart();
    }
}

void AirPods::handleTimeout(MotionThread& thread) {
    switch (stage_) {
        case Stage::idle:
            if (hangUp_) {
                report(*std::exchange(hangUp_, std::nullopt));
            }
            connect(thread);
            break;
        case Stage::connecting:
        case Stage::greeting:
            close("no answer", thread);
            break;
        case Stage::ready:
            // A model without this service stays silent, as do headphones that are not worn.
            if (!isServiceKnown_) {
                service_ = service_ == AirPodsService::motion16 ? AirPodsService::motion14
                                                                : AirPodsService::motion16;
            }
            sendStart();
            break;
    }
}

void AirPods::handleConnection(short events, MotionThread& thread) {
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(channel_->get(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0 || (events & POLLOUT) == 0) {
        close(error != 0 ? message(error) : "the connection was refused", thread);
        return;
    }
    stage_ = Stage::greeting;
    send(airPodsHandshake());
}

void AirPods::handlePackets(MotionThread& thread) {
    std::array<std::uint8_t, kLongestPacket> buffer;
    for (int i = 0; channel_ && i < kMostAtOnce; ++i) {
        const ssize_t size = ::recv(channel_->get(), buffer.data(), buffer.size(), 0);
        if (size > 0) {
            handlePacket({buffer.data(), static_cast<std::size_t>(size)}, thread);
        } else if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        } else {
            close(size == 0 ? "they hung up" : message(errno), thread);
        }
    }
}

void AirPods::handlePacket(std::span<const std::uint8_t> packet, MotionThread& thread) {
    if (stage_ == Stage::greeting) {
        if (isAirPodsHandshakeAnswer(packet)) {
            greet(thread);
        }
    } else if (request_ != 0) {
        if (const auto orientation = parseAirPodsMotion(packet)) {
            deliver(*orientation, thread);
        }
    }
}

void AirPods::greet(MotionThread& thread) {
    send(airPodsNotifications());
    stage_ = Stage::ready;
    reported_.clear();
    hasTried_ = true;
    request_ = 0;
    thread.setAvailable(true);
}

void AirPods::deliver(const AirPodsOrientation& orientation, MotionThread& thread) {
    isServiceKnown_ = true;
    due_ = Clock::now() + timing_.silence;
    if (frameOf_ != finding_.address) {
        frameOf_ = finding_.address;
        attitude_.forget();
        diagnostics_.report({.kind = Diagnostic::Kind::warning,
                             .subject = Diagnostic::Subject::headphones,
                             .text = "the AirPods have a new frame of reference",
                             .advice = "set the offset anew"});
    }
    thread.deliver(attitude_.attitude(orientation));
}

void AirPods::send(std::span<const std::uint8_t> packet) {
    // A packet that does not go out shows in the answer that does not come, or in the next read.
    [[maybe_unused]] const ssize_t sent =
        ::send(channel_->get(), packet.data(), packet.size(), MSG_NOSIGNAL);
}

void AirPods::sendStart() {
    due_ = Clock::now() + timing_.silence;
    send(airPodsStart(service_));
}

void AirPods::leave() {
    if (stage_ == Stage::ready && request_ != 0) {
        send(airPodsStop(service_));
    }
}

void AirPods::close(const std::string& why, MotionThread& thread) {
    channel_.reset();
    due_ = Clock::now() + timing_.retry;
    hasTried_ = true;
    if (std::exchange(stage_, Stage::idle) == Stage::ready && finder_->descriptor() >= 0) {
        hangUp_ = why;
    } else {
        report(why);
    }
    thread.setAvailable(false);
}

void AirPods::report(const std::string& why) {
    if (reported_ != why) {
        reported_ = why;
        diagnostics_.report(
            {.kind = Diagnostic::Kind::warning,
             .subject = Diagnostic::Subject::headphones,
             .text = "no motion from the AirPods (experimental): " + why + "; trying again"});
    }
}

}  // namespace velmaro
