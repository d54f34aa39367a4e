// Why no angle comes, beside a status text that stays as it is.

#include "app/window/PanelFixture.h"

namespace velmaro {
namespace {

using namespace std::chrono_literals;

class SilenceTest : public PanelTest {
protected:
    void begin() {
        capture.setLocal({desk});
        makePanel();
        view->toggleTracking();
        panel->refresh();
    }

    /// A picture arrives; of nobody, unless there is a face.
    void picture() {
        telemetry.framesIn += 1;
        panel->refresh();
    }

    void pass(ReceiverMonitor::Clock::duration time) {
        now += time;
        panel->refresh();
    }

    [[nodiscard]] std::string reason() const {
        const QString all = statusLabel()->accessibleDescription();
        return all.mid(QStringLiteral("Status").size()).toStdString();
    }
};

TEST_F(SilenceTest, OfASecondIsExplained) {
    begin();
    pass(999ms);
    EXPECT_EQ(reason(), "");
    pass(1ms);
    EXPECT_EQ(reason(),
              ": The camera “Desk Camera” gives no pictures: see whether it is plugged in and "
              "whether another program uses it.");
    EXPECT_TRUE(statusLabel()->toolTip().contains("gives no pictures"));
    EXPECT_EQ(status(), "Starting camera...");
}

TEST_F(SilenceTest, IsExplainedInAToolTipThatIsShownAlready) {
    begin();
    const QPoint place = statusLabel()->mapToGlobal(QPoint(3, 3));
    QHelpEvent rest(QEvent::ToolTip, QPoint(3, 3), place);
    QApplication::sendEvent(statusLabel(), &rest);
    ASSERT_EQ(QToolTip::text(), "Starting camera...");
    pass(1s);
    EXPECT_TRUE(QToolTip::text().contains("gives no pictures"));
    view->toggleTracking();
    panel->refresh();
    EXPECT_EQ(QToolTip::text(), "Stopped");
    // That of something else stays.
    QToolTip::showText(place, "Pan", panel.get());
    view->toggleTracking();
    panel->refresh();
    EXPECT_EQ(QToolTip::text(), "Pan");
    QToolTip::hideText();
}

TEST_F(SilenceTest, OfAFileSaysWhatHelpsWithAFile) {
    for (const char* const id : {"file:/tmp/clip.webm", "demo"}) {
        capture.setLocal({fakes::makeDevice(id, "clip.webm")});
        makePanel();
        view->toggleTracking();
        panel->refresh();
        pass(1s);
        EXPECT_EQ(reason(),
                  ": The file “clip.webm” gives no pictures: see whether it is whole and plays "
                  "elsewhere, or choose another.");
    }
}

TEST_F(SilenceTest, PicturesOfNobodyAreSaidToBe) {
    begin();
    pass(900ms);
    picture();
    pass(200ms);
    EXPECT_EQ(reason(), ": No face is seen: come into the picture, or make it brighter.");
    pass(1s);
    EXPECT_NE(reason().find("gives no pictures"), std::string::npos);
}

TEST_F(SilenceTest, ANewAngleEndsIt) {
    begin();
    pass(2s);
    EXPECT_NE(reason(), "");
    view->faceDetector->pan = 3.0F;
    panel->refresh();
    EXPECT_EQ(reason(), "");
    EXPECT_EQ(statusLabel()->toolTip(), "Starting camera...");
}

TEST_F(SilenceTest, StopAndChangeOfSourceBeginAnew) {
    capture.setLocal({desk, wall});
    makePanel();
    pass(5s);
    EXPECT_EQ(reason(), "") << "while nothing runs";
    view->toggleTracking();
    panel->refresh();
    pass(2s);
    EXPECT_NE(reason(), "");
    view->select("camera_wall");
    panel->refresh();
    EXPECT_EQ(reason(), "");
    pass(2s);
    view->toggleTracking();
    panel->refresh();
    EXPECT_EQ(reason(), "");
}

TEST_F(SilenceTest, HeadphonesThatSendNothingAreNamed) {
    headphones.available = true;
    makePanel();
    view->toggleTracking();
    panel->refresh();
    pass(1s);
    EXPECT_EQ(reason(),
              ": The headphones send no motion: see whether they are worn and connected.");
    motion({0, 0, 0, 1});
    runEverything();
    panel->refresh();
    EXPECT_EQ(reason(), "");
}

}  // namespace
}  // namespace velmaro
