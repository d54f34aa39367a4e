#pragma once

#include <QWidget>

namespace velmaro {

/// Shows where the head points: a wedge that turns with pan and shrinks with tilt.
class Gauge final : public QWidget {
    Q_OBJECT

public:
    /// Around the gauge proper, so that the outline is not cut.
    static constexpr int kMargin = 8;

    explicit Gauge(QWidget* parent = nullptr);

    /// In degrees, as shown; repaints only on a change.
    void setAngles(float pan, float tilt);

    [[nodiscard]] float pan() const { return pan_; }
    [[nodiscard]] float tilt() const { return tilt_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    float pan_ = 0;
    float tilt_ = 0;
};

}  // namespace velmaro
