// Pictures of the whole panel against kept ones. After a wanted change, run the tests with
// VELMARO_UPDATE_PICTURES=1, look at the new pictures and commit them.

#include <QImage>
#include <QRegion>
#include <cstdlib>
#include <string>
#include <tuple>

#include "app/window/Colors.h"
#include "app/window/PanelFixture.h"

namespace velmaro {
namespace {

enum class State { stopped, running };

using Case = std::tuple<ColorScheme, State, int>;

class PicturesTest : public PanelTest, public testing::WithParamInterface<Case> {
protected:
    void TearDown() override { QApplication::setPalette(paletteOf(ColorScheme::light)); }
};

/// The share of pixels that differ by more than the rounding of another font renderer.
double difference(const QImage& left, const QImage& right) {
    constexpr int kTolerance = 40;
    int differing = 0;
    for (int row = 0; row < left.height(); ++row) {
        for (int column = 0; column < left.width(); ++column) {
            const QColor a = left.pixelColor(column, row);
            const QColor b = right.pixelColor(column, row);
            const int most = std::max({std::abs(a.red() - b.red()), std::abs(a.green() - b.green()),
                                       std::abs(a.blue() - b.blue())});
            differing += most > kTolerance ? 1 : 0;
        }
    }
    return static_cast<double>(differing) / (left.width() * left.height());
}

TEST_P(PicturesTest, AreAsKept) {
    const auto [scheme, state, scale] = GetParam();
    QApplication::setPalette(paletteOf(scheme));
    capture.setLocal({desk});
    makePanel();
    if (state == State::running) {
        view->toggleTracking();
        view->debugText = "Running";
        view->faceDetector->pan = 24.5F;
        view->faceDetector->tilt = 12.0F;
    }
    QApplication::sendPostedEvents();
    panel->refresh();
    QImage image(panel->size() * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(colorsOf(scheme).window);
    panel->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);

    const std::string name = std::string(scheme == ColorScheme::dark ? "dark" : "light") + "-" +
                             (state == State::running ? "running" : "stopped") + "@" +
                             std::to_string(scale) + ".png";
    const QString file = QString::fromStdString(VELMARO_PICTURES_DIR "/" + name);
    if (std::getenv("VELMARO_UPDATE_PICTURES") != nullptr) {
        ASSERT_TRUE(image.save(file));
        GTEST_SKIP() << "kept " << name << " anew";
    }
    const QImage kept(file);
    ASSERT_FALSE(kept.isNull()) << name;
    ASSERT_EQ(kept.size(), image.size());
    const double share = difference(image, kept);
    if (share >= 0.005) {
        image.save(QString::fromStdString(testing::TempDir() + name));
    }
    EXPECT_LT(share, 0.005) << "see " << testing::TempDir() << name;
}

INSTANTIATE_TEST_SUITE_P(All, PicturesTest,
                         testing::Combine(testing::Values(ColorScheme::light, ColorScheme::dark),
                                          testing::Values(State::stopped, State::running),
                                          testing::Values(1, 2)));

}  // namespace
}  // namespace velmaro
