#pragma once

#include <QLabel>

namespace velmaro {

/// A text in one of the window's colours.
class TextLabel final : public QLabel {
public:
    enum class Ink { primary, secondary, gray };

    TextLabel(const QFont& font, Ink ink, QWidget* parent = nullptr);

    void setInk(Ink ink);
    /// Repaints only on a change.
    void setTextIfDifferent(const QString& text);

    [[nodiscard]] Ink ink() const { return ink_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    /// Breaks the text into as many lines as fit; what is too much ends in an ellipsis.
    void paintLines(QPainter& painter);

    Ink ink_;
};

}  // namespace velmaro
