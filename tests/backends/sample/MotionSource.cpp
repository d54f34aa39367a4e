#include "backends/sample/MotionSource.h"

#include <array>
#include <cstdlib>
#include <utility>

#include "backends/motion/AngleSigns.h"

namespace velmaro {
namespace {

constexpr std::array kOptions{
    SourceOption{.name = "--sample-turn",
                 .valueName = "DEGREES",
                 .description = "Be connected headphones that are turned to the right",
                 .choosesHeadphones = true},
};

class TurnedHeadphones final : public HeadphoneMotion {
public:
    explicit TurnedHeadphones(double degrees) : attitude_(attitudeFromAngles(degrees, 0, 0)) {}

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> /*delegate*/) override {}
    [[nodiscard]] bool isDeviceMotionAvailable() const override { return true; }
    [[nodiscard]] bool isDeviceMotionActive() const override { return isActive_; }
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) override {
        isActive_ = true;
        queue.async([handler = std::move(handler), attitude = attitude_] {
            handler(std::make_shared<const DeviceMotion>(DeviceMotion{{attitude}}), std::nullopt);
        });
    }
    void stopDeviceMotionUpdates() override { isActive_ = false; }

private:
    const CMQuaternion attitude_;
    bool isActive_ = false;
};

Result<std::unique_ptr<HeadphoneMotion>> make(const MotionSetup& setup) {
    const double degrees = std::atof(setup.value(kOptions[0].name, "0").c_str());
    if (degrees > 180) {
        return failure("no head turns that far");
    }
    return std::make_unique<TurnedHeadphones>(degrees);
}

}  // namespace

const MotionSource& sampleMotionSource() {
    static constexpr MotionSource kSource{.options = kOptions, .make = make};
    return kSource;
}

}  // namespace velmaro
