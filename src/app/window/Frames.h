#pragma once

#include <QColor>
#include <QPainter>
#include <QWidget>

namespace velmaro {

/// Paints the rounded body of a control over its whole area, with a hairline inside its edge.
void paintBody(QPainter& painter, const QWidget& control, const QColor& fill, const QColor& edge);

/// Paints the ring of the control that the keyboard acts on; nothing unless the keyboard has been
/// used to get there.
void paintFocusRing(QPainter& painter, const QWidget& control, const QColor& color);

}  // namespace velmaro
