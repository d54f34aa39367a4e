#include <gtest/gtest.h>

#include "../gstreamer/Rig.h"
#include "ScriptedDevice.h"
#include "backends/cameras/LiveDevice.h"
#include "backends/cameras/LiveSource.h"

namespace velmaro::cameras {
namespace {

using namespace gstreamer;
using namespace gstreamer::test;
using test::kColour;
using test::scriptedDevice;

/// A camera whose device is scripted, in a capture that finds none by itself.
struct Camera {
    Camera(const std::string& caps, const std::string& content)
        : device(scriptedDevice("node.name=a", caps, "Video/Source", content)) {
        registry->add(device.get());
    }
    [[nodiscard]] std::shared_ptr<PlayableDevice> listed() {
        return makeLiveDevice({"a", "Name"}, registry, rig.diagnostics);
    }

    const std::shared_ptr<CameraRegistry> registry = std::make_shared<CameraRegistry>();
    const DeviceHandle device;
    Rig rig{CaptureOptions{}};
};

std::string explained(GQuark domain, int code) {
    fakes::CapturedDiagnostics diagnostics;
    const LiveSource source({"a", "Name"}, std::make_shared<CameraRegistry>(), diagnostics);
    const ErrorHandle error(g_error_new_literal(domain, code, "reason"));
    return source.explain(*error).localizedDescription;
}

TEST(LiveSource, EveryFrameIsDeliveredOrToldAsDroppedHoweverFastTheyCome) {
    // A picture that is only shared, so that its frames come much faster than they are converted.
    Camera camera("video/x-raw,format=I420,width=1280,height=720,framerate=10000/1",
                  "videotestsrc num-buffers=1 ! video/x-raw,format=I420,width=1280,height=720"
                  " ! imagefreeze is-live=true num-buffers=600");
    Rig& rig = camera.rig;
    ASSERT_EQ(rig.setUp(camera.listed()), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() + rig.recorder->drops() == 600; }))
        << rig.recorder->count() << " delivered, " << rig.recorder->drops() << " dropped";
    EXPECT_GT(rig.recorder->drops(), 0U);
    EXPECT_EQ(rig.recorder->frames().back().dropsBefore, rig.recorder->drops());
    EXPECT_EQ(rig.telemetry.framesIn, rig.recorder->count());
    EXPECT_EQ(rig.telemetry.framesDropped, rig.recorder->drops());
}

TEST(LiveSource, SlowHandlerSeesTheNewestOfEveryFrame) {
    Camera camera("video/x-raw,format=I420,width=64,height=48,framerate=200/1",
                  "videotestsrc is-live=true num-buffers=200 ! video/x-raw,format=I420,width=64,"
                  "height=48,framerate=200/1");
    Rig& rig = camera.rig;
    rig.recorder->onFrame = [] { std::this_thread::sleep_for(60ms); };
    ASSERT_EQ(rig.setUp(camera.listed()), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() + rig.recorder->drops() == 200; }))
        << rig.recorder->count() << " delivered, " << rig.recorder->drops() << " dropped";
    EXPECT_GT(rig.recorder->drops(), rig.recorder->count());
}

TEST(LiveSource, ACameraMayHaveAnotherRateThanItsBoundsLetHope) {
    Camera camera("video/x-raw,format=I420,width=64,height=48,framerate=[0/1,100/1]",
                  "videotestsrc is-live=true ! capsfilter "
                  "caps=video/x-raw,format=I420,width=64,height=48,framerate=5035/84");
    Rig& rig = camera.rig;
    ASSERT_EQ(rig.setUp(camera.listed()), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= 3; }));
    EXPECT_TRUE(rig.errors().empty());
}

