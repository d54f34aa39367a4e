#pragma once

#include <QAccessible>
#include <QWidget>

namespace velmaro {

/// Tells screen readers what `widget` is, where the toolkit would call it mere filling.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

/// Speaks by way of screen readers, when they have said what they are saying. Nobody sees it.
class Announcer final : public QWidget {
public:
    explicit Announcer(QWidget* parent);

    void announce(const QString& text);
};

}  // namespace velmaro
