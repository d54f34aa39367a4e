#pragma once

#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "app/ContentView.h"
#include "app/window/RefreshPacer.h"
#include "platform/Diagnostics.h"

class QHBoxLayout;

namespace velmaro {

class Button;
class Gauge;
class MessageList;
class RatePicker;
class ReceiverMonitor;
class Readout;
class SilenceWatch;
class SourcePicker;
class StatusRow;
class TextField;

/// Everything in the window, from top to bottom, bound to one `ContentView`. Main thread.
class ControlPanel final : public QWidget {
    Q_OBJECT

public:
    /// What the panel shows beside the view, where it is given. All of it outlives the panel.
    struct Sources {
        const ReceiverMonitor* receiver = nullptr;
        SilenceWatch* silence = nullptr;
        Published<std::vector<Diagnostic>>* messages = nullptr;
    };

    explicit ControlPanel(std::shared_ptr<ContentView> view);
    ControlPanel(std::shared_ptr<ContentView> view, Sources sources, QWidget* parent = nullptr);
    ~ControlPanel() override;

    /// Shows the state as it is now.
    void refresh();

    /// Opens the list of all messages.
    void showMessages();

    SourcePicker* const sourcePicker;
    TextField* const ipField;
    TextField* const portField;
    TextField* const oscField;
    Button* const startButton;
    Button* const setButton;
    Button* const resetButton;
    RatePicker* const ratePicker;
    Button* const tiltButton;
    Readout* const readout;
    Gauge* const gauge;
    StatusRow* const statusRow;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void layOut();
    void bind();
    void bindDestination();
    void bindMessages();
    void describe();
    void addShortcut(Button* button, const QKeySequence& keys);
    /// Runs what a person asked for, and shows the result at once.
    void act(const std::function<void()>& action);
    void observe(Observable& object);
    void showStartButton(bool isRunning);
    void refreshControls();
    void refreshNotes();
    void refreshReason();
    void updateToolTips();

    std::shared_ptr<ContentView> view_;
    const Sources sources_;
    RefreshPacer pacer_;
    std::vector<Subscription> subscriptions_;
    /// For what changes by the mere passing of time.
    QTimer noteTimer_;
    MessageList* messageList_;
    /// What the tool tips were made for.
    struct Described {
        bool isRunning = false;
        bool isAirpods = false;
        bool operator==(const Described&) const = default;
    } described_;
};

}  // namespace velmaro
