#include "app/Startup.h"

#include <optional>

#include "ContentViewFixture.h"
#include "app/ReceiverChoice.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

class CurrentSettingsTest : public ContentViewTest {
protected:
    CurrentSettingsTest() {
        headphones.available = true;
        makeView();
        view->appear();
        choice.emplace(*view, receivers, Output{});
    }

    fakes::CapturedDiagnostics diagnostics;
    ReceiverNetwork receivers{network, diagnostics};
    std::optional<ReceiverChoice> choice;
};

TEST_F(CurrentSettingsTest, AreWhatTheViewHolds) {
    view->oscManager.ipAddress = "10.0.0.1";
    view->oscManager.port = "9001";
    view->oscManager.oscMessage = "/a";
    view->oscManager.frameRate = 12;
    view->tiltEnabled = false;
    view->select("camera_x");
    Options given;
    given.flip = "pan";
    given.quiet = true;
    const Options now = currentSettings(given, *view, *choice);
    EXPECT_EQ(now.ipAddress, "10.0.0.1");
    EXPECT_EQ(now.port, "9001");
    EXPECT_EQ(now.oscMessage, "/a");
    EXPECT_EQ(now.frameRate, 12);
    EXPECT_FALSE(now.tiltEnabled);
    EXPECT_EQ(now.input, "camera_x");
    EXPECT_EQ(now.flip, "pan");
    EXPECT_EQ(now.receiver, "");
    EXPECT_TRUE(now.quiet);
}

TEST_F(CurrentSettingsTest, HoldTheReceiverThatWasChosen) {
    Options given;
    given.flip = "pan";
    choice->choose(*findReceiver("sparta"));
    view->oscManager.port = "9005";
    Options now = currentSettings(given, *view, *choice);
    EXPECT_EQ(now.receiver, "sparta");
    EXPECT_EQ(now.flip, "");
    EXPECT_EQ(now.port, "9005");
    // One that counts at the next start counts then.
    view->toggleTracking();
    choice->choose(*findReceiver("adm-osc"));
    EXPECT_EQ(view->oscManager.port.get(), "9005");
    now = currentSettings(given, *view, *choice);
    EXPECT_EQ(now.receiver, "adm-osc");
    EXPECT_EQ(now.port, "4001");
    EXPECT_EQ(now.oscMessage, "/adm/lis/ypr");
}

}  // namespace
}  // namespace velmaro
