#pragma once

#include <QWidget>
#include <functional>

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
    /// Why no angle comes; empty while all is well. In the tool tip and the description.
    void setReason(const QString& reason);
    /// The latest message, under the status text where there is room.
    void setMessage(const QString& message);

    /// Called when the message is clicked.
    std::function<void()> onMessageClicked;

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void layOut();
    void describe();

    QString reason_;
    bool isRunning_ = false;
    TextLabel* text_;
    TextLabel* message_;
    /// Each kind of news has its own, so that none takes another's place.
    Announcer* statusAnnouncer_;
    Announcer* reasonAnnouncer_;
    Announcer* messageAnnouncer_;
};

}  // namespace velmaro
