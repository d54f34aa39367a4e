#include "app/window/Window.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>
#include <QWindow>
#include <utility>

#include "app/window/Colors.h"
#include "app/window/Grid.h"
#include "app/window/Symbols.h"

namespace velmaro {
namespace {

/// Seen only while the pointer is in the window.
class CloseButton final : public QPushButton {
public:
    explicit CloseButton(QWidget* parent) : QPushButton(parent) {
        setFixedSize(2 * kGrid, 2 * kGrid);
        setFocusPolicy(Qt::NoFocus);
        setAttribute(Qt::WA_Hover);
        setAttribute(Qt::WA_NoMousePropagation);
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        if (!window()->underMouse()) {
            return;
        }
        const Colors& colors = colorsFor(palette());
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(underMouse() ? colors.red : withOpacity(colors.gray, 0.25));
        painter.drawEllipse(QRectF(rect()).adjusted(1, 1, -1, -1));
        painter.fillPath(crossSymbol(QRectF(rect()).adjusted(1, 1, -1, -1)),
                         underMouse() ? colors.onColor : colors.secondary);
    }
};

}  // namespace

Window::Window(QWidget* content)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint), closeButton_(new CloseButton(this)) {
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    setWindowTitle(QStringLiteral("Velmaro"));
    setWindowIcon(QIcon::fromTheme(QGuiApplication::desktopFileName(), applicationIcon()));

    const QKeySequence quit(Qt::CTRL | Qt::Key_Q);
    closeButton_->setAccessibleName(tr("Close"));
    closeButton_->setToolTip(tr("Close") + " (" + quit.toString(QKeySequence::NativeText) + ")");
    closeButton_->raise();
    connect(closeButton_, &QAbstractButton::clicked, this, &QWidget::close);
    for (const QKeySequence& keys : {quit, QKeySequence(Qt::CTRL | Qt::Key_W)}) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, &QWidget::close);
    }
}

void Window::closeEvent(QCloseEvent* event) {
    event->ignore();
    hide();
    if (onClose) {
        onClose();
    }
}

void Window::resizeEvent(QResizeEvent* event) {
    closeButton_->move(width() - kGrid - closeButton_->width(), kGrid / 2);
    QWidget::resizeEvent(event);
}

void Window::enterEvent(QEnterEvent* event) {
    closeButton_->update();
    QWidget::enterEvent(event);
}

void Window::leaveEvent(QEvent* event) {
    closeButton_->update();
    QWidget::leaveEvent(event);
}

// Moving. Controls keep their presses, so what comes here was meant for none of them.

void Window::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !windowHandle()->startSystemMove()) {
        grip_ = event->position().toPoint();
    }
}

void Window::mouseMoveEvent(QMouseEvent* event) {
    if (grip_) {
        move(event->globalPosition().toPoint() - *grip_);
    }
}

void Window::mouseReleaseEvent(QMouseEvent* /*event*/) {
    grip_.reset();
}

void Window::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = colorsFor(palette());
    QPainter painter(this);
    painter.fillRect(rect(), colors.window);
    painter.setPen(QPen(withOpacity(colors.primary, 0.14), 1));
    painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}

}  // namespace velmaro
