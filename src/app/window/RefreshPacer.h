#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>

class QWidget;
class QWindow;

namespace velmaro {

/// Lets a widget show many changes at once: no oftener than a screen shows, and while nobody can
/// see it not at all. Main thread.
class RefreshPacer final : public QObject {
    Q_OBJECT

public:
    /// `refresh` shows the state of `widget` as it is and calls `noteRefresh`.
    RefreshPacer(const QWidget& widget, std::function<void()> refresh);

    /// The window that the widget is in: when it can be seen, what was left out is shown.
    void watch(QWindow& window);

    /// Refreshes soon: all changes until then together.
    void refreshSoon();

    /// The widget was refreshed, for whatever reason.
    void noteRefresh();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    [[nodiscard]] bool isExposed() const;

    const QWidget& widget_;
    const std::function<void()> refresh_;
    QTimer timer_;
    std::chrono::steady_clock::time_point last_;
    /// Something changed while nobody could see it.
    bool isStale_ = false;
};

}  // namespace velmaro
