#pragma once

#include <QMenu>
#include <functional>

#include "receivers/Receivers.h"

namespace velmaro {

/// What the window's menu can do. What is not set is not offered.
struct MenuActions {
    std::function<void(const Receiver&)> chooseReceiver;
    std::function<void()> keepSettings;
    std::function<void()> forgetPose;
    std::function<void()> showMessages;
    std::function<void()> openLog;
    std::function<void()> quit;
};

/// Adds everything in `actions`, and what the program is, to `menu`.
void fillMenu(QMenu& menu, const MenuActions& actions);

}  // namespace velmaro
