#pragma once

#include <QLineEdit>

namespace velmaro {

/// A text field with a rounded border.
class TextField final : public QLineEdit {
public:
    explicit TextField(const QString& placeholder, QWidget* parent = nullptr);

    /// Takes a new text without moving the cursor of somebody who types the same.
    void setTextIfDifferent(const QString& text);

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void clearBackground();
};

}  // namespace velmaro
