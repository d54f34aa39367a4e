#include "app/linux/LinuxPlatform.h"
#include "backends/queues/AsioMainQueue.h"

namespace velmaro {
namespace {

class AsioMainLoop final : public MainLoop {
public:
    DispatchQueue& queue() override { return queue_; }
    void run() override { queue_.run(); }
    void stop() override { queue_.stop(); }
    void close() override { queue_.close(); }

private:
    AsioMainQueue queue_;
};

}  // namespace

std::unique_ptr<MainLoop> makeMainLoop() {
    return std::make_unique<AsioMainLoop>();
}

}  // namespace velmaro
