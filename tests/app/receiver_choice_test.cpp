#include <optional>

#include "ContentViewFixture.h"
#include "app/ReceiverChoice.h"
#include "fakes/Diagnostics.h"
#include "receivers/SentMessage.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

/// The whole logic with the receivers' network behind its door.
class ReceiverChoiceTest : public ContentViewTest {
protected:
    ReceiverChoiceTest() {
        headphones.available = true;
        view = ContentView::create(throughReceivers);
        view->appear();
        choice.emplace(*view, receivers, Output{});
    }

    /// The address and the values of the latest datagram.
    SentMessage latest() {
        const auto message = readMessage(network.connections.back()->sent.back());
        EXPECT_TRUE(message);
        return message.value_or(SentMessage{});
    }

    /// A head turned to the right by 90 degrees.
    void turnRight() {
        motion({.x = 0, .y = 0, .z = -0.70710678118654752, .w = 0.70710678118654752});
        runEverything();
    }

    fakes::CapturedDiagnostics diagnostics;
    ReceiverNetwork receivers{network, diagnostics};
    Platform throughReceivers{dispatch,  center,   capture, faces, headphones,
                              receivers, defaults, clock,   log};
    std::optional<ReceiverChoice> choice;
};

TEST_F(ReceiverChoiceTest, CountsAtOnceWhileStopped) {
    choice->choose(*findReceiver("sparta"));
    EXPECT_EQ(view->oscManager.port.get(), "9000");
    view->toggleTracking();
    turnRight();
    EXPECT_EQ(network.connections.back()->port, Port{9000});
    EXPECT_NEAR(latest().values[0], -90, 1e-3);
}

TEST_F(ReceiverChoiceTest, CountsWholeAtTheNextStartWhileTracking) {
    view->toggleTracking();
    turnRight();
    choice->choose(*findReceiver("adm-osc"));
    turnRight();
    EXPECT_EQ(latest().address, "/ypr");
    EXPECT_NEAR(latest().values[0], 90, 1e-3);
    ASSERT_THAT(network.connections, SizeIs(1));
    EXPECT_EQ(view->oscManager.port.get(), "8000");

    view->toggleTracking();
    view->toggleTracking();
    turnRight();
    ASSERT_THAT(network.connections, SizeIs(2));
    EXPECT_EQ(network.connections.back()->port, Port{4001});
    EXPECT_EQ(latest().address, "/adm/lis/ypr");
    EXPECT_NEAR(latest().values[0], -90, 1e-3);
}

TEST_F(ReceiverChoiceTest, SendsAnglesFromThenOn) {
    view->quaternionOutput = true;
    choice->choose(*findReceiver("iem"));
    view->toggleTracking();
    turnRight();
    EXPECT_EQ(latest().address, "/SceneRotator/quaternions");
    EXPECT_EQ(latest().count, 4U);
    // The field's turn to the left, not the one that is sent without a receiver.
    EXPECT_NEAR(latest().values[3], 0.70710678, 1e-6);
}

TEST_F(ReceiverChoiceTest, KeepsTheFurtherReceivers) {
    choice.emplace(*view, receivers, Output{.further = {{"other", 9001}}});
    choice->choose(*findReceiver("sparta"));
    view->toggleTracking();
    turnRight();
    EXPECT_THAT(network.connections, SizeIs(2));
}

}  // namespace
}  // namespace velmaro
