#include "app/ContentViewFixture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ContentViewSelectionTest : public ContentViewTest {
protected:
    [[nodiscard]] std::vector<std::string> available() const {
        std::vector<std::string> ids;
        for (const InputSource& input : view->availableInputs()) {
            ids.push_back(input.id());
        }
        return ids;
    }
};

TEST_F(ContentViewSelectionTest, StartsWithNothingChosen) {
    makeView();
    EXPECT_EQ(view->selectedInputId.get(), "");
    EXPECT_EQ(view->debugText.get(), "Stopped");
    EXPECT_FALSE(view->isRunning.get());
    EXPECT_FALSE(view->quaternionOutput.get());
    EXPECT_TRUE(view->tiltEnabled.get());
    EXPECT_FALSE(view->selectedInput());
}

TEST_F(ContentViewSelectionTest, WithNothingThereNothingIsChosen) {
    makeView();
    view->appear();
    EXPECT_THAT(available(), IsEmpty());
    EXPECT_EQ(view->selectedInputId.get(), "");
    EXPECT_FALSE(view->selectedInput());
}

TEST_F(ContentViewSelectionTest, ListsCamerasAndThenConnectedHeadphones) {
    capture.setLocal({desk, wall});
    headphones.available = true;
    makeView();
    EXPECT_THAT(available(), ElementsAre("camera_desk", "camera_wall", "airpods"));
}

TEST_F(ContentViewSelectionTest, AvailabilityAloneDoesNotOfferTheHeadphones) {
    headphones.available = true;
    makeView();
    headphones.disconnect();
    dispatch.main.run();
    EXPECT_TRUE(view->headphoneManager->isAvailable.get());
    EXPECT_THAT(available(), IsEmpty());
}

TEST_F(ContentViewSelectionTest, AppearingChoosesTheFirstWhateverWasChosen) {
    capture.setLocal({desk, wall});
    makeView();
    view->select("camera_wall");
    view->appear();
    EXPECT_EQ(view->selectedInputId.get(), "camera_desk");
    EXPECT_EQ(view->selectedInput(), InputSource::camera(desk));
}

TEST_F(ContentViewSelectionTest, AppearingWithoutSourcesKeepsTheChoice) {
    makeView();
    view->select("camera_gone");
    view->appear();
    EXPECT_EQ(view->selectedInputId.get(), "camera_gone");
}

TEST_F(ContentViewSelectionTest, AppearingWithHeadphonesOnlyChoosesThem) {
    headphones.available = true;
    makeView();
    view->appear();
    EXPECT_EQ(view->selectedInputId.get(), "airpods");
}

TEST_F(ContentViewSelectionTest, ConnectingHeadphonesAreChosenOnlyIfNothingIs) {
    makeView();
    headphones.connect();
    EXPECT_EQ(view->selectedInputId.get(), "");
    dispatch.main.run();
    EXPECT_EQ(view->selectedInputId.get(), "airpods");

    view->select("camera_gone");
    headphones.connect();
    dispatch.main.run();
    EXPECT_EQ(view->selectedInputId.get(), "camera_gone");
}

TEST_F(ContentViewSelectionTest, DisconnectingHeadphonesKeepTheChoiceAsAString) {
    headphones.available = true;
    makeView();
    view->appear();
    headphones.disconnect();
    dispatch.main.run();
    EXPECT_EQ(view->selectedInputId.get(), "airpods");
    EXPECT_FALSE(view->selectedInput());
    headphones.connect();
    dispatch.main.run();
    EXPECT_EQ(view->selectedInput(), InputSource::airpods());
}

TEST_F(ContentViewSelectionTest, AChosenCameraIsFoundAgainUnderAnotherObject) {
    capture.setLocal({desk});
    makeView();
    view->appear();
    capture.setLocal({});
    view->cameraManager->discoverCameras();
    EXPECT_FALSE(view->selectedInput());
    const auto again = fakes::makeDevice("desk", "Desk Camera");
    capture.setLocal({again});
    view->cameraManager->discoverCameras();
    EXPECT_EQ(view->selectedInput()->device(), again);
}

