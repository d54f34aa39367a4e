#include "app/window/TextField.h"

#include <QEvent>
#include <QPainter>

#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/Frames.h"
#include "app/window/Grid.h"

namespace velmaro {
namespace {

constexpr int kFontSize = 11;
/// Beside the two pixels that a line edit keeps of itself.
constexpr int kTextMargin = 3;

}  // namespace

TextField::TextField(const QString& placeholder, QWidget* parent) : QLineEdit(parent) {
    setFont(regularFont(kFontSize));
    setPlaceholderText(placeholder);
    setFrame(false);
    setFixedHeight(kControlHeight);
    setTextMargins(kTextMargin, 0, kTextMargin, 0);
    clearBackground();
}

void TextField::setTextIfDifferent(const QString& text) {
    if (text != this->text()) {
        setText(text);
        setCursorPosition(0);
    }
}

// The field paints its own, since that of a line edit has square corners.
void TextField::clearBackground() {
    QPalette own;
    own.setColor(QPalette::Base, Qt::transparent);
    setPalette(own);
}

void TextField::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) {
        update();
    }
    QLineEdit::changeEvent(event);
}

void TextField::paintEvent(QPaintEvent* event) {
    const Colors& colors = colorsFor(palette());
    {
        QPainter painter(this);
        paintBody(painter, *this, colors.field, colors.controlEdge);
        if (hasFocus()) {
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(colors.blue, 2));
            painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), kCornerRadius - 1,
                                    kCornerRadius - 1);
        }
    }
    QLineEdit::paintEvent(event);
}

}  // namespace velmaro
