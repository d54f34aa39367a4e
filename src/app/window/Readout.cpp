#include "app/window/Readout.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>
#include <array>
#include <charconv>

#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/Grid.h"
#include "app/window/TextLabel.h"

namespace velmaro {
namespace {

constexpr int kCaptionSize = 9;
constexpr int kValueSize = 14;
constexpr int kCaptionHeight = 12;
constexpr int kValueHeight = 20;
constexpr int kColumnWidth = 12 * kGrid;
constexpr double kRadius = 6;
constexpr double kBackgroundOpacity = 0.1;

TextLabel* makeLine(const QFont& font, TextLabel::Ink ink, int height, QWidget* parent) {
    auto* const label = new TextLabel(font, ink, parent);
    label->setAlignment(Qt::AlignCenter);
    // Of a fixed size, so that a new number costs its own pixels and no layout.
    label->setFixedSize(kColumnWidth, height);
    return label;
}

}  // namespace

Readout::Readout(QWidget* parent) : QWidget(parent) {
    auto* const columns = new QHBoxLayout(this);
    columns->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
    columns->setSpacing(0);
    pan_ = addColumn(tr("Pan"), tr("Pan in degrees"));
    tilt_ = addColumn(tr("Tilt"), tr("Tilt in degrees"));
}

Readout::Column Readout::addColumn(const QString& caption, const QString& name) {
    const Column column{
        makeLine(regularFont(kCaptionSize), TextLabel::Ink::secondary, kCaptionHeight, this),
        makeLine(semiBoldFont(kValueSize), TextLabel::Ink::primary, kValueHeight, this)};
    column.caption->setText(caption);
    column.value->setText(formatAngle(0));
    column.value->setAccessibleDescription(name);
    auto* const lines = new QVBoxLayout;
    lines->setSpacing(0);
    lines->addWidget(column.caption, 0, Qt::AlignHCenter);
    lines->addWidget(column.value, 0, Qt::AlignHCenter);
    static_cast<QHBoxLayout*>(layout())->addLayout(lines);
    return column;
}

void Readout::setAngles(float pan, float tilt, bool tiltEnabled) {
    pan_.value->setTextIfDifferent(formatAngle(pan));
    tilt_.value->setTextIfDifferent(formatAngle(tilt));
    tilt_.caption->setInk(tiltEnabled ? TextLabel::Ink::secondary : TextLabel::Ink::gray);
    tilt_.value->setInk(tiltEnabled ? TextLabel::Ink::primary : TextLabel::Ink::gray);
}

void Readout::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(withOpacity(colorsFor(palette()).gray, kBackgroundOpacity));
    painter.drawRoundedRect(rect(), kRadius, kRadius);
}

QString formatAngle(float degrees) {
    // As "%.1f" of the C locale. The toolkit's own formatting drops the sign of -0.0.
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(),
                                   static_cast<double>(degrees), std::chars_format::fixed, 1);
    return QString::fromLatin1(text.data(), end.ptr - text.data());
}

}  // namespace velmaro
