#include <QAccessible>
#include <QKeyEvent>
#include <QRadioButton>

#include "app/window/ControlPanel.h"
#include "app/window/PanelFixture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(PanelTest, FirstAppearanceWithOneCamera) {
    capture.setLocal({desk});
    makePanel();
    EXPECT_EQ(panel->width(), 250);
    EXPECT_EQ(view->selectedInputId.get(), "camera_desk");
    EXPECT_EQ(panel->sourcePicker->currentText(), "Desk Camera");
    EXPECT_EQ(panel->ipField->text(), "127.0.0.1");
    EXPECT_EQ(panel->portField->text(), "8000");
    EXPECT_EQ(panel->oscField->text(), "/ypr");
    EXPECT_EQ(panel->ipField->width(), 80);
    EXPECT_EQ(panel->portField->width(), 45);
    EXPECT_EQ(panel->ratePicker->width(), 60);
    EXPECT_TRUE(panel->ratePicker->segment(30)->isChecked());
    EXPECT_FALSE(panel->ratePicker->segment(60)->isChecked());
    EXPECT_EQ(panel->startButton->symbol(), Button::Symbol::play);
    EXPECT_EQ(panel->startButton->tint(), Button::Tint::green);
    EXPECT_EQ(status(), "Stopped");
    EXPECT_EQ(readout().at(0)->text(), "Pan");
    EXPECT_EQ(readout().at(1)->text(), "0.0");
    EXPECT_EQ(readout().at(2)->text(), "Tilt");
}

TEST_F(PanelTest, WithoutACameraTheHeadphonesAreListedAndChosenWhenTheyConnect) {
    makePanel();
    EXPECT_EQ(panel->sourcePicker->count(), 0);
    headphones.connect();
    catchUp();
    EXPECT_EQ(panel->sourcePicker->currentText(), "AirPods");
    EXPECT_EQ(view->selectedInputId.get(), "airpods");
}

TEST_F(PanelTest, OnlyWhatNeedsTrackingWaitsForIt) {
    capture.setLocal({desk});
    makePanel();
    const auto enabled = [&] {
        return std::vector<bool>{panel->startButton->isEnabled(), panel->setButton->isEnabled(),
                                 panel->resetButton->isEnabled(), panel->ratePicker->isEnabled(),
                                 panel->tiltButton->isEnabled()};
    };
    EXPECT_THAT(enabled(), ElementsAre(true, false, false, true, false));
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    EXPECT_THAT(enabled(), ElementsAre(true, true, true, true, true));
    EXPECT_EQ(panel->startButton->symbol(), Button::Symbol::stop);
    EXPECT_EQ(panel->startButton->tint(), Button::Tint::red);
    EXPECT_EQ(panel->startButton->accessibleName(), "Stop tracking");
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    EXPECT_THAT(enabled(), ElementsAre(true, false, false, true, false));
    EXPECT_EQ(panel->startButton->accessibleName(), "Start tracking");
}

TEST_F(PanelTest, StatusIsShownAsItChanges) {
    capture.setLocal({desk});
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    EXPECT_EQ(status(), "Starting camera...");
    frame();
    catchUp();
    EXPECT_EQ(status(), "Detecting...");
    for (int index = 2; index <= 30; ++index) {
        frame();
    }
    catchUp();
    EXPECT_EQ(status(), "Running");
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    EXPECT_EQ(status(), "Stopped");
}

TEST_F(PanelTest, StartWithNothingToStartSaysSo) {
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    EXPECT_EQ(status(), "No input selected");
    EXPECT_EQ(panel->startButton->symbol(), Button::Symbol::stop);
}

