#pragma once

#include <QAccessible>
#include <QTimer>
#include <QWidget>

namespace velmaro {

/// Tells screen readers what `widget` is, where the toolkit would call it mere filling.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

/// Speaks by way of screen readers, when they have said what they are saying. Nobody sees it.
class Announcer final : public QWidget {
public:
    explicit Announcer(QWidget* parent);

    /// Speaks a moment later: of texts that follow one another at once only the last is worth it,
    /// and screen readers, which ask for the text when they come to it, would read that one for
    /// each of them.
    void announce(const QString& text);

private:
    void speak();

    QTimer moment_;
    QString text_;
};

}  // namespace velmaro
