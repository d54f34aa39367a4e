// What one sample of the headphones costs from its arrival to the call that sends it.

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>

#include "headphones/HeadphoneMotionManager.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

class Queue : public DispatchQueue {
public:
    void async(Work work) override { work(); }
    void asyncAfter(std::chrono::duration<double> /*delay*/, Work work) override { work(); }
    [[nodiscard]] bool isCurrent() const override { return true; }
};

class Queues : public Dispatch {
public:
    DispatchQueue& mainQueue() override { return queue_; }
    DispatchQueue& globalQueue(QualityOfService /*quality*/) override { return queue_; }
    std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& /*label*/,
                                                   QualityOfService /*quality*/) override {
        return std::make_shared<Queue>();
    }

private:
    Queue queue_;
};

class Settings : public UserDefaults {
public:
    [[nodiscard]] std::string data(std::string_view /*key*/) const override { return {}; }
    void setData(std::string_view /*key*/, std::string_view /*bytes*/) override {}
};

class Silence : public Log {
public:
    void line(std::string_view /*text*/) override {}
};

class Headphones : public HeadphoneMotion {
public:
    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> /*delegate*/) override {}
    [[nodiscard]] bool isDeviceMotionAvailable() const override { return true; }
    [[nodiscard]] bool isDeviceMotionActive() const override { return handler != nullptr; }
    void startDeviceMotionUpdates(DispatchQueue& /*queue*/, Handler newHandler) override {
        handler = std::move(newHandler);
    }
    void stopDeviceMotionUpdates() override { handler = nullptr; }

    Handler handler;
};

void tracker_sample(benchmark::State& state) {
    Headphones headphones;
    Settings settings;
    Queues queues;
    Silence log;
    const auto tracker = HeadphoneMotionManager::create(headphones, settings, queues, log);
    float sum = 0;
    tracker->onMotionUpdate = [&sum](float pan, float tilt, float roll) {
        sum += pan + tilt + roll;
    };
    tracker->start();

    std::array<std::shared_ptr<const DeviceMotion>, 64> samples;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double turn = static_cast<double>(i) * std::numbers::pi / 90;
        samples[i] = std::make_shared<const DeviceMotion>(
            DeviceMotion{{CMQuaternion{0, 0, std::sin(turn), std::cos(turn)} *
                          CMQuaternion{std::sin(turn / 3), 0, 0, std::cos(turn / 3)}}});
    }
    headphones.handler(samples[1], std::nullopt);
    tracker->setOffset();

    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        headphones.handler(samples[next], std::nullopt);
        next = (next + 1) % samples.size();
    }
    benchmark::DoNotOptimize(sum);
}
BENCHMARK(tracker_sample)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace velmaro
