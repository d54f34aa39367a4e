#pragma once

#include <QColor>
#include <QPalette>

namespace velmaro {

enum class ColorScheme { light, dark };

/// The colours of the window in one scheme.
struct Colors {
    ColorScheme scheme;
    QColor window;
    /// Text and, weaker, captions.
    QColor primary;
    QColor secondary;
    QColor green;
    QColor red;
    QColor orange;
    QColor blue;
    QColor gray;
    /// What is pressed, and its edge.
    QColor control;
    QColor controlEdge;
    /// What is typed into.
    QColor field;
    /// A dent that holds other things.
    QColor well;
    /// On a colour.
    QColor onColor;
};

[[nodiscard]] const Colors& colorsOf(ColorScheme scheme);

/// The scheme whose window is about as light as that of `palette`.
[[nodiscard]] ColorScheme schemeOf(const QPalette& palette);

/// What a widget with that palette paints with.
[[nodiscard]] inline const Colors& colorsFor(const QPalette& palette) {
    return colorsOf(schemeOf(palette));
}

/// For the whole application: menus, tool tips and every state of the standard widgets.
[[nodiscard]] QPalette paletteOf(ColorScheme scheme);

[[nodiscard]] QColor withOpacity(QColor color, double opacity);

}  // namespace velmaro
