#pragma once

#include <QLineEdit>

#include "app/window/DestinationNotes.h"

namespace velmaro {

/// A text field with a rounded border. While nobody types into it, a text that is too long for it
/// fades at its end, so that nobody takes the beginning for the whole; the tool tip holds all of
/// it.
class TextField final : public QLineEdit {
public:
    explicit TextField(const QString& placeholder, QWidget* parent = nullptr);

    /// Takes a new text without moving the cursor of somebody who types the same.
    void setTextIfDifferent(const QString& text);

    /// What the field is for: its tool tip and description.
    void setHelp(const QString& help);
    /// What is to be known of what stands in it: an outline, and before the help.
    void setNote(const FieldNote& note);

    [[nodiscard]] const FieldNote& note() const { return note_; }

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void clearBackground();
    /// Where the text is, as a line edit places it.
    [[nodiscard]] QRect textArea() const;
    [[nodiscard]] bool fits() const;
    void paintFading();
    void paintOutline(QPainter& painter);
    void describe();

    QString help_;
    FieldNote note_;
};

}  // namespace velmaro
