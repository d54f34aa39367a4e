#include "app/window/Colors.h"

namespace velmaro {
namespace {

QColor black(double opacity) {
    return QColor::fromRgbF(0, 0, 0, static_cast<float>(opacity));
}

QColor white(double opacity) {
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(opacity));
}

const Colors kLight{
    .scheme = ColorScheme::light,
    .window = QColor(246, 246, 248),
    .primary = black(0.85),
    .secondary = black(0.6),
    .green = QColor(40, 170, 70),
    .red = QColor(235, 64, 52),
    .orange = QColor(214, 120, 0),
    .blue = QColor(0, 110, 245),
    .gray = QColor(142, 142, 147),
    .control = QColor(255, 255, 255),
    .controlEdge = black(0.13),
    .field = QColor(255, 255, 255),
    .well = black(0.06),
    .onColor = QColor(255, 255, 255),
};

const Colors kDark{
    .scheme = ColorScheme::dark,
    .window = QColor(38, 38, 41),
    .primary = white(0.88),
    .secondary = white(0.62),
    .green = QColor(48, 185, 80),
    .red = QColor(255, 76, 66),
    .orange = QColor(255, 165, 40),
    .blue = QColor(70, 150, 255),
    .gray = QColor(152, 152, 157),
    .control = white(0.12),
    .controlEdge = white(0.06),
    .field = black(0.25),
    .well = white(0.07),
    .onColor = QColor(255, 255, 255),
};

/// What a translucent colour looks like on the window.
QColor onWindow(const Colors& colors, const QColor& color) {
    const auto mix = [&](int above, int below) {
        const auto share = color.alphaF();
        return qRound(static_cast<float>(above) * share + static_cast<float>(below) * (1 - share));
    };
    return {mix(color.red(), colors.window.red()), mix(color.green(), colors.window.green()),
            mix(color.blue(), colors.window.blue())};
}

}  // namespace

const Colors& colorsOf(ColorScheme scheme) {
    return scheme == ColorScheme::dark ? kDark : kLight;
}

ColorScheme schemeOf(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128 ? ColorScheme::dark
                                                             : ColorScheme::light;
}

QPalette paletteOf(ColorScheme scheme) {
    const Colors& colors = colorsOf(scheme);
    const QColor text = onWindow(colors, colors.primary);
    const QColor weak = onWindow(colors, colors.secondary);
    const bool dark = scheme == ColorScheme::dark;

    QPalette palette(colors.window);
    palette.setColor(QPalette::Window, colors.window);
    palette.setColor(QPalette::Base, dark ? QColor(50, 50, 54) : QColor(255, 255, 255));
    palette.setColor(QPalette::AlternateBase, colors.window);
    palette.setColor(QPalette::Button, dark ? QColor(58, 58, 62) : QColor(255, 255, 255));
    palette.setColor(QPalette::ToolTipBase, dark ? QColor(58, 58, 62) : QColor(255, 255, 255));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                            QPalette::ToolTipText, QPalette::BrightText}) {
        palette.setColor(role, text);
    }
    palette.setColor(QPalette::PlaceholderText, withOpacity(weak, 0.7));
    palette.setColor(QPalette::Highlight, dark ? QColor(28, 100, 215) : colors.blue);
    palette.setColor(QPalette::HighlightedText, QColor(255, 255, 255));
    palette.setColor(QPalette::Link, colors.blue);
    // The constructor derives this group for a light window.
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                            QPalette::HighlightedText, QPalette::ToolTipText}) {
        palette.setColor(QPalette::Disabled, role,
                         onWindow(colors, withOpacity(colors.primary, 0.35)));
    }
    palette.setColor(QPalette::Disabled, QPalette::Highlight, colors.gray);
    palette.setColor(QPalette::Disabled, QPalette::Base, colors.window);
    palette.setColor(QPalette::Disabled, QPalette::Button, colors.window);
    return palette;
}

QColor withOpacity(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

}  // namespace velmaro
