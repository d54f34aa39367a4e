#include "app/window/Symbols.h"

#include <QIconEngine>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPathStroker>
#include <QPixmap>
#include <algorithm>
#include <functional>
#include <utility>

namespace velmaro {
namespace {

/// Draws an icon at whatever size is asked for.
class PaintedIcon final : public QIconEngine {
public:
    using Paint = std::function<void(QPainter&, const QRectF&)>;

    explicit PaintedIcon(Paint paint) : paint_(std::move(paint)) {}

    void paint(QPainter* painter, const QRect& rectangle, QIcon::Mode mode,
               QIcon::State /*state*/) override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (mode == QIcon::Disabled) {
            painter->setOpacity(0.4);
        }
        const double side = std::min(rectangle.width(), rectangle.height());
        QRectF box(0, 0, side, side);
        box.moveCenter(QRectF(rectangle).center());
        paint_(*painter, box);
        painter->restore();
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(0, 0), size), mode, state);
        return pixmap;
    }

    [[nodiscard]] QIconEngine* clone() const override { return new PaintedIcon(*this); }

private:
    Paint paint_;
};

QPointF at(const QRectF& box, double x, double y) {
    return {box.x() + x * box.width(), box.y() + y * box.height()};
}

QPainterPath stroked(const QPainterPath& path, double width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(path);
}

void paintApplicationIcon(QPainter& painter, const QRectF& box) {
    const double side = box.width();
    const QPointF centre = at(box, 0.5, 0.5);
    QLinearGradient ground(box.topLeft(), box.bottomLeft());
    ground.setColorAt(0, QColor(58, 64, 84));
    ground.setColorAt(1, QColor(28, 31, 42));
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawRoundedRect(box.adjusted(side * 0.04, side * 0.04, -side * 0.04, -side * 0.04),
                            side * 0.21, side * 0.21);

    const double radius = side * 0.32;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(255, 255, 255, 90), side * 0.025));
    painter.drawEllipse(centre, radius, radius);

    QPainterPath wedge(centre);
    wedge.arcTo(QRectF(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius), 40, 60);
    wedge.closeSubpath();
    QLinearGradient beam(centre, at(box, 0.62, 0.18));
    beam.setColorAt(0, QColor(90, 170, 255));
    beam.setColorAt(1, QColor(90, 170, 255, 150));
    painter.setPen(Qt::NoPen);
    painter.setBrush(beam);
    painter.drawPath(wedge);
    painter.setBrush(QColor(255, 255, 255));
    painter.drawEllipse(centre, side * 0.06, side * 0.06);
}

}  // namespace

QPainterPath playSymbol(const QRectF& box) {
    // A triangle with rounded corners, its weight rather than its box in the middle.
    QPainterPath triangle(at(box, 0.3, 0.22));
    triangle.lineTo(at(box, 0.82, 0.5));
    triangle.lineTo(at(box, 0.3, 0.78));
    triangle.closeSubpath();
    return triangle.united(stroked(triangle, 0.16 * box.width()));
}

QPainterPath stopSymbol(const QRectF& box) {
    const double margin = 0.17 * box.width();
    QPainterPath square;
    square.addRoundedRect(box.adjusted(margin, margin, -margin, -margin), 0.1 * box.width(),
                          0.1 * box.width());
    return square;
}

QPainterPath headphonesSymbol(const QRectF& box) {
    QPainterPath band(at(box, 0.14, 0.66));
    band.lineTo(at(box, 0.14, 0.5));
    band.arcTo(QRectF(at(box, 0.14, 0.14), at(box, 0.86, 0.86)), 180, -180);
    band.lineTo(at(box, 0.86, 0.66));
    QPainterPath shape = stroked(band, 0.1 * box.width());
    for (const double left : {0.09, 0.68}) {
        QPainterPath cup;
        cup.addRoundedRect(QRectF(at(box, left, 0.55), at(box, left + 0.23, 0.91)),
                           0.09 * box.width(), 0.09 * box.width());
        shape = shape.united(cup);
    }
    return shape;
}

QPainterPath crossSymbol(const QRectF& box) {
    QPainterPath cross(at(box, 0.3, 0.3));
    cross.lineTo(at(box, 0.7, 0.7));
    cross.moveTo(at(box, 0.7, 0.3));
    cross.lineTo(at(box, 0.3, 0.7));
    return stroked(cross, 0.1 * box.width());
}

QPainterPath dashSymbol(const QRectF& box) {
    QPainterPath dash(at(box, 0.28, 0.5));
    dash.lineTo(at(box, 0.72, 0.5));
    return stroked(dash, 0.1 * box.width());
}

QIcon headphonesIcon(const QColor& color) {
    return QIcon(new PaintedIcon([color](QPainter& painter, const QRectF& box) {
        painter.fillPath(headphonesSymbol(box), color);
    }));
}

QIcon applicationIcon() {
    // As pixels, since window managers take nothing else.
    PaintedIcon painted(paintApplicationIcon);
    QIcon icon;
    for (const int side : {16, 24, 32, 48, 64, 128, 256}) {
        icon.addPixmap(painted.pixmap({side, side}, QIcon::Normal, QIcon::Off));
    }
    return icon;
}

}  // namespace velmaro
