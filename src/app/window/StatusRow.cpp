#include "app/window/StatusRow.h"

#include <QPainter>

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
/// Of two lines of text.
constexpr int kHeight = 3 * kGrid;

}  // namespace

StatusRow::StatusRow(QWidget* parent)
    : QWidget(parent),
      text_(new TextLabel(regularFont(kFontSize), TextLabel::Ink::secondary, this)),
      announcer_(new Announcer(this)) {
    setFixedSize(kWindowWidth - 2 * kPadding, kHeight);
    text_->setWordWrap(true);
    const int left = static_cast<int>(kDotSize) + kGrid;
    text_->setGeometry(left, 0, width() - left, kHeight);
    text_->setAccessibleDescription(tr("Status"));
}

void StatusRow::setStatus(bool isRunning, const QString& text) {
    if (isRunning != isRunning_) {
        isRunning_ = isRunning;
        update();
    }
    if (text != text_->text()) {
        // The first one is no news.
        if (!text_->text().isEmpty()) {
            announcer_->announce(text);
        }
        text_->setText(text);
        text_->setToolTip(plainToolTip(text));
    }
}

void StatusRow::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(isRunning_ ? colors.green : colors.gray);
    painter.drawEllipse(QRectF(0, (height() - kDotSize) / 2, kDotSize, kDotSize));
}

}  // namespace velmaro
