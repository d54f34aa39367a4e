#pragma once

#include <QPushButton>

namespace velmaro {

/// A push button in the window's own look. Space and Enter press it.
class Button : public QPushButton {
public:
    enum class Look {
        /// Filled with the tint, white on top.
        prominent,
        /// Framed; a tint colours the label and, faintly, the body.
        bordered,
    };
    enum class Tint { none, green, red, blue, gray };
    enum class Symbol { none, play, stop };

    Button(Look look, const QString& label, QWidget* parent = nullptr);

    void setTint(Tint tint);
    /// Shown instead of the label.
    void setSymbol(Symbol symbol);

    [[nodiscard]] Tint tint() const { return tint_; }
    [[nodiscard]] Symbol symbol() const { return symbol_; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Look look_;
    Tint tint_ = Tint::none;
    Symbol symbol_ = Symbol::none;
};

}  // namespace velmaro