TEST_F(ContentViewSelectionTest, ComparesIdentifiersExactly) {
    headphones.available = true;
    makeView();
    for (const char* const id : {"AirPods", "Airpods", "airpods ", "camera_"}) {
        view->select(id);
        EXPECT_FALSE(view->selectedInput()) << id;
    }
}

TEST_F(ContentViewSelectionTest, StartingWithNothingSelectedStaysRunning) {
    makeView();
    view->toggleTracking();
    EXPECT_TRUE(view->isRunning.get());
    EXPECT_EQ(view->debugText.get(), "No input selected");
    EXPECT_THAT(capture.trace, IsEmpty());
    EXPECT_EQ(headphones.startCount, 0);
    view->toggleTracking();
    EXPECT_FALSE(view->isRunning.get());
    EXPECT_EQ(view->debugText.get(), "Stopped");
}

TEST_F(ContentViewSelectionTest, ChoosingWhileStoppedOnlyRecordsTheChoice) {
    capture.setLocal({desk, wall});
    makeView();
    view->appear();
    capture.trace.clear();
    view->select("camera_wall");
    EXPECT_EQ(view->selectedInputId.get(), "camera_wall");
    EXPECT_THAT(capture.trace, IsEmpty());
    EXPECT_EQ(view->debugText.get(), "Stopped");
}

TEST_F(ContentViewSelectionTest, ChoosingWhileRunningStopsEverythingAndStartsTheNewSource) {
    capture.setLocal({desk});
    headphones.available = true;
    makeView();
    view->appear();
    view->toggleTracking();
    runEverything();
    frame();
    ASSERT_EQ(network.connections.size(), 1U);
    const int stopsBefore = headphones.stopCount;

    view->select("airpods");
    EXPECT_FALSE(capture.session->running);
    EXPECT_FALSE(view->cameraManager->frameHandler);
    EXPECT_FALSE(view->cameraManager->statusHandler);
    EXPECT_EQ(headphones.stopCount, stopsBefore + 1);
    EXPECT_EQ(network.connections[0]->cancelCount, 1);
    EXPECT_EQ(headphones.startCount, 1);
    EXPECT_EQ(view->debugText.get(), "Connecting AirPods...");
    EXPECT_TRUE(view->isRunning.get());
}

TEST_F(ContentViewSelectionTest, ChoosingTheSameAgainWhileRunningDoesNotRestart) {
    capture.setLocal({desk});
    makeView();
    view->appear();
    view->toggleTracking();
    runEverything();
    capture.trace.clear();
    view->select("camera_desk");
    EXPECT_THAT(capture.trace, IsEmpty());
}

TEST_F(ContentViewSelectionTest, ChoosingASourceThatIsGoneWhileRunningStops) {
    capture.setLocal({desk});
    makeView();
    view->appear();
    view->toggleTracking();
    runEverything();
    view->select("camera_gone");
    EXPECT_FALSE(capture.session->running);
    EXPECT_EQ(view->debugText.get(), "No input selected");
    EXPECT_TRUE(view->isRunning.get());
}

TEST_F(ContentViewSelectionTest, HeadphonesThatConnectWhileNothingRunsAreStarted) {
    makeView();
    view->toggleTracking();
    EXPECT_EQ(view->debugText.get(), "No input selected");
    headphones.available = true;
    headphones.connect();
    dispatch.main.run();
    EXPECT_EQ(headphones.startCount, 1);
    EXPECT_EQ(view->debugText.get(), "Connecting AirPods...");
}

TEST_F(ContentViewSelectionTest, HeadphonesThatAreThereFromTheBeginningAreStartedOnce) {
    headphones.available = true;
    makeView();
    view->appear();
    view->toggleTracking();
    runEverything();
    EXPECT_EQ(headphones.startCount, 1);
    EXPECT_EQ(headphones.stopCount, 0);
}

}  // namespace
}  // namespace velmaro
