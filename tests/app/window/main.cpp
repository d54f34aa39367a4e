// The toolkit wants its application object around all tests; none of them needs a display.

#include <gtest/gtest.h>

#include <QApplication>
#include <clocale>

#include "app/window/Colors.h"
#include "app/window/Fonts.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::setenv("QT_SCALE_FACTOR", "1", 1);
    const QApplication application(argc, argv);
    std::setlocale(LC_NUMERIC, "C");
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setPalette(velmaro::paletteOf(velmaro::ColorScheme::light));
    if (!velmaro::loadFonts(VELMARO_FONTS_DIR)) {
        return 1;
    }
    return RUN_ALL_TESTS();
}
