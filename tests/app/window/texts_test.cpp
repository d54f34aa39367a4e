#include <gtest/gtest.h>

#include <QFile>
#include <QFontInfo>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <QXmlStreamReader>
#include <cstdio>
#include <limits>

#include "app/window/Fonts.h"
#include "app/window/Readout.h"
#include "app/window/TextLabel.h"
#include "app/window/TextScale.h"

namespace velmaro {
namespace {

TEST(FormatAngle, IsThatOfTheCLocale) {
    for (const float angle : {0.0F, -0.0F, 1.0F, -1.0F, 12.34F, -12.36F, 0.04F, -0.04F, 0.05F,
                              0.25F, 0.35F, 89.95F, -90.0F, 179.96F, -180.0F}) {
        char wanted[64];
        std::snprintf(wanted, sizeof wanted, "%.1f", static_cast<double>(angle));
        EXPECT_EQ(formatAngle(angle).toStdString(), wanted);
    }
    EXPECT_EQ(formatAngle(-0.0F).toStdString(), "-0.0");
    EXPECT_EQ(formatAngle(std::numeric_limits<float>::quiet_NaN()).toStdString(), "nan");
}

TEST(Fonts, AreTheWindowsOwn) {
    EXPECT_EQ(QFontInfo(regularFont(11)).family(), "Mulish");
    EXPECT_EQ(QFontInfo(semiBoldFont(14)).family(), "Mulish SemiBold");
    EXPECT_EQ(QFontInfo(regularFont(11)).pixelSize(), 11);
}

TEST(Fonts, MissingAreToldAndReplaced) {
    EXPECT_FALSE(loadFonts("/nowhere"));
    EXPECT_GT(QFontMetrics(regularFont(11)).height(), 0);
}

TEST(TextScale, IsThatOfTheDesktopUpToOneAndAHalf) {
    // No desktop's default makes the window any larger, and nothing makes it smaller.
    for (const double points : {6.0, 9.0, 10.0, 11.0}) {
        EXPECT_EQ(textScale(points, 1), 1) << points;
    }
    EXPECT_DOUBLE_EQ(textScale(12, 1), 1.2);
    EXPECT_DOUBLE_EQ(textScale(11, 1.25), 1.25);
    EXPECT_DOUBLE_EQ(textScale(12, 1.2), 1.44);
    EXPECT_EQ(textScale(40, 1), 1.5);
    EXPECT_EQ(textScale(14, 2), 1.5);
    EXPECT_EQ(textScale(10, 0.5), 1);
    EXPECT_EQ(textScale(10, std::numeric_limits<double>::quiet_NaN()), 1);
}

/// The rows of a picture of `size` that differ from its ground.
template <typename Paint>
QList<int> inkedRows(const QSize& size, const Paint& paint) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    paint(image);
    QList<int> rows;
    for (int row = 0; row < image.height(); ++row) {
        for (int column = 0; column < image.width(); ++column) {
            if (image.pixel(column, row) != image.pixel(0, 0)) {
                rows.append(row);
                break;
            }
        }
    }
    return rows;
}

TEST(TextLabel, CutsNoLetterOff) {
    const QFont font = regularFont(10);
    const auto letters = inkedRows({200, 40}, [&](QImage& image) {
        QPainter painter(&image);
        painter.setFont(font);
        painter.drawText(10, 25, "ÀRunning");
    });
    for (const int height : {12, 24}) {
        TextLabel label(font, TextLabel::Ink::primary);
        label.setWordWrap(true);
        label.setText("ÀRunning");
        label.resize(200, height);
        EXPECT_EQ(inkedRows(label.size(), [&](QImage& image) { label.render(&image); }).size(),
                  letters.size())
            << height;
    }
}

/// Language, for every text of the window a translation that is done.
class Translation : public testing::TestWithParam<const char*> {};

TEST_P(Translation, IsComplete) {
    QFile file(QStringLiteral(VELMARO_TRANSLATIONS_DIR "/velmaro_%1.ts").arg(GetParam()));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader reader(&file);
    QString source;
    int texts = 0;
    while (!reader.atEnd()) {
        reader.readNext();
        if (!reader.isStartElement()) {
            continue;
        }
        if (reader.name() == QLatin1String("source")) {
            source = reader.readElementText();
        } else if (reader.name() == QLatin1String("translation")) {
            ++texts;
            EXPECT_FALSE(reader.attributes().hasAttribute("type")) << source.toStdString();
            const QString text = reader.readElementText();
            EXPECT_FALSE(text.isEmpty()) << source.toStdString();
            EXPECT_EQ(text.count('%'), source.count('%')) << source.toStdString();
        }
    }
    EXPECT_FALSE(reader.hasError());
    EXPECT_GT(texts, 20);
}

INSTANTIATE_TEST_SUITE_P(Languages, Translation, testing::Values("de", "fr"));

}  // namespace
}  // namespace velmaro
