#pragma once

#include <QPoint>
#include <QWidget>
#include <functional>
#include <optional>

#include "app/window/Menu.h"

class QAbstractButton;

namespace velmaro {

/// The program's one window: as large as its content, without a title bar. It is moved by dragging
/// whatever is not a control, and has a context menu.
class Window final : public QWidget {
    Q_OBJECT

public:
    /// Takes `content` over.
    explicit Window(QWidget* content);

    /// Called instead of closing, whoever asked for it.
    std::function<void()> onClose;

    /// What the context menu offers, which a right press or the keyboard opens on everything but
    /// the fields.
    MenuActions menuActions;

    bool eventFilter(QObject* object, QEvent* event) override;

protected:
    void closeEvent(QCloseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateTitleButtons();
    void showMenu(const QPoint& place);

    QAbstractButton* closeButton_;
    QAbstractButton* minimiseButton_;
    /// Of the pointer in the window, while the window is moved without a window manager's help.
    std::optional<QPoint> grip_;
};

}  // namespace velmaro
