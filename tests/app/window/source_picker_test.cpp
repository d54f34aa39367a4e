#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QTest>
#include <QWheelEvent>

#include "app/window/SourcePicker.h"
#include "fakes/Capture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;

const InputSource kDesk = InputSource::camera(fakes::makeDevice("desk", "Desk Camera"));
const InputSource kWall = InputSource::camera(fakes::makeDevice("wall", "Wall Camera"));
const InputSource kAirpods = InputSource::airpods();

std::vector<std::string> rows(const SourcePicker& picker) {
    std::vector<std::string> texts;
    for (int row = 0; row < picker.count(); ++row) {
        texts.push_back(picker.itemText(row).toStdString());
    }
    return texts;
}

TEST(SourcePicker, ShowsTheSourcesInTheirOrderAndMarksTheChosenOne) {
    SourcePicker picker;
    picker.setSources({kDesk, kWall, kAirpods}, "camera_wall");
    EXPECT_THAT(rows(picker), ElementsAre("Desk Camera", "Wall Camera", "AirPods"));
    EXPECT_EQ(picker.currentIndex(), 1);
    EXPECT_TRUE(picker.itemIcon(0).isNull());
    EXPECT_FALSE(picker.itemIcon(2).isNull());
}

TEST(SourcePicker, OfNothingIsEmpty) {
    SourcePicker picker;
    picker.setSources({}, "");
    EXPECT_EQ(picker.count(), 0);
    EXPECT_EQ(picker.currentIndex(), -1);
}

TEST(SourcePicker, ChoosesNothingByItself) {
    SourcePicker picker;
    int picks = 0;
    picker.onPick = [&](const std::string&) { ++picks; };
    picker.setSources({}, "");
    picker.setSources({kDesk, kWall}, "");
    EXPECT_EQ(picker.currentIndex(), -1);
    picker.setSources({kDesk, kWall}, "camera_gone");
    EXPECT_EQ(picker.currentIndex(), -1);
    picker.setSources({kWall}, "camera_wall");
    EXPECT_EQ(picker.currentIndex(), 0);
    EXPECT_EQ(picks, 0);
}

TEST(SourcePicker, FollowsEveryChangeOfTheList) {
    SourcePicker picker;
    picker.setSources({kDesk, kWall}, "camera_wall");
    picker.setSources({kWall, kDesk, kAirpods}, "camera_wall");
    EXPECT_THAT(rows(picker), ElementsAre("Wall Camera", "Desk Camera", "AirPods"));
    EXPECT_EQ(picker.currentIndex(), 0);
    picker.setSources({InputSource::camera(fakes::makeDevice("wall", "Renamed"))}, "camera_wall");
    EXPECT_THAT(rows(picker), ElementsAre("Renamed"));
}

TEST(SourcePicker, TellsWhatTheUserPicks) {
    SourcePicker picker;
    std::vector<std::string> picked;
    picker.onPick = [&](const std::string& id) { picked.push_back(id); };
    picker.setSources({kDesk, kWall}, "camera_desk");
    picker.show();
    picker.setFocus();
    QTest::keyClick(&picker, Qt::Key_Down);
    EXPECT_THAT(picked, ElementsAre("camera_wall"));
}

TEST(SourcePicker, IsNotChangedByTheWheel) {
    SourcePicker picker;
    picker.setSources({kDesk, kWall}, "camera_desk");
    picker.show();
    QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), {}, QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&picker, &wheel);
    EXPECT_EQ(picker.currentIndex(), 0);
    EXPECT_FALSE(wheel.isAccepted());
}

/// How much of the open list no row takes; negative where rows are hidden.
int emptySpace(const SourcePicker& picker) {
    int rows = 0;
    for (int row = 0; row < picker.count(); ++row) {
        rows += picker.view()->sizeHintForRow(row);
    }
    return picker.view()->viewport()->height() - rows;
}

TEST(SourcePicker, OpenListIsAsLongAsWhatItHolds) {
    SourcePicker picker;
    picker.setSources({kDesk, kWall, kAirpods}, "camera_desk");
    picker.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&picker));
    picker.showPopup();
    ASSERT_TRUE(QTest::qWaitFor([&] { return picker.view()->isVisible(); }));
    EXPECT_EQ(emptySpace(picker), 0);
    picker.setSources({kDesk}, "camera_desk");
    EXPECT_EQ(emptySpace(picker), 0);
    picker.setSources({kDesk, kWall, kAirpods}, "camera_desk");
    EXPECT_EQ(emptySpace(picker), 0);
    picker.setSources({}, "camera_desk");
    EXPECT_FALSE(picker.view()->isVisible()) << "a list of nothing closes";
    picker.setSources({kDesk, kWall}, "camera_desk");
    picker.showPopup();
    ASSERT_TRUE(QTest::qWaitFor([&] { return picker.view()->isVisible(); }));
    EXPECT_EQ(emptySpace(picker), 0);
    picker.hidePopup();
}

TEST(SourcePicker, AListThatWasOpenedEmptyShowsWhatComes) {
    SourcePicker picker;
    picker.setSources({}, "");
    picker.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&picker));
    picker.showPopup();
    EXPECT_FALSE(picker.view()->isVisible());
    picker.setSources({kDesk}, "camera_desk");
    picker.showPopup();
    ASSERT_TRUE(QTest::qWaitFor([&] { return picker.view()->isVisible(); }));
    EXPECT_EQ(emptySpace(picker), 0);
    picker.hidePopup();
}

TEST(SourcePicker, StaysOpenAndFocusedWhileTheListChanges) {
    SourcePicker picker;
    picker.setSources({kDesk}, "camera_desk");
    picker.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&picker));
    picker.setFocus();
    QTest::keyClick(&picker, Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([&] { return picker.view()->isVisible(); }));
    const QWidget* const focus = QApplication::focusWidget();
    picker.setSources({kDesk, kWall}, "camera_desk");
    picker.setSources({kDesk, kWall, kAirpods}, "camera_desk");
    picker.setSources({kDesk, kAirpods}, "camera_desk");
    QTest::qWait(10);
    EXPECT_TRUE(picker.view()->isVisible());
    EXPECT_EQ(QApplication::focusWidget(), focus);
    EXPECT_THAT(rows(picker), ElementsAre("Desk Camera", "AirPods"));
    picker.hidePopup();
}

}  // namespace
}  // namespace velmaro