TEST_F(PanelTest, FieldsChangeTheSenderWithEveryKey) {
    makePanel();
    QTest::keyClick(panel->portField, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(panel->portField, "90");
    EXPECT_EQ(view->oscManager.port.get(), "90");
    QTest::keyClick(panel->ipField, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(panel->ipField, "host");
    EXPECT_EQ(view->oscManager.ipAddress.get(), "host");
    QTest::keyClick(panel->oscField, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(panel->oscField, "/");
    QKeyEvent accent(QEvent::KeyPress, Qt::Key_Eacute, Qt::NoModifier, QStringLiteral("é"));
    QApplication::sendEvent(panel->oscField, &accent);
    QTest::keyClicks(panel->oscField, "1");
    EXPECT_EQ(view->oscManager.oscMessage.get(), "/1") << "what the sender cannot take is refused";
    catchUp();
    EXPECT_EQ(panel->oscField->text(), "/1");
}

TEST_F(PanelTest, EditedAddressCountsFromTheNextDatagram) {
    capture.setLocal({desk});
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    frame();
    QTest::keyClick(panel->oscField, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(panel->oscField, "/x");
    frame();
    const auto& sent = network.connections.at(0)->sent;
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_STREQ(reinterpret_cast<const char*>(sent.at(0).data()), "/ypr");
    EXPECT_STREQ(reinterpret_cast<const char*>(sent.at(1).data()), "/x");
}

TEST_F(PanelTest, FieldsFollowTheSender) {
    makePanel();
    view->oscManager.port = "9000";
    view->oscManager.frameRate = 45;
    catchUp();
    EXPECT_EQ(panel->portField->text(), "9000");
    EXPECT_FALSE(panel->ratePicker->segment(30)->isChecked());
    EXPECT_FALSE(panel->ratePicker->segment(60)->isChecked());
}

TEST_F(PanelTest, RatePicker) {
    makePanel();
    QTest::mouseClick(panel->ratePicker->segment(60), Qt::LeftButton);
    EXPECT_EQ(view->oscManager.frameRate.get(), 60);
    EXPECT_TRUE(panel->ratePicker->segment(60)->isChecked());
    EXPECT_FALSE(panel->ratePicker->segment(30)->isChecked());
    QTest::keyClick(panel->ratePicker->segment(60), Qt::Key_Left);
    EXPECT_EQ(view->oscManager.frameRate.get(), 30);
}

TEST_F(PanelTest, PickedSourceIsSelected) {
    capture.setLocal({desk, wall});
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    panel->sourcePicker->setFocus();
    QTest::keyClick(panel->sourcePicker, Qt::Key_Down);
    EXPECT_EQ(view->selectedInputId.get(), "camera_wall");
    EXPECT_THAT(capture.trace, testing::Contains("makeDeviceInput wall"));
}

TEST_F(PanelTest, TiltButtonDimsWhatItSwitchesOff) {
    capture.setLocal({desk});
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    EXPECT_EQ(panel->tiltButton->tint(), Button::Tint::blue);
    EXPECT_EQ(readout().at(2)->ink(), TextLabel::Ink::secondary);
    EXPECT_EQ(readout().at(3)->ink(), TextLabel::Ink::primary);
    QTest::mouseClick(panel->tiltButton, Qt::LeftButton);
    EXPECT_FALSE(view->tiltEnabled.get());
    EXPECT_EQ(panel->tiltButton->tint(), Button::Tint::gray);
    EXPECT_FALSE(panel->tiltButton->isChecked());
    EXPECT_EQ(readout().at(2)->ink(), TextLabel::Ink::gray);
    EXPECT_EQ(readout().at(3)->ink(), TextLabel::Ink::gray);
    EXPECT_EQ(readout().at(3)->text(), "0.0");
    EXPECT_EQ(readout().at(0)->ink(), TextLabel::Ink::secondary);
}

TEST_F(PanelTest, AnglesOfTheHeadphonesAreShownWithTheirSigns) {
    headphones.available = true;
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    // A quarter turn to the left, which is sent as -90 and shown the other way round.
    motion({0, 0, std::sqrt(0.5), std::sqrt(0.5)});
    catchUp();
    EXPECT_NEAR(sentValues().back()[0], -90, 1e-4);
    EXPECT_EQ(readout().at(1)->text(), "90.0");
    EXPECT_NEAR(panel->gauge->pan(), 90, 1e-4);
    // Looking up by 30 degrees, which is shown as it is sent.
    motion({std::sin(M_PI / 12), 0, 0, std::cos(M_PI / 12)});
    catchUp();
    EXPECT_NEAR(sentValues().back()[1], 30, 1e-4);
    EXPECT_EQ(readout().at(3)->text(), "30.0");
    EXPECT_NEAR(panel->gauge->tilt(), 30, 1e-4);
    EXPECT_EQ(status(), "Running (AirPods)");
}

TEST_F(PanelTest, SetAndResetReachTheController) {
    capture.setLocal({desk});
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    view->faceDetector->pan = 20.0F;
    view->faceDetector->tilt = 5.0F;
    QTest::keyClick(panel->setButton, Qt::Key_Space);
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 20.0F);
    EXPECT_EQ(readout().at(1)->text(), "0.0");
    QTest::keyClick(panel->resetButton, Qt::Key_Return);
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
    EXPECT_EQ(readout().at(1)->text(), "20.0");
    EXPECT_EQ(readout().at(3)->text(), "-5.0");
}

TEST_F(PanelTest, ShortcutsWorkFromAnywhereButOnlyWhereTheButtonWould) {
    capture.setLocal({desk});
    makePanel();
    panel->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(panel.get()));
    panel->portField->setFocus();
    view->faceDetector->pan = 7.0F;
    const auto press = [&](Qt::Key key, Qt::KeyboardModifiers more = {}) {
        QTest::keyClick(panel->window()->windowHandle(), key, Qt::ControlModifier | more);
    };
    press(Qt::Key_S);
    press(Qt::Key_T);
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
    EXPECT_TRUE(view->tiltEnabled.get());
    press(Qt::Key_R);
    EXPECT_TRUE(view->isRunning.get());
    press(Qt::Key_S);
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 7.0F);
    press(Qt::Key_S, Qt::ShiftModifier);
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
    press(Qt::Key_T);
    EXPECT_FALSE(view->tiltEnabled.get());
    press(Qt::Key_R);
    EXPECT_FALSE(view->isRunning.get());
}

TEST_F(PanelTest, TabGoesFromTopToBottom) {
    capture.setLocal({desk});
    makePanel();
    QTest::mouseClick(panel->startButton, Qt::LeftButton);
    panel->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(panel.get()));
    panel->sourcePicker->setFocus();
    std::vector<QWidget*> order;
    for (int index = 0; index < 9; ++index) {
        order.push_back(QApplication::focusWidget());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    EXPECT_THAT(order,
                ElementsAre(panel->sourcePicker, panel->ipField, panel->portField, panel->oscField,
                            panel->startButton, panel->setButton, panel->resetButton,
                            panel->ratePicker->segment(30), panel->tiltButton));
    EXPECT_EQ(QApplication::focusWidget(), panel->sourcePicker);
}

TEST_F(PanelTest, EveryControlHasANameAndAToolTip) {
    makePanel();
    for (QWidget* const control : std::initializer_list<QWidget*>{
             panel->sourcePicker, panel->ipField, panel->portField, panel->oscField,
             panel->startButton, panel->setButton, panel->resetButton, panel->tiltButton,
             panel->ratePicker->segment(30)}) {
        auto* const accessible = QAccessible::queryAccessibleInterface(control);
        ASSERT_NE(accessible, nullptr);
        EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty());
        EXPECT_FALSE(control->toolTip().isEmpty());
    }
    EXPECT_TRUE(panel->startButton->toolTip().contains("Ctrl+R"));
}

