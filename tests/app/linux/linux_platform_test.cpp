#include <gtest/gtest.h>

#include <cstddef>

#include "Mailbox.h"
#include "app/linux/LinuxPlatform.h"
#include "fakes/Diagnostics.h"
#include "fakes/Dispatch.h"
#include "fakes/Eventually.h"

namespace velmaro {
namespace {

class LinuxPlatformTest : public testing::Test {
protected:
    /// For a source that needs no device.
    std::unique_ptr<System> makeSystem() {
        Options options;
        options.input = "camera_file:none";
        auto made = makeLinuxPlatform(options, mainQueue, telemetry, diagnostics);
        EXPECT_TRUE(made) << made.error().description;
        return made ? std::move(*made) : nullptr;
    }

    fakes::HandCrankedQueue mainQueue{"main"};
    Telemetry telemetry;
    fakes::CapturedDiagnostics diagnostics;
};

// As the frames' work does, which publishes angles on the main thread and sends after it.
TEST_F(LinuxPlatformTest, TheMainThreadDoesNotOvertakeTheWorkOfASerialQueue) {
    const auto system = makeSystem();
    ASSERT_TRUE(system);
    Dispatch& dispatch = system->doors().dispatch;
    const auto frames = dispatch.makeSerialQueue("frames", QualityOfService::userInitiated);
    const std::size_t before = mainQueue.pending();
    Mailbox<std::size_t> seen;
    frames->async([&] {
        dispatch.mainQueue().async([] {});
        seen.put(mainQueue.pending());
    });
    EXPECT_EQ(seen.take(), before) << "the main thread had it before the work ended";
    EXPECT_TRUE(fakes::eventually([&] { return mainQueue.pending() == before + 1; }));
    system->shutDown();
}

}  // namespace
}  // namespace velmaro
