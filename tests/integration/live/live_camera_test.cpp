#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>

#include "../../backends/gstreamer/Rig.h"
#include "PipeWireSession.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using gstreamer::CaptureOptions;
using gstreamer::test::eventually;
using gstreamer::test::Rig;
using namespace std::chrono_literals;

class LiveCamera : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string missing = PipeWireSession::missing(); !missing.empty()) {
            GTEST_SKIP() << "no virtual cameras without " << missing;
        }
        session = std::make_unique<PipeWireSession>();
        ASSERT_TRUE(session->isReady());
        // For the captures of this process; each test has one of its own.
        for (const auto& [name, value] : session->environment()) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }

    [[nodiscard]] Finished run(const std::vector<std::string>& arguments) const {
        return runProgram(arguments, session->environment());
    }

    std::unique_ptr<PipeWireSession> session;
};

CaptureOptions live() {
    CaptureOptions options;
    options.liveCameraPatience = 5s;
    return options;
}

TEST_F(LiveCamera, IsListedOnceBehindTheFilesAndWithoutItsInfraredTwin) {
    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(session->plugIn("infrared", "GRAY8"));
    // The first look at GStreamer's plug-ins is slow and not what is tested.
    (void)run({"--list-inputs"});
    EXPECT_EQ(run({"--list-inputs"}).output, "camera_front\tCamera-front\n");
    const Finished both = run({"--list-inputs", "--demo"});
    EXPECT_EQ(both.output, "camera_demo\tDemonstration\ncamera_front\tCamera-front\n");
    EXPECT_EQ(both.errors, "");
    EXPECT_EQ(both.status, 0);
}

TEST_F(LiveCamera, TurnsAHeadIntoDatagrams) {
    // A file is no live source, as a camera is one, but its first picture can be held as one.
    ASSERT_TRUE(session->plugIn("clip", "YUY2",
                                "filesrc location=" VELMARO_DEMO
                                "/demo.webm ! decodebin ! imagefreeze is-live=true"
                                " ! video/x-raw,framerate=30/1"));
    const Receiver receiver;
    Program program({"--input", "camera_clip", "--port", receiver.port()}, session->environment());
    ASSERT_TRUE(receiver.waitFor(40)) << program.output() << program.errors();
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    for (const Receiver::Message& message : receiver.messages()) {
        EXPECT_EQ(message.address, "/ypr");
        EXPECT_EQ(message.types, "fff");
        EXPECT_LT(std::abs(message.values.at(0)), 90.0F);
    }
}

TEST_F(LiveCamera, LossAndReturnAreToldWhileTheProgramRuns) {
    ASSERT_TRUE(session->plugIn("front"));
    Program program({"--input", "camera_front"}, session->environment());
    ASSERT_TRUE(program.waitForOutput("Session started running")) << program.errors();
    ASSERT_TRUE(session->unplug("front"));
    EXPECT_TRUE(program.waitForOutput(
        "❌ Capture session runtime error: the camera \"Camera-front\" was disconnected\n"));
    EXPECT_TRUE(program.waitForOutput("📷 Found 0 cameras:\n"));
    ASSERT_TRUE(session->plugIn("front"));
    EXPECT_TRUE(eventually([&] {
        const std::string output = program.output();
        return output.rfind("📷 Found 1 cameras:\n  - Camera-front") >
               output.find("📷 Found 0 cameras:\n");
    }));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(LiveCamera, StartsAgainAfterItsReturnAndFailsAtOnceBefore) {
    ASSERT_TRUE(session->plugIn("front"));
    Rig rig(live());
    const auto camera = rig.device();
    ASSERT_EQ(camera->uniqueID(), "front");
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(rig.session->isRunning());
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 10; }));

    ASSERT_TRUE(session->unplug("front"));
    ASSERT_TRUE(eventually([&] { return !rig.session->isRunning(); }));
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_EQ(rig.errors()[0].localizedDescription, "the camera \"Camera-front\" was disconnected");
    const auto absent = rig.capture->makeDeviceInput(camera);
    ASSERT_TRUE(std::holds_alternative<Error>(absent));
    EXPECT_EQ(std::get<Error>(absent).localizedDescription,
              "the camera \"Camera-front\" is not connected");

    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(eventually([&] { return rig.isListed(); }));
    EXPECT_EQ(rig.device(), camera);
    const std::size_t before = rig.recorder->count();
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= before + 10; }));
}

TEST_F(LiveCamera, ComesBackWithANewDaemon) {
    ASSERT_TRUE(session->plugIn("front"));
    Rig rig(live());
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 10; }));
    ASSERT_TRUE(session->killDaemons());
    EXPECT_TRUE(eventually([&] { return !rig.session->isRunning(); }));
    EXPECT_TRUE(eventually([&] { return !rig.isListed(); }));
    ASSERT_TRUE(session->startDaemons());
    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(eventually([&] { return rig.isListed(); }));
    const std::size_t before = rig.recorder->count();
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= before + 10; }));
}

}  // namespace
}  // namespace velmaro::integration