TEST_F(PanelTest, HeldEnterPressesOnce) {
    capture.setLocal({desk});
    makePanel();
    const auto hold = [](QWidget* widget) {
        for (const bool repeats : {false, true, true}) {
            QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", repeats);
            QApplication::sendEvent(widget, &press);
        }
    };
    hold(panel->startButton);
    EXPECT_TRUE(view->isRunning.get());
    EXPECT_EQ(
        std::count(log.lines.begin(), log.lines.end(), "📹 Setting up capture with: Desk Camera"),
        1);
    hold(panel->tiltButton);
    EXPECT_FALSE(view->tiltEnabled.get());
    hold(panel->startButton);
    EXPECT_FALSE(view->isRunning.get());
}

TEST_F(PanelTest, LatePostOfAnEarlierRunIsNotShown) {
    capture.setLocal({desk});
    makePanel();
    view->toggleTracking();
    for (int index = 0; index < 30; ++index) {
        frame();
    }
    view->toggleTracking();
    catchUp();
    EXPECT_EQ(view->debugText.get(), "Running") << "which is the controller's, as it is";
    EXPECT_EQ(status(), "Stopped");
}

TEST_F(PanelTest, ToolTipsOfTheZeroPoseTellWhatTheSourceDoes) {
    capture.setLocal({desk});
    headphones.available = true;
    makePanel();
    EXPECT_EQ(panel->setButton->toolTip(), "Make this pose the zero pose (Ctrl+S)");
    EXPECT_EQ(panel->resetButton->toolTip(), "Undo the zero pose (Ctrl+Shift+S)");
    view->select("airpods");
    catchUp();
    EXPECT_EQ(panel->setButton->toolTip(), "Make this pose the zero pose and keep it (Ctrl+S)");
    EXPECT_EQ(panel->resetButton->toolTip(),
              "Go back to the zero pose that was kept last (Ctrl+Shift+S)");
}

