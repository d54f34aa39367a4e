#include "app/window/Gauge.h"

#include <QAccessibleWidget>
#include <QLinearGradient>
#include <QPainter>
#include <bit>
#include <cstdint>

#include "app/window/Colors.h"
#include "app/window/Readout.h"
#include "app/window/Wedge.h"

namespace velmaro {
namespace {

constexpr double kDotSize = 10;

/// Reads the angles out when asked, so that they cost nothing while nobody does.
class AccessibleGauge final : public QAccessibleWidget {
public:
    explicit AccessibleGauge(Gauge* gauge) : QAccessibleWidget(gauge, QAccessible::Graphic) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Description || kind == QAccessible::Value) {
            const auto* const gauge = static_cast<const Gauge*>(widget());
            return Gauge::tr("Pan %1°, tilt %2°")
                .arg(formatAngle(gauge->pan()), formatAngle(gauge->tilt()));
        }
        return QAccessibleWidget::text(kind);
    }
};

QAccessibleInterface* makeAccessible(const QString& className, QObject* object) {
    auto* const gauge = qobject_cast<Gauge*>(object);
    return gauge != nullptr && className == Gauge::staticMetaObject.className()
               ? new AccessibleGauge(gauge)
               : nullptr;
}

bool same(float left, float right) {
    return std::bit_cast<std::uint32_t>(left) == std::bit_cast<std::uint32_t>(right);
}

}  // namespace

Gauge::Gauge(QWidget* parent) : QWidget(parent) {
    static const bool installed = (QAccessible::installFactory(makeAccessible), true);
    Q_UNUSED(installed)
    setFixedSize(static_cast<int>(kGaugeSize) + 2 * kMargin,
                 static_cast<int>(kGaugeSize) + 2 * kMargin);
    setAccessibleName(tr("Head orientation"));
}

void Gauge::setAngles(float pan, float tilt) {
    // By their bits, since an angle that is no number differs from itself.
    if (same(pan, pan_) && same(tilt, tilt_)) {
        return;
    }
    pan_ = pan;
    tilt_ = tilt;
    update();
}

void Gauge::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(kMargin, kMargin);

    const QPointF centre(kGaugeRadius, kGaugeRadius);
    const double outline = colors.scheme == ColorScheme::dark ? 0.5 : 0.3;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(withOpacity(colors.gray, outline), 1));
    painter.drawEllipse(centre, kGaugeRadius, kGaugeRadius);

    QLinearGradient gradient(centre, QPointF(kGaugeRadius, 0));
    gradient.setColorAt(0, withOpacity(colors.blue, 0.6));
    gradient.setColorAt(1, withOpacity(colors.blue, 0.2));
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawPath(wedgePath(pan_, tilt_));

    painter.setBrush(colors.blue);
    painter.drawEllipse(centre, kDotSize / 2, kDotSize / 2);
}

}  // namespace velmaro
