#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QImage>
#include <QTest>

#include "app/window/Colors.h"
#include "app/window/TextField.h"

namespace velmaro {
namespace {

/// How strongly the columns of a field are written on, from 0 to 255: its darkest pixel there.
int inkIn(const QImage& image, int from, int to) {
    int darkest = 255;
    for (int row = 4; row < image.height() - 4; ++row) {
        for (int column = from; column < to; ++column) {
            darkest = std::min(darkest, image.pixelColor(column, row).lightness());
        }
    }
    return 255 - darkest;
}

class TextFieldTest : public testing::Test {
protected:
    void SetUp() override {
        field.setFixedWidth(80);
        field.setHelp("What it is for");
        field.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&field));
        field.clearFocus();
    }

    [[nodiscard]] QImage picture() {
        QImage image(field.size(), QImage::Format_RGB32);
        image.fill(colorsOf(ColorScheme::light).window);
        field.render(&image);
        return image;
    }

    TextField field{"IP"};
};

TEST_F(TextFieldTest, WhatFitsIsShownAsEver) {
    field.setTextIfDifferent("127.0.0.1");
    ASSERT_FALSE(field.hasFocus());
    EXPECT_EQ(field.toolTip(), "What it is for");
    EXPECT_GT(inkIn(picture(), 5, 20), 150);
}

TEST_F(TextFieldTest, WhatDoesNotFitFadesAtItsEndAndIsWholeInTheToolTip) {
    field.setTextIfDifferent("192.168.178.123");
    ASSERT_FALSE(field.hasFocus());
    const QImage image = picture();
    EXPECT_GT(inkIn(image, 5, 40), 150);
    EXPECT_LT(inkIn(image, 69, 74), 60);
    EXPECT_EQ(field.toolTip(), "192.168.178.123\nWhat it is for");
    EXPECT_EQ(field.text(), "192.168.178.123");
}

TEST_F(TextFieldTest, WhoeverTypesSeesThePlainText) {
    field.setTextIfDifferent("192.168.178.123");
    field.activateWindow();
    field.setFocus();
    ASSERT_TRUE(QTest::qWaitFor([&] { return field.hasFocus(); }));
    EXPECT_GT(inkIn(picture(), 69, 74), 100);
}

TEST_F(TextFieldTest, BeginsAtTheSamePlaceEitherWay) {
    // The first figure has nothing of the fading, so that every pixel of it is the same.
    field.setTextIfDifferent("192.168.178.123");
    const QImage fading = picture();
    field.setFixedWidth(200);
    EXPECT_EQ(picture().copy(6, 4, 20, 16), fading.copy(6, 4, 20, 16));
}

TEST_F(TextFieldTest, AToolTipIsNeverMarkup) {
    field.setTextIfDifferent("/<b>a long path that does not fit</b>");
    EXPECT_TRUE(field.toolTip().contains("&lt;b&gt;"));
}

}  // namespace
}  // namespace velmaro
