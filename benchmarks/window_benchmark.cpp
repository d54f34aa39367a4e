// What the window costs while the angles change, drawn as on a screen but without one.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QRegion>

#include "app/window/Colors.h"
#include "app/window/Gauge.h"
#include "app/window/Readout.h"

namespace {

using namespace velmaro;

/// The toolkit's application object, without a display.
void makeApplication() {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int count = 1;
    static char name[] = "benchmark_window";
    static char* arguments[] = {name, nullptr};
    [[maybe_unused]] static auto* const application = new QApplication(count, arguments);
    QApplication::setPalette(paletteOf(ColorScheme::light));
}

void paint(QWidget& widget, QImage& image) {
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
}

QImage imageOf(const QWidget& widget, int scale) {
    QImage image(widget.size() * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(colorsOf(ColorScheme::light).window);
    return image;
}

/// One new pair of angles in the gauge. The argument is the screen's scale.
void gaugePaint(benchmark::State& state) {
    makeApplication();
    Gauge gauge;
    QImage image = imageOf(gauge, static_cast<int>(state.range(0)));
    float pan = 0;
    for ([[maybe_unused]] auto _ : state) {
        pan += 1;
        gauge.setAngles(pan, pan / 4);
        paint(gauge, image);
    }
}
BENCHMARK(gaugePaint)->Arg(1)->Arg(2);

/// The same in the numbers, their layout included.
void readoutPaint(benchmark::State& state) {
    makeApplication();
    Readout readout;
    readout.resize(218, 48);
    QImage image = imageOf(readout, static_cast<int>(state.range(0)));
    float pan = 0;
    for ([[maybe_unused]] auto _ : state) {
        pan += 0.1F;
        readout.setAngles(pan, pan / 4, true);
        paint(readout, image);
    }
}
BENCHMARK(readoutPaint)->Arg(1)->Arg(2);

}  // namespace