TEST(LiveSource, AnErrorBeforeTheLossIsKnownIsTheLoss) {
    Camera camera(kColour,
                  "videotestsrc is-live=true ! video/x-raw,format=YUY2,width=640,height=480,"
                  "framerate=30/1 ! identity error-after=4");
    Rig& rig = camera.rig;
    ASSERT_EQ(rig.setUp(camera.listed()), "");
    rig.session->startRunning();
    // By then the error has come.
    std::this_thread::sleep_for(500ms);
    camera.registry->remove(camera.device.get());
    ASSERT_TRUE(eventually([&] { return !rig.errors().empty(); }));
    EXPECT_EQ(rig.errors()[0].description, "the camera \"Name\" was disconnected");
    EXPECT_EQ(rig.errors().size(), 1U);
}

TEST(LiveSource, MotionJPEGIsDecoded) {
    Camera camera("image/jpeg,width=64,height=48,framerate=30/1",
                  "videotestsrc is-live=true pattern=red ! video/x-raw,width=64,height=48"
                  " ! jpegenc ! image/jpeg,width=64,height=48,framerate=30/1");
    Rig& rig = camera.rig;
    rig.recorder->keep = true;
    ASSERT_EQ(rig.setUp(camera.listed()), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 3; }));
    rig.session->stopRunning();
    const auto picture = rig.recorder->kept().at(0);
    EXPECT_EQ(picture->width(), 64);
    EXPECT_EQ(picture->height(), 48);
    EXPECT_LT(std::to_integer<int>(picture->baseAddress()[0]), 60);
    EXPECT_GT(std::to_integer<int>(picture->baseAddress()[2]), 190);
}

TEST(LiveSource, EndOfFramesAndRemovalAreTheLossOfTheCamera) {
    Camera camera(kColour, "videotestsrc is-live=true num-buffers=3");
    Rig& rig = camera.rig;
    ASSERT_EQ(rig.setUp(camera.listed()), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.errors().size() == 1; }));
    EXPECT_FALSE(rig.session->isRunning());
    EXPECT_EQ(rig.errors()[0].description, "the camera \"Name\" was disconnected");

    Camera pulled(kColour, "videotestsrc is-live=true");
    ASSERT_EQ(pulled.rig.setUp(pulled.listed()), "");
    pulled.rig.session->startRunning();
    ASSERT_TRUE(pulled.rig.session->isRunning());
    pulled.registry->remove(pulled.device.get());
    ASSERT_TRUE(eventually([&] { return pulled.rig.errors().size() == 1; }));
    EXPECT_FALSE(pulled.rig.session->isRunning());
    EXPECT_EQ(pulled.rig.errors()[0].description, "the camera \"Name\" was disconnected");
}

TEST(LiveSource, ADeviceThatCannotBeOpenedIsARuntimeError) {
    Camera camera(kColour, "");
    ASSERT_EQ(camera.rig.setUp(camera.listed()), "");
    camera.rig.session->startRunning();
    EXPECT_FALSE(camera.rig.session->isRunning());
    ASSERT_EQ(camera.rig.errors().size(), 1U);
    EXPECT_EQ(camera.rig.errors()[0].description, "the camera \"Name\" cannot be opened");
}

TEST(LiveSource, ErrorsOfElementsAreSaidInWordsForPeople) {
    const auto resource = [](int code) { return explained(GST_RESOURCE_ERROR, code); };
    EXPECT_EQ(resource(GST_RESOURCE_ERROR_BUSY),
              "the camera \"Name\" is busy: another program uses it");
    EXPECT_EQ(resource(GST_RESOURCE_ERROR_NOT_FOUND), "the camera \"Name\" was disconnected");
    EXPECT_EQ(resource(GST_RESOURCE_ERROR_READ),
              "the camera \"Name\" gives no more pictures: it was probably disconnected");
    EXPECT_EQ(resource(GST_RESOURCE_ERROR_OPEN_READ_WRITE),
              "the camera \"Name\" cannot be opened: reason");
    EXPECT_EQ(explained(GST_STREAM_ERROR, GST_STREAM_ERROR_FAILED),
              "the camera \"Name\" cannot be used: reason");
}

}  // namespace
}  // namespace velmaro::cameras
