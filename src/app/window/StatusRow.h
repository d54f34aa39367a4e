#pragma once

#include <QWidget>

namespace velmaro {

class Announcer;
class TextLabel;

/// A dot that tells whether tracking is on, and one short text, which screen readers
/// read out when it changes.
class StatusRow final : public QWidget {
    Q_OBJECT

public:
    explicit StatusRow(QWidget* parent = nullptr);

    void setStatus(bool isRunning, const QString& text);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool isRunning_ = false;
    TextLabel* text_;
    Announcer* announcer_;
};

}  // namespace velmaro
