#pragma once

#include <memory>

#include "platform/Capture.h"
#include "platform/Dispatch.h"
#include "platform/FaceLandmarks.h"
#include "platform/HeadphoneMotion.h"
#include "platform/Log.h"
#include "platform/Network.h"
#include "platform/NotificationCenter.h"
#include "platform/UserDefaults.h"
#include "platform/WallClock.h"

namespace velmaro {

/// All doors of one system, as the logic is given them. Whoever fills it in outlives the logic.
struct Platform {
    Dispatch& dispatch;
    NotificationCenter& notificationCenter;
    Capture& capture;
    FaceLandmarks& faceLandmarks;
    HeadphoneMotion& headphoneMotion;
    Network& network;
    UserDefaults& userDefaults;
    const WallClock& wallClock;
    Log& log;
};

}  // namespace velmaro
