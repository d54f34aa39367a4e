#include "app/window/Button.h"

#include <QPainter>

#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/Frames.h"
#include "app/window/Grid.h"
#include "app/window/Symbols.h"

namespace velmaro {
namespace {

constexpr int kFontSize = 11;
constexpr int kSymbolFrame = 24;
constexpr double kSymbolSize = 14;
constexpr double kDisabledOpacity = 0.45;

QColor colorOf(Button::Tint tint, const Colors& colors) {
    switch (tint) {
        case Button::Tint::none:
            return colors.primary;
        case Button::Tint::green:
            return colors.green;
        case Button::Tint::red:
            return colors.red;
        case Button::Tint::blue:
            return colors.blue;
        case Button::Tint::gray:
            return colors.gray;
    }
    return {};
}

QColor body(Button::Look look, Button::Tint tint, const Colors& colors) {
    if (look == Button::Look::prominent) {
        return colorOf(tint, colors);
    }
    return tint == Button::Tint::none ? colors.control : withOpacity(colorOf(tint, colors), 0.16);
}

}  // namespace

Button::Button(Look look, const QString& label, QWidget* parent)
    : QPushButton(label, parent), look_(look) {
    setFont(regularFont(kFontSize));
    setFixedHeight(kControlHeight);
    setAutoDefault(true);
    setAttribute(Qt::WA_Hover);
    // A press on a disabled button is not meant for what lies behind it.
    setAttribute(Qt::WA_NoMousePropagation);
}

void Button::setTint(Tint tint) {
    if (tint != tint_) {
        tint_ = tint;
        update();
    }
}

void Button::setSymbol(Symbol symbol) {
    if (symbol != symbol_) {
        symbol_ = symbol;
        update();
    }
}

QSize Button::sizeHint() const {
    const int content =
        symbol_ == Symbol::none ? fontMetrics().horizontalAdvance(text()) : kSymbolFrame;
    return {content + kGrid, kControlHeight};
}

void Button::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    const bool prominent = look_ == Look::prominent;
    const QColor tint = colorOf(tint_, colors);
    QPainter painter(this);
    if (!isEnabled()) {
        painter.setOpacity(kDisabledOpacity);
    }
    paintBody(painter, *this, body(look_, tint_, colors),
              prominent || tint_ != Tint::none ? QColor(Qt::transparent) : colors.controlEdge);
    if (isDown()) {
        paintBody(painter, *this, withOpacity(Qt::black, 0.15), Qt::transparent);
    } else if (isEnabled() && underMouse()) {
        paintBody(painter, *this, withOpacity(prominent ? Qt::white : colors.primary, 0.06),
                  Qt::transparent);
    }

    const QColor ink = prominent ? colors.onColor : tint;
    if (symbol_ == Symbol::none) {
        painter.setPen(ink);
        painter.drawText(rect(), Qt::AlignCenter, text());
    } else {
        QRectF box(0, 0, kSymbolSize, kSymbolSize);
        box.moveCenter(QRectF(rect()).center());
        painter.fillPath(symbol_ == Symbol::play ? playSymbol(box) : stopSymbol(box), ink);
    }
    paintFocusRing(painter, *this, prominent ? withOpacity(colors.onColor, 0.8) : colors.blue);
}

}  // namespace velmaro