/// The places of all parts of the panel, in their order.
QList<QRect> places(const ControlPanel& panel) {
    QList<QRect> all;
    for (const auto* const widget : panel.findChildren<QWidget*>()) {
        if (widget->isVisible()) {
            all.append({widget->mapTo(&panel, QPoint()), widget->size()});
        }
    }
    return all;
}

QImage pictureOf(QWidget& widget) {
    QImage image(widget.size(), QImage::Format_RGB32);
    image.fill(Qt::white);
    widget.render(&image);
    return image;
}

TEST_F(PanelTest, IsNeverMirrored) {
    capture.setLocal({desk});
    makePanel();
    view->toggleTracking();
    view->faceDetector->pan = -3.14159F;
    panel->refresh();
    panel->startButton->setFocus();
    const QList<QRect> wanted = places(*panel);
    const QImage picture = pictureOf(*panel);
    QApplication::setLayoutDirection(Qt::RightToLeft);
    panel = std::make_unique<ControlPanel>(view, ControlPanel::Sources{});
    panel->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(panel.get()));
    panel->startButton->setFocus();
    EXPECT_EQ(places(*panel), wanted);
    EXPECT_EQ(readout().at(1)->text(), "-3.1");
    EXPECT_EQ(pictureOf(*panel), picture);
    QApplication::setLayoutDirection(Qt::LeftToRight);
}

TEST_F(PanelTest, KeysRunThroughTheSourcesWhileTheyChange) {
    capture.setLocal({desk, wall});
    headphones.available = true;
    makePanel();
    view->toggleTracking();
    panel->sourcePicker->setFocus();
    for (int index = 0; index < 60; ++index) {
        QTest::keyClick(panel->sourcePicker, index / 3 % 2 == 0 ? Qt::Key_Down : Qt::Key_Up);
        frame();
        if (index % 10 == 5) {
            capture.setLocal(index % 20 == 5 ? std::vector{desk} : std::vector{wall, desk});
            view->cameraManager->discoverCameras();
        }
        runEverything();
    }
    catchUp();
    EXPECT_TRUE(view->isRunning.get());
    EXPECT_EQ(panel->sourcePicker->currentIndex() >= 0, view->selectedInput().has_value());
}

/// Counts how often a widget is painted.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject* /*object*/, QEvent* event) override {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
    int count = 0;
};

TEST_F(PanelTest, ANewAngleRepaintsNothingElse) {
    capture.setLocal({desk});
    makePanel();
    QTest::qWait(50);
    const PaintCounter picker(panel->sourcePicker);
    const PaintCounter button(panel->startButton);
    const PaintCounter gauge(panel->gauge);
    const PaintCounter tilt(readout().at(3));
    const PaintCounter pan(readout().at(1));
    const PaintCounter whole(panel.get());
    view->faceDetector->pan = 33.0F;
    catchUp();
    EXPECT_GE(gauge.count, 1);
    EXPECT_GE(pan.count, 1);
    EXPECT_EQ(picker.count + button.count + tilt.count, 0);
    const int before = gauge.count;
    view->faceDetector->pan = 33.0F;
    catchUp();
    EXPECT_EQ(gauge.count, before) << "the same angle again";
}

TEST_F(PanelTest, WhatNobodySeesIsNotRefreshedUntilSeen) {
    capture.setLocal({desk});
    makePanel();
    panel->hide();
    view->faceDetector->pan = 33.0F;
    catchUp();
    EXPECT_EQ(readout().at(1)->text(), "0.0");
    panel->show();
    EXPECT_EQ(readout().at(1)->text(), "33.0");
}

TEST_F(PanelTest, ChangesOfOneMomentAreShownTogether) {
    capture.setLocal({desk});
    makePanel();
    const PaintCounter gauge(panel->gauge);
    for (int index = 0; index < 100; ++index) {
        view->faceDetector->pan = static_cast<float>(index);
    }
    catchUp();
    EXPECT_LE(gauge.count, 2);
    EXPECT_EQ(panel->gauge->pan(), 99.0F);
}

}  // namespace
}  // namespace velmaro
