#include "backends/airpods/AirPods.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <span>
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

AirPods::AirPods(std::unique_ptr<AirPodsFinder> finder, Connect connect, const AngleSigns& signs,
                 const AirPodsTiming& timing)
    : finder_(std::move(finder)), connect_(std::move(connect)), timing_(timing), attitude_(signs) {}

void AirPods::run(MotionLink& link) {
    heedFinder(link);
    while (!link.isEnding()) {
        heedWish(link);
        settle(link);
        std::array<pollfd, 2> files{
            {{channel_ ? channel_->get() : -1,
              static_cast<short>(stage_ == Stage::connecting ? POLLOUT : POLLIN), 0},
             {finder_->descriptor(), POLLIN, 0}}};
        std::optional<std::chrono::milliseconds> timeout;
        if (!isIdle()) {
            timeout = std::chrono::ceil<std::chrono::milliseconds>(due_ - Clock::now());
        }
        link.wait(files, timeout);
        if (files[0].revents != 0) {
            heedChannel(files[0].revents, link);
        }
        if (files[1].revents != 0) {
            heedFinder(link);
        }
        if (!isIdle() && Clock::now() >= due_) {
            heedTime(link);
        }
    }
    leave();
}

bool AirPods::isIdle() const {
    return stage_ == Stage::idle ? !finding_.address : stage_ == Stage::ready && wish_ == 0;
}

void AirPods::settle(MotionLink& link) {
    if (!hasSettled_ && finding_.isComplete && (hasTried_ || !finding_.address)) {
        hasSettled_ = true;
        link.settle();
    }
}

void AirPods::connect() {
    due_ = Clock::now() + timing_.answer;
    auto channel = connect_(*finding_.address);
    if (const auto* const error = std::get_if<std::error_code>(&channel)) {
        close(error->message(), nullptr);
        return;
    }
    channel_.emplace(std::get<FileDescriptor>(std::move(channel)));
    stage_ = Stage::connecting;
}

void AirPods::heedFinder(MotionLink& link) {
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
    told_.clear();
    link.setAvailable(false);
}

void AirPods::heedWish(MotionLink& link) {
    const std::uint64_t wish = link.wish();
    if (stage_ != Stage::ready || wish == wish_) {
        return;
    }
    const bool wasRunning = std::exchange(wish_, wish) != 0;
    if (wish == 0) {
        send(airPodsStop(service_));
        return;
    }
    attitude_.forget();
    if (!wasRunning) {
        sendStart();
    }
}

void AirPods::heedTime(MotionLink& link) {
    switch (stage_) {
        case Stage::idle:
            connect();
            break;
        case Stage::connecting:
        case Stage::greeting:
            close("no answer", &link);
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

void AirPods::heedChannel(short events, MotionLink& link) {
    if (stage_ == Stage::connecting) {
        int error = 0;
        socklen_t size = sizeof error;
        ::getsockopt(channel_->get(), SOL_SOCKET, SO_ERROR, &error, &size);
        if (error != 0 || (events & POLLOUT) == 0) {
            close(error != 0 ? message(error) : "the connection was refused", &link);
            return;
        }
        stage_ = Stage::greeting;
        send(airPodsHandshake());
        return;
    }
    std::array<std::uint8_t, kLongestPacket> buffer;
    for (int i = 0; channel_ && i < kMostAtOnce; ++i) {
        const ssize_t size = ::recv(channel_->get(), buffer.data(), buffer.size(), 0);
        if (size > 0) {
            receive({buffer.data(), static_cast<std::size_t>(size)}, link);
        } else if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        } else {
            close(size == 0 ? "they hung up" : message(errno), &link);
        }
    }
}

void AirPods::receive(std::span<const std::uint8_t> packet, MotionLink& link) {
    if (stage_ == Stage::greeting && isAirPodsHandshakeAnswer(packet)) {
        send(airPodsNotifications());
        stage_ = Stage::ready;
        told_.clear();
        hasTried_ = true;
        wish_ = 0;
        attitude_.forget();
        link.setAvailable(true);
        return;
    }
    if (stage_ != Stage::ready || wish_ == 0) {
        return;
    }
    if (const auto orientation = parseAirPodsMotion(packet)) {
        isServiceKnown_ = true;
        due_ = Clock::now() + timing_.silence;
        link.deliver(attitude_.attitude(*orientation));
    }
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
    if (stage_ == Stage::ready && wish_ != 0) {
        send(airPodsStop(service_));
    }
}

void AirPods::close(const std::string& why, MotionLink* link) {
    channel_.reset();
    stage_ = Stage::idle;
    due_ = Clock::now() + timing_.retry;
    hasTried_ = true;
    if (told_ != why) {
        told_ = why;
        std::cerr << "velmaro: no motion from the AirPods (experimental): " + why +
                         "; trying again\n";
    }
    if (link != nullptr) {
        link->setAvailable(false);
    }
}

}  // namespace velmaro
