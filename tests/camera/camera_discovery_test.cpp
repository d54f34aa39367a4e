#include "camera/CameraManagerFixture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CameraDiscoveryTest : public CameraManagerTest {
protected:
    [[nodiscard]] std::vector<std::string> listed() const {
        std::vector<std::string> ids;
        for (const auto& device : manager->availableCameras.get()) {
            ids.push_back(device->uniqueID());
        }
        return ids;
    }
};

TEST_F(CameraDiscoveryTest, AsksThreeQueriesInOrder) {
    makeManager();
    using enum CaptureDeviceType;
    EXPECT_THAT(capture.queries, ElementsAre(ElementsAre(builtInWideAngleCamera, external),
                                             ElementsAre(continuityCamera), ElementsAre(external)));
}

TEST_F(CameraDiscoveryTest, MergesTheAnswersByIdentifier) {
    capture.setLocal({desk, wall});
    capture.setContinuity({fakes::makeDevice("wall", "Wall again"), phone});
    capture.setExternal({wall, fakes::makeDevice("phone", "Phone again"),
                         fakes::makeDevice("late", "Late Camera")});
    makeManager();
    EXPECT_THAT(listed(), ElementsAre("desk", "wall", "phone", "late"));
    EXPECT_EQ(manager->availableCameras.get()[1], wall);
}

TEST_F(CameraDiscoveryTest, TakesTheFirstAnswerWholeEvenIfItRepeatsItself) {
    capture.setLocal({desk, desk});
    makeManager();
    EXPECT_THAT(listed(), ElementsAre("desk", "desk"));
}

TEST_F(CameraDiscoveryTest, LogsTheCountAndEachCamera) {
    capture.setLocal({desk, wall});
    manager = CameraManager::create(capture, center, dispatch, log);
    EXPECT_THAT(log.lines, ElementsAre("📷 Found 2 cameras:", "  - Desk Camera (desk)",
                                       "  - Wall Camera (wall)"));
}

TEST_F(CameraDiscoveryTest, WithNoCameraTheListIsEmptyAndTheCountZero) {
    manager = CameraManager::create(capture, center, dispatch, log);
    EXPECT_THAT(log.lines, ElementsAre("📷 Found 0 cameras:"));
    EXPECT_THAT(listed(), IsEmpty());
    EXPECT_EQ(manager->selectedCamera.get(), nullptr);
}

TEST_F(CameraDiscoveryTest, SelectsTheFirstOnlyWhileNoneIsSelected) {
    makeManager();
    capture.setLocal({desk, wall});
    manager->discoverCameras();
    EXPECT_EQ(manager->selectedCamera.get(), desk);
    capture.setLocal({wall, desk});
    manager->discoverCameras();
    EXPECT_EQ(manager->selectedCamera.get(), desk);
}

TEST_F(CameraDiscoveryTest, AnUnpluggedCameraStaysSelected) {
    capture.setLocal({desk, wall});
    makeManager();
    capture.setLocal({wall});
    center.post({kCaptureDeviceWasDisconnected, nullptr, {}});
    EXPECT_THAT(listed(), ElementsAre("desk", "wall"));
    dispatch.main.run();
    EXPECT_THAT(listed(), ElementsAre("wall"));
    EXPECT_EQ(manager->selectedCamera.get(), desk);
    capture.setLocal({});
    manager->discoverCameras();
    EXPECT_EQ(manager->selectedCamera.get(), desk);
}

TEST_F(CameraDiscoveryTest, ACameraPluggedInIsSelectedIfFirst) {
    makeManager();
    capture.setLocal({wall, desk});
    center.post({kCaptureDeviceWasConnected, wall.get(), {}});
    dispatch.main.run();
    EXPECT_EQ(manager->selectedCamera.get(), wall);
}

TEST_F(CameraDiscoveryTest, AssignsTheListEvenIfUnchanged) {
    makeManager();
    int changes = 0;
    const Subscription subscription = manager->observeChanges([&] { ++changes; });
    manager->discoverCameras();
    EXPECT_EQ(changes, 1);
}

TEST_F(CameraDiscoveryTest, TheListIsLoggedThenPublishedThenOneIsSelected) {
    makeManager();
    capture.setLocal({desk});
    std::vector<std::string> trace;
    log.trace = &trace;
    const Subscription list =
        manager->availableCameras.observe([&](const std::vector<CameraManager::Device>& devices) {
            trace.push_back("list of " + std::to_string(devices.size()));
        });
    const Subscription selection = manager->selectedCamera.observe(
        [&](const CameraManager::Device& device) { trace.emplace_back(device ? "one" : "none"); });
    trace.clear();
    manager->discoverCameras();
    EXPECT_THAT(trace,
                ElementsAre("📷 Found 1 cameras:", "  - Desk Camera (desk)", "list of 1", "one"));
    trace.clear();
    manager->discoverCameras();
    EXPECT_THAT(trace, ElementsAre("📷 Found 1 cameras:", "  - Desk Camera (desk)", "list of 1"));
}

TEST_F(CameraDiscoveryTest, NewsDuringTheFirstDiscoveryIsNotHeard) {
    // Every line that is written comes with news of a device.
    struct LogWithNews : Log {
        explicit LogWithNews(NotificationCenter& ofDevices) : center(ofDevices) {}
        void line(std::string_view) override {
            center.post({kCaptureDeviceWasConnected, nullptr, {}});
        }
        NotificationCenter& center;
    } logWithNews(center);
    manager = CameraManager::create(capture, center, dispatch, logWithNews);
    EXPECT_EQ(dispatch.main.pending(), 0U);
    manager->discoverCameras();
    EXPECT_EQ(dispatch.main.pending(), 1U);
}

TEST_F(CameraDiscoveryTest, EachKindOfDeviceNewsIsHeardOnce) {
    makeManager();
    center.post({kCaptureDeviceWasConnected, nullptr, {}});
    EXPECT_EQ(dispatch.main.run(), 1);
    center.post({kCaptureDeviceWasDisconnected, desk.get(), {}});
    EXPECT_EQ(dispatch.main.run(), 1);
}

TEST_F(CameraDiscoveryTest, AQueuedDiscoveryHoldsTheManager) {
    makeManager();
    center.post({kCaptureDeviceWasConnected, nullptr, {}});
    const std::weak_ptr<CameraManager> weak = manager;
    manager.reset();
    EXPECT_FALSE(weak.expired());
    dispatch.main.run();
    EXPECT_TRUE(weak.expired());
}

TEST_F(CameraDiscoveryTest, NotificationsAfterItsEndAreIgnored) {
    makeManager();
    manager.reset();
    center.post({kCaptureDeviceWasConnected, nullptr, {}});
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(CameraDiscoveryTest, MakesOneSerialQueueForFrames) {
    makeManager();
    ASSERT_EQ(dispatch.serialQueues.size(), 1U);
    EXPECT_EQ(dispatch.serialQueues[0]->label(), "VideoOutputQueue");
    EXPECT_EQ(dispatch.serialQualities[0], QualityOfService::userInitiated);
}

}  // namespace
}  // namespace velmaro
