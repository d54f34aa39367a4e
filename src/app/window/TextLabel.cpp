#include "app/window/TextLabel.h"

#include <QPainter>
#include <QTextLayout>
#include <algorithm>
#include <vector>

#include "app/window/Colors.h"

namespace velmaro {

TextLabel::TextLabel(const QFont& font, Ink ink, QWidget* parent) : QLabel(parent), ink_(ink) {
    setFont(font);
    // Texts come from cameras and the system too.
    setTextFormat(Qt::PlainText);
}

void TextLabel::setInk(Ink ink) {
    if (ink != ink_) {
        ink_ = ink;
        update();
    }
}

void TextLabel::setTextIfDifferent(const QString& text) {
    if (text != this->text()) {
        setText(text);
    }
}

void TextLabel::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    QPainter painter(this);
    // A painter goes by the application's direction, whatever that of the widget is.
    painter.setLayoutDirection(Qt::LeftToRight);
    painter.setPen(ink_ == Ink::primary     ? colors.primary
                   : ink_ == Ink::secondary ? colors.secondary
                                            : colors.gray);
    if (wordWrap()) {
        paintLines(painter);
    } else {
        painter.drawText(rect(), static_cast<int>(alignment()),
                         fontMetrics().elidedText(text(), Qt::ElideRight, width()));
    }
}

void TextLabel::paintLines(QPainter& painter) {
    // Lines may overlap by the room above their letters, which next to nothing reaches into.
    const int fullHeight = std::max(1, fontMetrics().height());
    const int most = std::max(1, qRound(static_cast<double>(height()) / fullHeight));
    const int lineHeight = std::min(fullHeight, height() / most);
    QTextLayout layout(text(), font());
    layout.beginLayout();
    std::vector<int> starts;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width());
        starts.push_back(line.textStart());
    }
    layout.endLayout();

    const int count = std::min(most, static_cast<int>(starts.size()));
    int top = (height() - count * lineHeight) / 2;
    for (int index = 0; index < count; ++index, top += lineHeight) {
        const auto place = static_cast<std::size_t>(index);
        const bool last = index + 1 == count;
        const int length = last ? -1 : starts[place + 1] - starts[place];
        const QString line = text().mid(starts[place], length).trimmed();
        painter.drawText(QRect(0, top, width(), lineHeight),
                         Qt::AlignLeft | Qt::AlignVCenter | Qt::TextDontClip,
                         fontMetrics().elidedText(line, Qt::ElideRight, width()));
    }
}

}  // namespace velmaro
