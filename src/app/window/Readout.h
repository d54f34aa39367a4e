#pragma once

#include <QWidget>

namespace velmaro {

class TextLabel;

/// The current angles as numbers, side by side.
class Readout final : public QWidget {
    Q_OBJECT

public:
    explicit Readout(QWidget* parent = nullptr);

    /// In degrees. Tilt is weak while it is switched off.
    void setAngles(float pan, float tilt, bool tiltEnabled);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Column {
        TextLabel* caption;
        TextLabel* value;
    };

    Column addColumn(const QString& caption, const QString& name);

    Column pan_;
    Column tilt_;
};

/// An angle as it is shown: one digit after a decimal point, in every locale.
[[nodiscard]] QString formatAngle(float degrees);

}  // namespace velmaro
