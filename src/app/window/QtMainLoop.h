#pragma once

#include <QCoreApplication>

#include "app/MainLoop.h"
#include "app/window/QtMainQueue.h"

namespace velmaro {

/// Qt's event loop. Made and destroyed inside the life of the application object.
class QtMainLoop final : public MainLoop {
public:
    DispatchQueue& queue() override { return queue_; }
    void run() override { QCoreApplication::exec(); }
    void stop() override { QCoreApplication::quit(); }
    void close() override { queue_.close(); }

private:
    QtMainQueue queue_;
};

}  // namespace velmaro
