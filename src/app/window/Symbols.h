#pragma once

#include <QColor>
#include <QIcon>
#include <QPainterPath>
#include <QRectF>

namespace velmaro {

/// The window's symbols as shapes to fill, drawn inside `box`, which is square.
[[nodiscard]] QPainterPath playSymbol(const QRectF& box);
[[nodiscard]] QPainterPath stopSymbol(const QRectF& box);
[[nodiscard]] QPainterPath headphonesSymbol(const QRectF& box);
[[nodiscard]] QPainterPath crossSymbol(const QRectF& box);
[[nodiscard]] QPainterPath dashSymbol(const QRectF& box);

/// The headphones in that colour, sharp at every size.
[[nodiscard]] QIcon headphonesIcon(const QColor& color);

/// The program's own icon, for task bars without a theme that has it.
[[nodiscard]] QIcon applicationIcon();

}  // namespace velmaro
