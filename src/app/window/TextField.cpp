#include "app/window/TextField.h"

#include <QEvent>
#include <QLinearGradient>
#include <QPainter>

#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/Frames.h"
#include "app/window/Grid.h"
#include "app/window/ToolTips.h"

namespace velmaro {
namespace {

constexpr int kFontSize = 11;
constexpr int kTextMargin = 3;
/// What a line edit keeps free of itself beside that.
constexpr int kOwnMargin = 2;
constexpr int kFadeWidth = 3 * kGrid;

}  // namespace

TextField::TextField(const QString& placeholder, QWidget* parent) : QLineEdit(parent) {
    setFont(regularFont(kFontSize));
    setPlaceholderText(placeholder);
    setFrame(false);
    setFixedHeight(kControlHeight);
    setTextMargins(kTextMargin, 0, kTextMargin, 0);
    clearBackground();
    connect(this, &QLineEdit::textChanged, this, [this] { describe(); });
}

void TextField::setHelp(const QString& help) {
    help_ = help;
    describe();
}

void TextField::setNote(const FieldNote& note) {
    if (note != note_) {
        note_ = note;
        describe();
        update();
    }
}

void TextField::describe() {
    const QString known = note_.text.isEmpty() ? help_ : note_.text + '\n' + help_;
    setAccessibleDescription(known);
    setToolTip(plainToolTip(fits() ? known : text() + '\n' + known));
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
        paintOutline(painter);
    }
    if (hasFocus() || fits()) {
        QLineEdit::paintEvent(event);
    } else {
        paintFading();
    }
}

void TextField::paintOutline(QPainter& painter) {
    const Colors& colors = colorsFor(palette());
    QPen pen(colors.blue, 2);
    switch (note_.kind) {
        case FieldNote::Kind::none:
            if (!hasFocus()) {
                return;
            }
            break;
        case FieldNote::Kind::pending:
            // Unlike the others in more than its colour.
            pen = QPen(colors.orange, 2, Qt::DashLine);
            break;
        case FieldNote::Kind::wrong:
            pen.setColor(colors.red);
            break;
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(pen);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), kCornerRadius - 1,
                            kCornerRadius - 1);
}

void TextField::resizeEvent(QResizeEvent* event) {
    QLineEdit::resizeEvent(event);
    describe();
}

QRect TextField::textArea() const {
    const QRect all = contentsRect().marginsRemoved(textMargins());
    const int height = fontMetrics().height();
    return {all.x() + kOwnMargin, all.y() + (all.height() - height + 1) / 2,
            all.width() - 2 * kOwnMargin, height};
}

bool TextField::fits() const {
    return fontMetrics().horizontalAdvance(text()) <= textArea().width();
}

void TextField::paintFading() {
    const QColor ink = palette().color(QPalette::Text);
    const QRect area = textArea();
    QLinearGradient fade(area.right() - kFadeWidth, 0, area.right(), 0);
    fade.setColorAt(0, ink);
    fade.setColorAt(1, withOpacity(ink, 0));
    QPainter painter(this);
    painter.setLayoutDirection(Qt::LeftToRight);
    painter.setPen(QPen(fade, 1));
    painter.drawText(area, Qt::AlignLeft | Qt::AlignTop, text());
}

}  // namespace velmaro
