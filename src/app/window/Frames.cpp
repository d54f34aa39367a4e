#include "app/window/Frames.h"

#include "app/window/Grid.h"

namespace velmaro {
namespace {

void paintOutline(QPainter& painter, const QWidget& control, const QColor& color, double width) {
    const double inset = width / 2;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color, width));
    painter.drawRoundedRect(QRectF(control.rect()).adjusted(inset, inset, -inset, -inset),
                            kCornerRadius - inset, kCornerRadius - inset);
}

}  // namespace

void paintBody(QPainter& painter, const QWidget& control, const QColor& fill, const QColor& edge) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(control.rect(), kCornerRadius, kCornerRadius);
    if (edge.alpha() > 0) {
        paintOutline(painter, control, edge, 1);
    }
}

void paintFocusRing(QPainter& painter, const QWidget& control, const QColor& color) {
    if (control.hasFocus() && control.window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        painter.setRenderHint(QPainter::Antialiasing);
        paintOutline(painter, control, color, 2);
    }
}

}  // namespace velmaro
