#pragma once

#include <atomic>

#include "fakes/Eventually.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro::live {

using fakes::eventually;

class Listener : public HeadphoneMotionDelegate {
public:
    void headphoneMotionManagerDidConnect() override { ++connections; }
    void headphoneMotionManagerDidDisconnect() override { ++disconnections; }
    std::atomic<int> connections = 0;
    std::atomic<int> disconnections = 0;
};

}  // namespace velmaro::live
