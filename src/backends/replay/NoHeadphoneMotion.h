#pragma once

#include <memory>

#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// Headphones that are never there.
class NoHeadphoneMotion : public HeadphoneMotion {
public:
    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> /*delegate*/) override {}
    [[nodiscard]] bool isDeviceMotionAvailable() const override { return false; }
    [[nodiscard]] bool isDeviceMotionActive() const override { return false; }
    void startDeviceMotionUpdates(DispatchQueue& /*queue*/, Handler /*handler*/) override {}
    void stopDeviceMotionUpdates() override {}
};

}  // namespace velmaro
