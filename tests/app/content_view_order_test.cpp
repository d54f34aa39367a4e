// In which order things happen, and what waits for the main thread.

#include "app/ContentViewFixture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The entries of `trace` that begin with one of `starts`.
std::vector<std::string> only(const std::vector<std::string>& trace,
                              std::initializer_list<const char*> starts) {
    std::vector<std::string> found;
    for (const std::string& entry : trace) {
        for (const char* const start : starts) {
            if (entry.starts_with(start)) {
                found.push_back(entry);
                break;
            }
        }
    }
    return found;
}

class ContentViewOrderTest : public ContentViewTest {
protected:
    void SetUp() override {
        capture.setLocal({desk, wall});
        makeView();
        view->appear();
    }

    void startCamera() {
        view->toggleTracking();
        runEverything();
        capture.trace.clear();
    }

    void startHeadphones() {
        headphones.available = true;
        headphones.connect();
        dispatch.main.run();
        view->select("airpods");
        view->toggleTracking();
        capture.trace.clear();
    }

    [[nodiscard]] std::vector<std::string> stops() const {
        return only(capture.trace,
                    {"stopRunning", "stopDeviceMotionUpdates", "cancel", "status: "});
    }
};

// Start

TEST_F(ContentViewOrderTest, StartingACameraSaysSoFirst) {
    traceEverything();
    view->toggleTracking();
    EXPECT_THAT(only(capture.trace, {"status: ", "📹", "begin", "commit"}),
                ElementsAre("status: Starting camera...", "📹 Setting up capture with: Desk Camera",
                            "beginConfiguration", "commitConfiguration"));
}

TEST_F(ContentViewOrderTest, EverythingStandsBeforeTheCaptureIsAskedFor) {
    view->select("camera_wall");
    bool asked = false;
    capture.onAuthorizationStatus = [&] {
        asked = true;
        EXPECT_TRUE(view->isRunning.get());
        EXPECT_EQ(view->debugText.get(), "Starting camera...");
        EXPECT_EQ(view->cameraManager->selectedCamera.get(), wall);
        EXPECT_TRUE(view->cameraManager->statusHandler);
        EXPECT_TRUE(view->cameraManager->frameHandler);
    };
    view->toggleTracking();
    EXPECT_TRUE(asked);
}

TEST_F(ContentViewOrderTest, TheStatusComesBeforeTheCameraIsSelected) {
    view->select("camera_wall");
    std::string atSelection;
    const Subscription selection = view->cameraManager->selectedCamera.observe(
        [&](const std::shared_ptr<CaptureDevice>&) { atSelection = view->debugText.get(); });
    view->toggleTracking();
    EXPECT_EQ(atSelection, "Starting camera...");
}

TEST_F(ContentViewOrderTest, TheChosenCameraIsStartedNotTheFirst) {
    view->select("camera_wall");
    view->toggleTracking();
    EXPECT_THAT(only(capture.trace, {"makeDeviceInput"}), ElementsAre("makeDeviceInput wall"));
}

TEST_F(ContentViewOrderTest, EverythingStandsBeforeTheHeadphonesAreStarted) {
    headphones.available = true;
    headphones.connect();
    dispatch.main.run();
    view->select("airpods");
    bool started = false;
    headphones.onStart = [&] {
        started = true;
        EXPECT_TRUE(view->isRunning.get());
        EXPECT_EQ(view->debugText.get(), "Connecting AirPods...");
        EXPECT_TRUE(view->headphoneManager->onConnectionChanged);
        EXPECT_TRUE(view->headphoneManager->onMotionUpdate);
    };
    traceEverything();
    view->toggleTracking();
    EXPECT_TRUE(started);
    EXPECT_EQ(capture.trace.front(), "status: Connecting AirPods...");
    EXPECT_EQ(capture.trace.back(), "startDeviceMotionUpdates");
}

TEST_F(ContentViewOrderTest, TheStatusComesBeforeTheHeadphonesAreListenedTo) {
    headphones.available = true;
    headphones.connect();
    dispatch.main.run();
    view->select("airpods");
    std::vector<bool> listened;
    const Subscription status = view->debugText.observe([&](const std::string& text) {
        if (text == "Connecting AirPods...") {
            listened.push_back(static_cast<bool>(view->headphoneManager->onConnectionChanged) ||
                               static_cast<bool>(view->headphoneManager->onMotionUpdate));
        }
    });
    view->toggleTracking();
    EXPECT_THAT(listened, ElementsAre(false));
}

