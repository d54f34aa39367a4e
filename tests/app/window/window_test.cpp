#include "app/window/Window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QContextMenuEvent>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QProxyStyle>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

#include "app/window/MessageList.h"

namespace velmaro {
namespace {

struct Content : QWidget {
    Content() {
        auto* const stack = new QVBoxLayout(this);
        stack->addWidget(label);
        stack->addWidget(button);
        button->setAttribute(Qt::WA_NoMousePropagation);
        button->setEnabled(false);
        setFixedSize(250, 200);
    }
    QLabel* label = new QLabel("text");
    QPushButton* button = new QPushButton("press");
};

TEST(Window, IsAsLargeAsItsContentAndHasNoTitleBar) {
    Window window(new Content);
    window.show();
    EXPECT_EQ(window.size(), QSize(250, 200));
    window.resize(400, 400);
    EXPECT_EQ(window.size(), QSize(250, 200));
    EXPECT_TRUE(window.windowFlags() & Qt::FramelessWindowHint);
    EXPECT_EQ(window.windowTitle(), "Velmaro");
    EXPECT_FALSE(window.windowIcon().isNull());
}

TEST(Window, IsClosedByEitherShortcutAndByItsButton) {
    Window window(new Content);
    int closed = 0;
    window.onClose = [&] { ++closed; };
    const auto showAgain = [&] {
        window.show();
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    };
    showAgain();
    QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(closed, 1);
    showAgain();
    QTest::keyClick(&window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_EQ(closed, 2);
    showAgain();
    QAbstractButton* close = nullptr;
    for (auto* const button : window.findChildren<QAbstractButton*>()) {
        close = button->accessibleName() == "Close" ? button : close;
    }
    ASSERT_NE(close, nullptr);
    QTest::mouseClick(close, Qt::LeftButton);
    EXPECT_EQ(closed, 3);
    EXPECT_FALSE(window.isVisible());
}

TEST(Window, IsMinimisedByButtonAndByShortcut) {
    Window window(new Content);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    EXPECT_TRUE(window.windowFlags() & Qt::WindowMinimizeButtonHint);
    QAbstractButton* minimise = nullptr;
    for (auto* const button : window.findChildren<QAbstractButton*>()) {
        minimise = button->accessibleName() == "Minimise" ? button : minimise;
    }
    ASSERT_NE(minimise, nullptr);
    EXPECT_TRUE(window.rect().contains(minimise->geometry()));
    QTest::mouseClick(minimise, Qt::LeftButton);
    EXPECT_TRUE(window.isMinimized());
    window.showNormal();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_FALSE(window.isMinimized());
    QTest::keyClick(&window, Qt::Key_M, Qt::ControlModifier);
    EXPECT_TRUE(window.isMinimized());
}

TEST(Window, IsAWindowToThoseWhoCannotSeeIt) {
    Window window(new Content);
    window.show();
    auto* const accessible = QAccessible::queryAccessibleInterface(&window);
    ASSERT_NE(accessible, nullptr);
    EXPECT_EQ(accessible->role(), QAccessible::Window);
    EXPECT_EQ(accessible->text(QAccessible::Name), "Velmaro");
}

/// The texts of the open menu's entries, without separators.
std::vector<std::string> entries(const QMenu& menu) {
    std::vector<std::string> texts;
    for (const QAction* const action : menu.actions()) {
        if (!action->isSeparator()) {
            texts.push_back(action->text().toStdString());
        }
    }
    return texts;
}

QMenu* openMenu() {
    return qobject_cast<QMenu*>(QApplication::activePopupWidget());
}

void askForMenu(QWidget& widget, QContextMenuEvent::Reason reason) {
    QContextMenuEvent event(reason, QPoint(3, 3), widget.mapToGlobal(QPoint(3, 3)));
    QApplication::sendEvent(&widget, &event);
}

TEST(Window, HasAContextMenuEverywhereButInFields) {
    auto* const content = new Content;
    auto* const field = new QLineEdit(content);
    Window window(content);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    for (QWidget* const widget :
         std::initializer_list<QWidget*>{content->label, content->button, &window}) {
        for (const auto reason : {QContextMenuEvent::Mouse, QContextMenuEvent::Keyboard}) {
            askForMenu(*widget, reason);
            ASSERT_NE(openMenu(), nullptr);
            EXPECT_EQ(entries(*openMenu()), (std::vector<std::string>{"About Velmaro", "Quit"}));
            openMenu()->close();
        }
    }
    askForMenu(*field, QContextMenuEvent::Mouse);
    ASSERT_NE(openMenu(), nullptr);
    EXPECT_THAT(entries(*openMenu()), testing::Not(testing::Contains("Quit")));
    openMenu()->close();
    // By its own keys it opens wherever the focus is.
    field->setFocus();
    QTest::keyClick(field, Qt::Key_F10, Qt::ShiftModifier);
    ASSERT_NE(openMenu(), nullptr);
    EXPECT_THAT(entries(*openMenu()), testing::Contains("Quit"));
    openMenu()->close();
}

TEST(Window, MenuDoesWhatItOffers) {
    Window window(new Content);
    int closed = 0;
    int shown = 0;
    std::string chosen;
    window.onClose = [&] { ++closed; };
    window.menuActions.showMessages = [&] { ++shown; };
    std::vector<std::string> done;
    window.menuActions.keepSettings = [&] { done.emplace_back("keep"); };
    window.menuActions.forgetPose = [&] { done.emplace_back("forget"); };
    window.menuActions.openLog = [&] { done.emplace_back("open"); };
    window.menuActions.chooseReceiver = [&](const Receiver& receiver) { chosen = receiver.name; };
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    const auto open = [&] {
        askForMenu(window, QContextMenuEvent::Keyboard);
        return openMenu()->actions();
    };
    const QList<QAction*> actions = open();
    EXPECT_EQ(entries(*openMenu()),
              (std::vector<std::string>{"Receiver", "Keep these settings", "Forget the stored pose",
                                        "Messages", "Open the log", "About Velmaro", "Quit"}));
    ASSERT_NE(actions.first()->menu(), nullptr);
    const QList<QAction*> receiverActions = actions.first()->menu()->actions();
    ASSERT_EQ(static_cast<std::size_t>(receiverActions.size()), receivers().size());
    receiverActions.last()->trigger();
    EXPECT_EQ(chosen, receivers().back().name);
    const auto trigger = [&](const char* text) {
        (*std::ranges::find(actions, text, &QAction::text))->trigger();
    };
    trigger("Messages");
    EXPECT_EQ(shown, 1);
    trigger("Keep these settings");
    trigger("Forget the stored pose");
    trigger("Open the log");
    EXPECT_EQ(done, (std::vector<std::string>{"keep", "forget", "open"}));
    actions.last()->trigger();
    EXPECT_EQ(closed, 1);
    openMenu()->close();
}

/// As on a desktop that has icons on the buttons of dialogs.
struct IconsOnButtons : QProxyStyle {
    IconsOnButtons() : QProxyStyle(QStringLiteral("Fusion")) {}
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override {
        return hint == SH_DialogButtonBox_ButtonsHaveIcons
                   ? 1
                   : QProxyStyle::styleHint(hint, option, widget, data);
    }
};

/// One that was drawn for light windows would not be seen in a dark one.
class WindowDialog : public testing::Test {
protected:
    void SetUp() override {
        QApplication::setStyle(new IconsOnButtons);
        const QDialogButtonBox usual(QDialogButtonBox::Ok);
        ASSERT_FALSE(usual.buttons().first()->icon().isNull());
    }
    void TearDown() override { QApplication::setStyle(QStringLiteral("Fusion")); }
};

TEST_F(WindowDialog, OfTheMessagesHasNoIcon) {
    const MessageList list(nullptr);
    EXPECT_TRUE(list.findChild<QPushButton*>()->icon().isNull());
}

TEST_F(WindowDialog, AboutItSaysWhatItIsWithoutAnIcon) {
    Window window(new Content);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    askForMenu(window, QContextMenuEvent::Keyboard);
    const QList<QAction*> actions = openMenu()->actions();
    openMenu()->hide();
    bool isShown = false;
    QTimer::singleShot(0, [&isShown] {
        auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        isShown = true;
        EXPECT_TRUE(box->text().startsWith("Velmaro "));
        ASSERT_EQ(box->buttons().size(), 1);
        EXPECT_TRUE(box->buttons().first()->icon().isNull());
        box->accept();
    });
    (*std::ranges::find(actions, "About Velmaro", &QAction::text))->trigger();
    EXPECT_TRUE(isShown);
}

TEST(Window, MovesByWhatIsNoControl) {
    auto* const content = new Content;
    Window window(content);
    window.move(100, 100);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    const auto drag = [&](QWidget* by) {
        const QPoint start = window.pos();
        const QPoint grip = by->mapTo(&window, QPoint(5, 5));
        QTest::mousePress(window.windowHandle(), Qt::LeftButton, {}, grip);
        QTest::mouseMove(window.windowHandle(), grip + QPoint(30, 20));
        // The pointer stays over the same point of a window that has followed it.
        const QPoint moved = window.pos() - start;
        QTest::mouseRelease(window.windowHandle(), Qt::LeftButton, {},
                            grip + QPoint(30, 20) - moved);
        return window.pos() - start;
    };
    EXPECT_EQ(drag(content->label), QPoint(30, 20));
    EXPECT_EQ(drag(content->button), QPoint(0, 0)) << "not even by a disabled one";
}

}  // namespace
}  // namespace velmaro
