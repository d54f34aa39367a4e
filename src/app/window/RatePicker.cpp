#include "app/window/RatePicker.h"

#include <QKeyEvent>
#include <QPainter>
#include <QRadioButton>

#include "app/window/Accessibility.h"
#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/Frames.h"
#include "app/window/Grid.h"

namespace velmaro {
namespace {

constexpr int kWidth = 60;
constexpr int kInset = 2;
constexpr int kFontSize = 11;

class Segment final : public QRadioButton {
public:
    Segment(const QString& label, QWidget* parent) : QRadioButton(label, parent) {
        setFont(regularFont(kFontSize));
        setAttribute(Qt::WA_Hover);
    }

    [[nodiscard]] QSize sizeHint() const override { return size(); }

protected:
    [[nodiscard]] bool hitButton(const QPoint& position) const override {
        return rect().contains(position);
    }

    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            click();
            return;
        }
        QRadioButton::keyPressEvent(event);
    }

    void paintEvent(QPaintEvent* /*event*/) override {
        const Colors& colors = colorsFor(palette());
        const bool dark = colors.scheme == ColorScheme::dark;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (isChecked()) {
            const QRectF body = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
            painter.setPen(QPen(colors.controlEdge, 1));
            painter.setBrush(dark ? withOpacity(Qt::white, 0.22) : colors.control);
            painter.drawRoundedRect(body, kCornerRadius - kInset, kCornerRadius - kInset);
        }
        painter.setPen(isChecked() || underMouse() ? colors.primary : colors.secondary);
        painter.drawText(rect(), Qt::AlignCenter, text());
        paintFocusRing(painter, *this, colors.blue);
    }
};

}  // namespace

RatePicker::RatePicker(QWidget* parent) : QWidget(parent) {
    setFixedSize(kWidth, kControlHeight);
    setAttribute(Qt::WA_NoMousePropagation);
    setAccessibleName(tr("Messages per second"));
    setAccessibleRole(*this, QAccessible::Grouping);
    addSegment(30, kInset);
    addSegment(60, kWidth / 2);
}

void RatePicker::addSegment(std::int64_t rate, int left) {
    auto* const segment = new Segment(QString::number(rate), this);
    segment->setObjectName(QString::number(rate));
    segment->setGeometry(left, kInset, kWidth / 2 - kInset, kControlHeight - 2 * kInset);
    segment->setAccessibleName(tr("%1 messages per second").arg(rate));
    segment->setToolTip(tr("Send at most %1 messages per second; acts at once").arg(rate));
    connect(segment, &QRadioButton::clicked, this, [this, rate] {
        if (onPick) {
            onPick(rate);
        }
    });
}

QRadioButton* RatePicker::segment(std::int64_t rate) const {
    return findChild<QRadioButton*>(QString::number(rate));
}

void RatePicker::setRate(std::int64_t rate) {
    for (auto* const segment : findChildren<QRadioButton*>()) {
        const bool chosen = segment->objectName() == QString::number(rate);
        if (segment->isChecked() != chosen) {
            // Otherwise the last chosen one could not be unchosen.
            segment->setAutoExclusive(false);
            segment->setChecked(chosen);
            segment->setAutoExclusive(true);
        }
    }
}

void RatePicker::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    QPainter painter(this);
    paintBody(painter, *this, colors.well, Qt::transparent);
}

}  // namespace velmaro
