#include <gst/gst.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace velmaro::gstreamer {
namespace {

/// Ends the libraries' threads that wait for more work when the last test has ended. The leak
/// detector does not see what such a thread keeps for itself.
class IdleThreads : public testing::Environment {
public:
    void TearDown() override {
        if (!gst_is_initialized()) {
            return;
        }
        gst_task_cleanup_all();
        g_thread_pool_stop_unused_threads();
        while (g_thread_pool_get_num_unused_threads() > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
};

[[maybe_unused]] const auto* const kIdleThreads =
    testing::AddGlobalTestEnvironment(new IdleThreads);

}  // namespace
}  // namespace velmaro::gstreamer
