#include "app/window/SourcePicker.h"

#include <QAbstractItemView>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QWheelEvent>
#include <algorithm>

#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/Frames.h"
#include "app/window/Grid.h"
#include "app/window/Symbols.h"

namespace velmaro {
namespace {

constexpr int kFontSize = 11;
constexpr int kIconSize = 14;
constexpr int kArrowsWidth = 20;

QString idOf(const InputSource& source) {
    return QString::fromStdString(source.id());
}

/// Up and down: the sign of a pop-up menu.
void paintArrows(QPainter& painter, const QPointF& centre, const QColor& color) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    for (const double side : {-1.0, 1.0}) {
        const QPointF tip = centre + QPointF(0, side * 4.5);
        const QPointF points[] = {tip + QPointF(-2.5, -side * 2.5), tip,
                                  tip + QPointF(2.5, -side * 2.5)};
        painter.drawPolyline(points, 3);
    }
}

}  // namespace

SourcePicker::SourcePicker(QWidget* parent) : QComboBox(parent) {
    setFont(regularFont(kFontSize));
    setFixedHeight(kControlHeight);
    setIconSize({kIconSize, kIconSize});
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setAttribute(Qt::WA_Hover);
    // Never chooses by itself when the first row arrives.
    setPlaceholderText(" ");
    connect(this, &QComboBox::activated, this, [this](int row) {
        if (onPick) {
            onPick(itemData(row).toString().toStdString());
        }
    });
}

void SourcePicker::setSources(const std::vector<InputSource>& sources,
                              const std::string& selectedId) {
    const auto wanted = [&](const QString& id) {
        return std::any_of(sources.begin(), sources.end(),
                           [&](const InputSource& source) { return idOf(source) == id; });
    };
    for (int row = count() - 1; row >= 0; --row) {
        if (!wanted(itemData(row).toString())) {
            removeItem(row);
        }
    }
    int row = 0;
    for (const InputSource& source : sources) {
        const int present = findData(idOf(source));
        if (present > row) {
            removeItem(present);
        }
        if (present != row) {
            insertSource(row, source);
        } else if (const QString label = QString::fromStdString(source.label());
                   itemText(row) != label) {
            setItemText(row, label);
        }
        ++row;
    }
    fitOpenList();
    if (const int selected = findData(QString::fromStdString(selectedId));
        selected != currentIndex()) {
        setCurrentIndex(selected);
    }
}

void SourcePicker::fitOpenList() {
    if (!view()->isVisible()) {
        return;
    }
    if (count() == 0) {
        hidePopup();
        return;
    }
    int rows = 0;
    for (int row = 0; row < count(); ++row) {
        rows += view()->sizeHintForRow(row);
    }
    QWidget* const popup = view()->window();
    const int frame = popup->height() - view()->viewport()->height();
    const QRect screen = popup->screen()->availableGeometry();
    QRect place(popup->pos(), QSize(popup->width(), std::min(frame + rows, screen.height())));
    if (place.bottom() > screen.bottom()) {
        place.moveBottom(screen.bottom());
    }
    if (place != popup->geometry()) {
        popup->setGeometry(place);
    }
}

void SourcePicker::insertSource(int row, const InputSource& source) {
    const QString label = QString::fromStdString(source.label());
    if (source.isAirpods()) {
        // They are offered only while they are connected, which is what green tells.
        insertItem(row, headphonesIcon(colorsFor(palette()).green), label, idOf(source));
    } else {
        insertItem(row, label, idOf(source));
    }
}

void SourcePicker::tintIcons() {
    for (int row = 0; row < count(); ++row) {
        if (!itemIcon(row).isNull()) {
            setItemIcon(row, headphonesIcon(colorsFor(palette()).green));
        }
    }
}

void SourcePicker::changeEvent(QEvent* event) {
    QComboBox::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        tintIcons();
    }
}

void SourcePicker::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        showPopup();
        return;
    }
    QComboBox::keyPressEvent(event);
}

// Scrolling past the window must not change what is tracked.
void SourcePicker::wheelEvent(QWheelEvent* event) {
    event->ignore();
}

void SourcePicker::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    QPainter painter(this);
    painter.setLayoutDirection(Qt::LeftToRight);
    paintBody(painter, *this, colors.control, colors.controlEdge);
    if (underMouse()) {
        paintBody(painter, *this, withOpacity(colors.primary, 0.04), Qt::transparent);
    }
    paintArrows(painter, QPointF(width() - kArrowsWidth / 2.0, height() / 2.0), colors.secondary);

    QRect content = rect().adjusted(kGrid, 0, -kArrowsWidth, 0);
    if (currentIndex() >= 0) {
        if (const QIcon icon = itemIcon(currentIndex()); !icon.isNull()) {
            const int top = (height() - kIconSize) / 2;
            icon.paint(&painter, content.left(), top, kIconSize, kIconSize);
            content.adjust(kIconSize + kGrid / 2, 0, 0, 0);
        }
        painter.setPen(colors.primary);
        painter.drawText(content, Qt::AlignLeft | Qt::AlignVCenter,
                         fontMetrics().elidedText(currentText(), Qt::ElideMiddle, content.width()));
    }
    paintFocusRing(painter, *this, colors.blue);
}

}  // namespace velmaro
