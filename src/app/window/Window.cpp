#include "app/window/Window.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QIcon>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>
#include <QWindow>
#include <utility>

#include "app/window/Accessibility.h"
#include "app/window/Colors.h"
#include "app/window/Grid.h"
#include "app/window/Symbols.h"
#include "app/window/ToolTips.h"

namespace velmaro {
namespace {

constexpr QKeyCombination kQuitKeys = Qt::CTRL | Qt::Key_Q;
constexpr QKeyCombination kMinimiseKeys = Qt::CTRL | Qt::Key_M;
/// What a keyboard without a menu key has for it, which the toolkit does not know everywhere.
constexpr QKeyCombination kMenuKeys = Qt::SHIFT | Qt::Key_F10;

/// What a title bar would hold. Seen only while the pointer is in the window.
class TitleButton final : public QPushButton {
public:
    using Symbol = QPainterPath (*)(const QRectF&);

    TitleButton(Symbol symbol, const QString& name, const QKeySequence& keys, Window* parent)
        : QPushButton(parent), symbol_(symbol) {
        setFixedSize(2 * kGrid, 2 * kGrid);
        setFocusPolicy(Qt::NoFocus);
        setAttribute(Qt::WA_Hover);
        setAttribute(Qt::WA_NoMousePropagation);
        setAccessibleName(name);
        setToolTip(withKeys(name, keys));
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
        const QColor strong = symbol_ == crossSymbol ? colors.red : colors.gray;
        painter.setBrush(underMouse() ? strong : withOpacity(colors.gray, 0.25));
        painter.drawEllipse(QRectF(rect()).adjusted(1, 1, -1, -1));
        painter.fillPath(symbol_(QRectF(rect()).adjusted(1, 1, -1, -1)),
                         underMouse() ? colors.onColor : colors.secondary);
    }

private:
    Symbol symbol_;
};

}  // namespace

Window::Window(QWidget* content)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowSystemMenuHint |
                           Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint),
      closeButton_(new TitleButton(crossSymbol, tr("Close"), kQuitKeys, this)),
      minimiseButton_(new TitleButton(dashSymbol, tr("Minimise"), kMinimiseKeys, this)) {
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    setLayoutDirection(Qt::LeftToRight);
    setAccessibleRole(*this, QAccessible::Window);
    layout->addWidget(content);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    setWindowTitle(QStringLiteral("Velmaro"));
    setWindowIcon(QIcon::fromTheme(QGuiApplication::desktopFileName(), applicationIcon()));

    menuActions.quit = [this] { close(); };
    // Buttons keep what happens to them to themselves.
    QCoreApplication::instance()->installEventFilter(this);
    closeButton_->raise();
    minimiseButton_->raise();
    connect(closeButton_, &QAbstractButton::clicked, this, &QWidget::close);
    connect(minimiseButton_, &QAbstractButton::clicked, this, &QWidget::showMinimized);
    for (const QKeyCombination keys : {kQuitKeys, Qt::CTRL | Qt::Key_W}) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, &QWidget::close);
    }
    connect(new QShortcut(kMinimiseKeys, this), &QShortcut::activated, this,
            &QWidget::showMinimized);
    connect(new QShortcut(kMenuKeys, this), &QShortcut::activated, this, [this] {
        const QWidget* const at = focusWidget() != nullptr ? focusWidget() : this;
        showMenu(at->mapToGlobal(at->rect().center()));
    });
}

void Window::closeEvent(QCloseEvent* event) {
    event->ignore();
    hide();
    if (onClose) {
        onClose();
    }
}

void Window::resizeEvent(QResizeEvent* event) {
    const int left = width() - kGrid - closeButton_->width();
    closeButton_->move(left, kGrid / 2);
    minimiseButton_->move(left - minimiseButton_->width() - kGrid / 2, kGrid / 2);
    QWidget::resizeEvent(event);
}

void Window::enterEvent(QEnterEvent* event) {
    updateTitleButtons();
    QWidget::enterEvent(event);
}

void Window::leaveEvent(QEvent* event) {
    updateTitleButtons();
    QWidget::leaveEvent(event);
}

void Window::updateTitleButtons() {
    closeButton_->update();
    minimiseButton_->update();
}

bool Window::eventFilter(QObject* object, QEvent* event) {
    if (event->type() != QEvent::ContextMenu || !object->isWidgetType() ||
        qobject_cast<QLineEdit*>(object) != nullptr) {
        return QWidget::eventFilter(object, event);
    }
    if (static_cast<QWidget*>(object)->window() != this) {
        return QWidget::eventFilter(object, event);
    }
    showMenu(static_cast<QContextMenuEvent*>(event)->globalPos());
    return true;
}

void Window::showMenu(const QPoint& place) {
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    fillMenu(*menu, menuActions);
    menu->popup(place);
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
