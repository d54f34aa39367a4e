#pragma once

#include <QWidget>
#include <cstdint>
#include <functional>

class QRadioButton;

namespace velmaro {

/// Two segments, of which the chosen one is raised: 30 or 60 datagrams a second. Neither is chosen
/// while the rate is another.
class RatePicker final : public QWidget {
    Q_OBJECT

public:
    explicit RatePicker(QWidget* parent = nullptr);

    void setRate(std::int64_t rate);

    /// Called when the user chooses.
    std::function<void(std::int64_t)> onPick;

    [[nodiscard]] QRadioButton* segment(std::int64_t rate) const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void addSegment(std::int64_t rate, int left);
};

}  // namespace velmaro
