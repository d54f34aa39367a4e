// The hints and warnings of the program, in the window too.

#include <QPlainTextEdit>

#include "app/window/MessageList.h"
#include "app/window/PanelFixture.h"

namespace velmaro {
namespace {

const Diagnostic kHint{.text = "no source is there", .advice = "connect a camera"};
const Diagnostic kWarning{.kind = Diagnostic::Kind::warning, .text = "the camera is <b>busy</b>"};

class MessagesTest : public PanelTest {
protected:
    [[nodiscard]] QLabel* messageLabel() const {
        return panel->statusRow->findChildren<QLabel*>().at(1);
    }
    [[nodiscard]] MessageList* list() const { return panel->findChild<MessageList*>(); }
    [[nodiscard]] std::string listed() const {
        return list()->findChild<QPlainTextEdit*>()->toPlainText().toStdString();
    }
};

TEST_F(MessagesTest, NothingIsShownWhileThereIsNone) {
    makePanel();
    EXPECT_FALSE(messageLabel()->isVisible());
    panel->showMessages();
    EXPECT_EQ(listed(), "There is nothing to tell.");
}

TEST_F(MessagesTest, TheLatestIsShownAndAllAreListed) {
    makePanel();
    messages.list = std::vector{kHint};
    EXPECT_TRUE(messageLabel()->isVisible());
    EXPECT_EQ(messageLabel()->text(), "No source is there: connect a camera");
    messages.list = std::vector{kHint, kWarning};
    EXPECT_EQ(messageLabel()->text(), "The camera is <b>busy</b>");
    EXPECT_TRUE(messageLabel()->toolTip().contains("&lt;b&gt;busy"));
    EXPECT_FALSE(list()->isVisible());
    QTest::mouseClick(panel->statusRow, Qt::LeftButton, {}, messageLabel()->geometry().center());
    EXPECT_TRUE(list()->isVisible());
    EXPECT_EQ(listed(), "No source is there: connect a camera\n\nThe camera is <b>busy</b>");
    QTest::keyClick(list(), Qt::Key_Escape);
    EXPECT_FALSE(list()->isVisible());
}

TEST_F(MessagesTest, TheStatusTextComesFirst) {
    makePanel();
    messages.list = std::vector{kHint};
    const int top = statusLabel()->geometry().top();
    EXPECT_LT(top, messageLabel()->geometry().top());
    EXPECT_EQ(status(), "Stopped");
    // One that needs both lines has them.
    view->toggleTracking();
    view->debugText = "❌ Erreur: a long reason that a camera gives, which does not fit in one line";
    panel->refresh();
    EXPECT_FALSE(messageLabel()->isVisible());
    EXPECT_EQ(statusLabel()->height(), panel->statusRow->height());
}

}  // namespace
}  // namespace velmaro
