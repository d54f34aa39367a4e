#pragma once

#include <QPoint>
#include <QWidget>
#include <functional>
#include <optional>

class QAbstractButton;

namespace velmaro {

/// The program's one window: as large as its content, without a title bar. It is moved by dragging
/// whatever is not a control.
class Window final : public QWidget {
    Q_OBJECT

public:
    /// Takes `content` over.
    explicit Window(QWidget* content);

    /// Called instead of closing, whoever asked for it.
    std::function<void()> onClose;

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

    QAbstractButton* closeButton_;
    QAbstractButton* minimiseButton_;
    /// Of the pointer in the window, while the window is moved without a window manager's help.
    std::optional<QPoint> grip_;
};

}  // namespace velmaro
