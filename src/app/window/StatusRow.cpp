#include "app/window/StatusRow.h"

#include <QCursor>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include "app/window/Accessibility.h"
#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/Grid.h"
#include "app/window/TextLabel.h"
#include "app/window/ToolTips.h"

namespace velmaro {
namespace {

constexpr double kDotSize = 6;
constexpr int kFontSize = 10;
constexpr int kMessageFontSize = 9;
/// Of two lines of text.
constexpr int kHeight = 3 * kGrid;

}  // namespace

StatusRow::StatusRow(QWidget* parent)
    : QWidget(parent),
      text_(new TextLabel(regularFont(kFontSize), TextLabel::Ink::secondary, this)),
      message_(new TextLabel(regularFont(kMessageFontSize), TextLabel::Ink::gray, this)),
      statusAnnouncer_(new Announcer(this)),
      reasonAnnouncer_(new Announcer(this)),
      messageAnnouncer_(new Announcer(this)) {
    setFixedSize(kWindowWidth - 2 * kPadding, kHeight);
    text_->setWordWrap(true);
    message_->setAccessibleDescription(tr("Message"));
    layOut();
    describe();
}

void StatusRow::layOut() {
    const int left = static_cast<int>(kDotSize) + kGrid;
    const int room = width() - left;
    const bool fits = text_->fontMetrics().horizontalAdvance(text_->text()) <= room;
    const bool hasMessage = fits && !message_->text().isEmpty();
    const int height = hasMessage ? kHeight / 2 : kHeight;
    text_->setGeometry(left, 0, room, height);
    message_->setGeometry(left, height, room, kHeight - height);
    message_->setVisible(hasMessage);
}

void StatusRow::setStatus(bool isRunning, const QString& text) {
    if (isRunning != isRunning_) {
        isRunning_ = isRunning;
        update();
    }
    if (text != text_->text()) {
        // The first one is no news.
        if (!text_->text().isEmpty()) {
            statusAnnouncer_->announce(text);
        }
        text_->setText(text);
        layOut();
        describe();
    }
}

void StatusRow::setReason(const QString& reason) {
    if (reason != reason_) {
        reason_ = reason;
        if (!reason.isEmpty()) {
            reasonAnnouncer_->announce(reason);
        }
        describe();
    }
}

void StatusRow::setMessage(const QString& message) {
    if (message != message_->text()) {
        message_->setText(message);
        message_->setToolTip(plainToolTip(message));
        if (!message.isEmpty()) {
            messageAnnouncer_->announce(message);
        }
        layOut();
        update();
    }
}

void StatusRow::describe() {
    const QString status = tr("Status");
    text_->setAccessibleDescription(reason_.isEmpty() ? status : status + ": " + reason_);
    const bool isShown = QToolTip::isVisible() && QToolTip::text() == text_->toolTip();
    text_->setToolTip(
        plainToolTip(reason_.isEmpty() ? text_->text() : text_->text() + '\n' + reason_));
    // The toolkit leaves what is shown as it was, for as long as the pointer rests.
    if (isShown) {
        QToolTip::showText(QCursor::pos(), text_->toolTip(), text_);
    }
}

void StatusRow::mousePressEvent(QMouseEvent* event) {
    const bool isHit = message_->isVisible() && message_->geometry().contains(event->pos());
    if (isHit && event->button() == Qt::LeftButton && onMessageClicked) {
        onMessageClicked();
        return;
    }
    // The window is moved by what is no control.
    event->ignore();
}

void StatusRow::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(isRunning_ ? colors.green : colors.gray);
    painter.drawEllipse(
        QRectF(0, QRectF(text_->geometry()).center().y() - kDotSize / 2, kDotSize, kDotSize));
}

}  // namespace velmaro