TEST_F(ContentViewOrderTest, NothingToStartIsSaidAtOnce) {
    view->select("camera_gone");
    traceEverything();
    view->toggleTracking();
    EXPECT_THAT(capture.trace, ElementsAre("status: No input selected"));
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

// Stop

TEST_F(ContentViewOrderTest, StoppingACameraStopsBothSourcesThenTheConnection) {
    startCamera();
    traceEverything();
    frame();
    view->toggleTracking();
    EXPECT_THAT(stops(),
                ElementsAre("stopRunning", "stopDeviceMotionUpdates", "cancel", "status: Stopped"));
}

TEST_F(ContentViewOrderTest, StoppingTheHeadphonesIsTheSame) {
    startHeadphones();
    traceEverything();
    motion({});
    view->toggleTracking();
    EXPECT_THAT(stops(),
                ElementsAre("stopRunning", "stopDeviceMotionUpdates", "cancel", "status: Stopped"));
}

TEST_F(ContentViewOrderTest, StoppingWhatNeverStartedIsTheSameWithoutAConnection) {
    view->select("camera_gone");
    view->toggleTracking();
    traceEverything();
    view->toggleTracking();
    EXPECT_THAT(stops(), ElementsAre("stopRunning", "stopDeviceMotionUpdates", "status: Stopped"));
}

TEST_F(ContentViewOrderTest, TheCameraIsStoppedBeforeItsHandlersGo) {
    startCamera();
    bool stopped = false;
    capture.session->onStop = [&] {
        stopped = true;
        EXPECT_FALSE(view->isRunning.get());
        EXPECT_TRUE(view->cameraManager->frameHandler);
        EXPECT_TRUE(view->cameraManager->statusHandler);
    };
    headphones.onStop = [&] {
        EXPECT_FALSE(view->cameraManager->frameHandler);
        EXPECT_FALSE(view->cameraManager->statusHandler);
    };
    view->toggleTracking();
    EXPECT_TRUE(stopped);
    headphones.onStop = nullptr;
}

TEST_F(ContentViewOrderTest, TheStatusComesAtOnceAndLast) {
    startCamera();
    frame();
    dispatch.main.run();
    view->toggleTracking();
    EXPECT_EQ(view->debugText.get(), "Stopped");
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(ContentViewOrderTest, WhatWasPostedBeforeAStopStillComes) {
    startCamera();
    frame();
    view->toggleTracking();
    EXPECT_EQ(view->debugText.get(), "Stopped");
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Detecting...");
}

TEST_F(ContentViewOrderTest, AnotherSourceStopsAndStartsWithoutAStatusBetween) {
    startCamera();
    frame();
    headphones.available = true;
    headphones.connect();
    runEverything();
    traceEverything();
    view->select("airpods");
    EXPECT_THAT(only(capture.trace, {"stop", "start", "cancel", "status: "}),
                ElementsAre("stopRunning", "stopDeviceMotionUpdates", "cancel",
                            "status: Connecting AirPods...", "startDeviceMotionUpdates"));
    EXPECT_TRUE(view->isRunning.get());
}

TEST_F(ContentViewOrderTest, TheChoiceStandsBeforeTheOldSourceStops) {
    startCamera();
    std::string chosen;
    capture.session->onStop = [&] { chosen = view->selectedInputId.get(); };
    view->select("camera_wall");
    EXPECT_EQ(chosen, "camera_wall");
}

// Frames

TEST_F(ContentViewOrderTest, AFrameSaysDetectingThenIsAnalysedThenSent) {
    startCamera();
    faces.beforeCompletion = [this] { capture.trace.emplace_back("analysis"); };
    traceEverything();
    frame();
    EXPECT_THAT(only(capture.trace, {"post", "analysis", "send"}),
                ElementsAre("post to main", "analysis", "send"));
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Detecting...");
}

TEST_F(ContentViewOrderTest, TheThirtiethFrameIsAnalysedBeforeItSaysRunning) {
    startCamera();
    for (int count = 1; count < 30; ++count) {
        frame();
    }
    dispatch.main.run();
    faces.beforeCompletion = [this] { capture.trace.emplace_back("analysis"); };
    traceEverything();
    frame();
    EXPECT_THAT(only(capture.trace, {"post", "analysis", "send"}),
                ElementsAre("analysis", "post to main", "send"));
    EXPECT_EQ(view->debugText.get(), "Detecting...");
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Running");
}

TEST_F(ContentViewOrderTest, AFrameWithoutAPictureCountsAndIsSent) {
    startCamera();
    clock.time += 1;
    view->cameraManager->captureOutputDidOutput({});
    EXPECT_EQ(faces.requests, 0);
    EXPECT_EQ(sentValues().size(), 1U);
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Detecting...");
}

TEST_F(ContentViewOrderTest, FramesAreCountedWhetherAnalysedOrNot) {
    startCamera();
    for (int count = 1; count <= 30; ++count) {
        view->cameraManager->captureOutputDidOutput({picture});
    }
    EXPECT_EQ(faces.requests, 0);
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Running");
}

TEST_F(ContentViewOrderTest, AnEarlierStartsHandlerKeepsItsOwnCount) {
    startCamera();
    frame();
    // A frame that is under way while tracking is switched off and on goes on as the first start's.
    faces.beforeCompletion = [this] {
        faces.beforeCompletion = nullptr;
        view->toggleTracking();
        view->toggleTracking();
    };
    frame();
    runEverything();
    view->debugText = "untouched";
    frame();
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Detecting...");
}

TEST_F(ContentViewOrderTest, CameraStatusesArePostedOneByOne) {
    startCamera();
    view->debugText = "untouched";
    view->cameraManager->statusHandler("one");
    view->cameraManager->statusHandler("two");
    EXPECT_EQ(view->debugText.get(), "untouched");
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_EQ(view->debugText.get(), "one");
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_EQ(view->debugText.get(), "two");
}

TEST_F(ContentViewOrderTest, ModesAreReadForEachFrame) {
    startCamera();
    frame();
    view->quaternionOutput = true;
    frame();
    view->quaternionOutput = false;
    view->tiltEnabled = false;
    view->faceDetector->tilt = -7.0F;
    frame();
    view->tiltEnabled = true;
    frame();
    const auto sent = sentValues();
    ASSERT_EQ(sent.size(), 4U);
    EXPECT_EQ(sent[0].size(), 3U);
    EXPECT_EQ(sent[1].size(), 4U);
    EXPECT_THAT(sent[2], ElementsAre(0.0F, 0.0F, 0.0F));
    EXPECT_THAT(sent[3], ElementsAre(0.0F, 7.0F, 0.0F));
}

// Samples

TEST_F(ContentViewOrderTest, ASampleIsSentBeforeItsStatusIsPosted) {
    startHeadphones();
    traceEverything();
    motion({});
    EXPECT_THAT(only(capture.trace, {"post", "send", "status"}),
                ElementsAre("send", "post to main"));
    EXPECT_EQ(view->debugText.get(), "Connecting AirPods...");
}

TEST_F(ContentViewOrderTest, ConnectionStatusesArePostedAgain) {
    startHeadphones();
    headphones.disconnect();
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_FALSE(view->headphoneManager->isConnected.get());
    EXPECT_EQ(view->debugText.get(), "Connecting AirPods...");
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_EQ(view->debugText.get(), "AirPods disconnected");
}

TEST_F(ContentViewOrderTest, ModesAreReadForEachSample) {
    startHeadphones();
    const auto deliver = [this] {
        clock.time += 1;
        view->headphoneManager->onMotionUpdate(10, 20, 30);
    };
    deliver();
    view->quaternionOutput = true;
    deliver();
    view->quaternionOutput = false;
    view->tiltEnabled = false;
    deliver();
    view->tiltEnabled = true;
    deliver();
    const auto sent = sentValues();
    ASSERT_EQ(sent.size(), 4U);
    EXPECT_THAT(sent[0], ElementsAre(10.0F, 20.0F, 30.0F));
    EXPECT_EQ(sent[1].size(), 4U);
    EXPECT_THAT(sent[2], ElementsAre(10.0F, 0.0F, 30.0F));
    EXPECT_THAT(sent[3], ElementsAre(10.0F, 20.0F, 30.0F));
}

TEST_F(ContentViewOrderTest, EverySampleReachesTheSenderAndItsRateLimit) {
    startHeadphones();
    for (int count = 0; count < 3; ++count) {
        view->headphoneManager->onMotionUpdate(10, 20, 30);
    }
    EXPECT_EQ(sentValues().size(), 1U);
    EXPECT_EQ(dispatch.main.pending(), 3U);
}

// Choice

TEST_F(ContentViewOrderTest, AppearingLooksForCamerasBeforeItChooses) {
    capture.setLocal({wall});
    view->appear();
    EXPECT_EQ(view->selectedInputId.get(), "camera_wall");
    EXPECT_EQ(view->availableInputs().size(), 1U);
}

TEST_F(ContentViewOrderTest, HeadphonesThatConnectWhileStoppedAreNotStarted) {
    view->select("");
    headphones.available = true;
    headphones.connect();
    runEverything();
    EXPECT_EQ(view->selectedInputId.get(), "airpods");
    EXPECT_EQ(headphones.startCount, 0);
    EXPECT_EQ(headphones.stopCount, 0);
    EXPECT_EQ(view->debugText.get(), "Stopped");
}

TEST_F(ContentViewOrderTest, HeadphonesThatGoAreNotChosen) {
    view->select("");
    headphones.disconnect();
    runEverything();
    EXPECT_EQ(view->selectedInputId.get(), "");
}

TEST_F(ContentViewOrderTest, HeadphonesThatConnectBesideARunningCameraChangeNothing) {
    startCamera();
    headphones.available = true;
    headphones.connect();
    runEverything();
    EXPECT_EQ(view->selectedInputId.get(), "camera_desk");
    EXPECT_EQ(headphones.startCount, 0);
    EXPECT_THAT(only(capture.trace, {"stop"}), IsEmpty());
}

TEST_F(ContentViewOrderTest, OfTwoSourcesWithOneIdentifierTheFirstIsMeant) {
    const auto twin = fakes::makeDevice("desk", "Another Camera");
    capture.setLocal({desk, twin});
    view->cameraManager->discoverCameras();
    ASSERT_EQ(view->availableInputs().size(), 2U);
    EXPECT_EQ(view->selectedInput()->device(), desk);
    capture.setLocal({twin, desk});
    view->cameraManager->discoverCameras();
    EXPECT_EQ(view->selectedInput()->device(), twin);
}

}  // namespace
}  // namespace velmaro
