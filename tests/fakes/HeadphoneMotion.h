#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/HeadphoneMotion.h"

namespace velmaro::fakes {

/// Headphones that are there, connect and move only when a test says so.
class ScriptedHeadphoneMotion : public HeadphoneMotion {
public:
    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> newDelegate) override {
        note("setDelegate");
        delegate = std::move(newDelegate);
    }
    [[nodiscard]] bool isDeviceMotionAvailable() const override {
        note("isDeviceMotionAvailable");
        return available;
    }
    [[nodiscard]] bool isDeviceMotionActive() const override { return active; }
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler newHandler) override {
        note("startDeviceMotionUpdates");
        if (onStart) {
            onStart();
        }
        ++startCount;
        active = true;
        startedOn = &queue;
        handler = std::move(newHandler);
    }
    void stopDeviceMotionUpdates() override {
        note("stopDeviceMotionUpdates");
        if (onStop) {
            onStop();
        }
        ++stopCount;
        active = false;
        handler = nullptr;
    }

    /// Calls the handler at once, on the current thread, if the motion was started.
    void deliver(const std::shared_ptr<const DeviceMotion>& sample,
                 const std::optional<Error>& error = std::nullopt) const {
        if (handler) {
            handler(sample, error);
        }
    }
    void deliver(const CMQuaternion& attitude) const {
        deliver(std::make_shared<const DeviceMotion>(DeviceMotion{{attitude}}));
    }

    void connect() const {
        if (const auto listener = delegate.lock()) {
            listener->headphoneMotionManagerDidConnect();
        }
    }
    void disconnect() const {
        if (const auto listener = delegate.lock()) {
            listener->headphoneMotionManagerDidDisconnect();
        }
    }

    void note(const char* call) const {
        if (trace) {
            trace->emplace_back(call);
        }
    }

    /// Where the calls are noted, if anywhere.
    std::vector<std::string>* trace = nullptr;
    /// Called while a start and a stop are under way.
    std::function<void()> onStart;
    std::function<void()> onStop;
    bool available = false;
    bool active = false;
    std::weak_ptr<HeadphoneMotionDelegate> delegate;
    DispatchQueue* startedOn = nullptr;
    Handler handler;
    int startCount = 0;
    int stopCount = 0;
};

}  // namespace velmaro::fakes
