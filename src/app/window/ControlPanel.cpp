#include "app/window/ControlPanel.h"

#include <QBoxLayout>
#include <QRegularExpressionValidator>
#include <QShortcut>
#include <utility>

#include "app/ReceiverMonitor.h"
#include "app/window/Button.h"
#include "app/window/DestinationNotes.h"
#include "app/window/Fonts.h"
#include "app/window/Gauge.h"
#include "app/window/Grid.h"
#include "app/window/HeldKeys.h"
#include "app/window/MessageList.h"
#include "app/window/RatePicker.h"
#include "app/window/Readout.h"
#include "app/window/SilenceNotes.h"
#include "app/window/SilenceWatch.h"
#include "app/window/SourcePicker.h"
#include "app/window/StatusRow.h"
#include "app/window/TextField.h"
#include "app/window/TextLabel.h"
#include "app/window/ToolTips.h"

namespace velmaro {
namespace {

constexpr int kFontSize = 11;
constexpr int kIpWidth = 80;
constexpr int kPortWidth = 45;
constexpr std::chrono::milliseconds kNoteInterval{250};

constexpr QKeyCombination kStartKeys = Qt::CTRL | Qt::Key_R;
constexpr QKeyCombination kSetKeys = Qt::CTRL | Qt::Key_S;
constexpr QKeyCombination kResetKeys = Qt::CTRL | Qt::SHIFT | Qt::Key_S;
constexpr QKeyCombination kTiltKeys = Qt::CTRL | Qt::Key_T;

QHBoxLayout* addRow(QVBoxLayout* stack, std::initializer_list<QWidget*> widgets) {
    auto* const row = new QHBoxLayout;
    row->setSpacing(kGrid);
    for (QWidget* const widget : widgets) {
        row->addWidget(widget);
    }
    stack->addLayout(row);
    return row;
}

}  // namespace

ControlPanel::ControlPanel(std::shared_ptr<ContentView> view)
    : ControlPanel(std::move(view), Sources{}) {}

ControlPanel::ControlPanel(std::shared_ptr<ContentView> view, Sources sources, QWidget* parent)
    : QWidget(parent),
      sourcePicker(new SourcePicker(this)),
      ipField(new TextField(tr("IP"), this)),
      portField(new TextField(tr("Port"), this)),
      oscField(new TextField(tr("OSC"), this)),
      startButton(new Button(Button::Look::prominent, "", this)),
      setButton(new Button(Button::Look::bordered, tr("Set"), this)),
      resetButton(new Button(Button::Look::bordered, tr("Reset"), this)),
      ratePicker(new RatePicker(this)),
      tiltButton(new Button(Button::Look::bordered, tr("Tilt"), this)),
      readout(new Readout(this)),
      gauge(new Gauge(this)),
      statusRow(new StatusRow(this)),
      view_(std::move(view)),
      sources_(sources),
      pacer_(*this, [this] { refresh(); }),
      messageList_(new MessageList(this)) {
    new HeldKeys(this);
    layOut();
    describe();
    bind();
    refresh();
}

ControlPanel::~ControlPanel() = default;

void ControlPanel::layOut() {
    ipField->setFixedWidth(kIpWidth);
    portField->setFixedWidth(kPortWidth);
    startButton->setSymbol(Button::Symbol::play);
    tiltButton->setCheckable(true);
    auto* const caption = new TextLabel(regularFont(kFontSize), TextLabel::Ink::primary, this);
    caption->setText(tr("Input:"));
    caption->setBuddy(sourcePicker);

    auto* const stack = new QVBoxLayout(this);
    stack->setContentsMargins(kPadding, kPadding + kGrid, kPadding, kGrid);
    stack->setSpacing(0);
    addRow(stack, {caption, sourcePicker})->setStretch(1, 1);
    stack->addSpacing(kGrid);
    addRow(stack, {ipField, portField, oscField});
    stack->addSpacing(kGrid);
    addRow(stack, {startButton, setButton, resetButton, ratePicker, tiltButton});
    stack->addSpacing(2 * kGrid);
    stack->addWidget(readout);
    // The gauge brings a margin of its own.
    stack->addSpacing(2 * kGrid - Gauge::kMargin);
    stack->addWidget(gauge, 0, Qt::AlignHCenter);
    stack->addSpacing(2 * kGrid - Gauge::kMargin);
    stack->addWidget(statusRow);
    setFixedWidth(kWindowWidth);
    // Mirrored, the gauge would point the other way, and numbers and addresses read the same in
    // every language.
    setLayoutDirection(Qt::LeftToRight);
}

// Bindings

void ControlPanel::bind() {
    sourcePicker->onPick = [this](const std::string& id) { act([&] { view_->select(id); }); };
    connect(startButton, &QPushButton::clicked, this, [this] {
        // Setting up a camera keeps this thread for longer than a press may go unanswered.
        showStartButton(!view_->isRunning.get());
        startButton->repaint();
        act([this] { view_->toggleTracking(); });
    });
    connect(setButton, &QPushButton::clicked, this,
            [this] { act([this] { view_->setOffset(); }); });
    connect(resetButton, &QPushButton::clicked, this,
            [this] { act([this] { view_->resetOffset(); }); });
    connect(tiltButton, &QPushButton::clicked, this,
            [this] { act([this] { view_->tiltEnabled = !view_->tiltEnabled.get(); }); });
    ratePicker->onPick = [this](std::int64_t rate) {
        act([&] { view_->oscManager.frameRate = rate; });
    };
    bindDestination();

    observe(*view_);
    observe(*view_->cameraManager);
    observe(*view_->faceDetector);
    observe(view_->oscManager);
    observe(*view_->headphoneManager);
    connect(&noteTimer_, &QTimer::timeout, this, [this] {
        refreshNotes();
        refreshReason();
    });
    bindMessages();
    noteTimer_.setInterval(kNoteInterval);
}

void ControlPanel::bindMessages() {
    statusRow->onMessageClicked = [this] { showMessages(); };
    if (sources_.messages == nullptr) {
        return;
    }
    subscriptions_.push_back(
        sources_.messages->observe([this](const std::vector<Diagnostic>& messages) {
            messageList_->setMessages(messages);
            statusRow->setMessage(messages.empty() ? QString() : shown(messages.back()));
        }));
}

void ControlPanel::bindDestination() {
    // The sender takes nothing but ASCII for an address.
    oscField->setValidator(new QRegularExpressionValidator(QRegularExpression("[ -~]*"), oscField));
    connect(ipField, &QLineEdit::textEdited, this,
            [this](const QString& text) { view_->oscManager.ipAddress = text.toStdString(); });
    connect(portField, &QLineEdit::textEdited, this,
            [this](const QString& text) { view_->oscManager.port = text.toStdString(); });
    connect(oscField, &QLineEdit::textEdited, this,
            [this](const QString& text) { view_->oscManager.oscMessage = text.toStdString(); });
}

void ControlPanel::act(const std::function<void()>& action) {
    action();
    refresh();
}

void ControlPanel::observe(Observable& object) {
    subscriptions_.push_back(object.observeChanges([this] { pacer_.refreshSoon(); }));
}

// What a control is, for tool tips and for those who cannot see it

void ControlPanel::describe() {
    sourcePicker->setAccessibleName(tr("Input"));
    sourcePicker->setToolTip(tr("What the head's orientation is taken from"));
    ipField->setAccessibleName(tr("IP address"));
    ipField->setHelp(tr("The receiver's IP address or host name; taken at the next start"));
    portField->setAccessibleName(tr("Port"));
    portField->setHelp(
        tr("The receiver's UDP port; taken at the next start, but nothing is sent while it is no "
           "port"));
    oscField->setAccessibleName(tr("OSC address"));
    oscField->setHelp(tr("The OSC address of every message, ASCII only; acts at once"));
    setButton->setAccessibleName(tr("Set zero pose"));
    resetButton->setAccessibleName(tr("Reset zero pose"));
    tiltButton->setAccessibleName(tr("Tilt"));
    tiltButton->setToolTip(withKeys(tr("Send tilt"), kTiltKeys));
    addShortcut(startButton, kStartKeys);
    addShortcut(setButton, kSetKeys);
    addShortcut(resetButton, kResetKeys);
    addShortcut(tiltButton, kTiltKeys);
    updateToolTips();
}

void ControlPanel::addShortcut(Button* button, const QKeySequence& keys) {
    // Asks the button, so that it does nothing while that is disabled.
    auto* const shortcut = new QShortcut(keys, button);
    shortcut->setAutoRepeat(false);
    connect(shortcut, &QShortcut::activated, button, [button] { button->click(); });
}

void ControlPanel::updateToolTips() {
    const QString what = described_.isRunning ? tr("Stop tracking") : tr("Start tracking");
    startButton->setAccessibleName(what);
    startButton->setToolTip(withKeys(what, kStartKeys));
    // The headphones keep their zero pose beyond the program's end, a camera does not.
    setButton->setToolTip(withKeys(described_.isAirpods
                                       ? tr("Make this pose the zero pose and keep it")
                                       : tr("Make this pose the zero pose"),
                                   kSetKeys));
    resetButton->setToolTip(withKeys(described_.isAirpods
                                         ? tr("Go back to the zero pose that was kept last")
                                         : tr("Undo the zero pose"),
                                     kResetKeys));
}

// Showing the state

void ControlPanel::showEvent(QShowEvent* event) {
    pacer_.watch(*window()->windowHandle());
    refresh();
    QWidget::showEvent(event);
}

void ControlPanel::refresh() {
    pacer_.noteRefresh();
    refreshControls();
    const bool tiltEnabled = view_->tiltEnabled.get();
    readout->setAngles(view_->currentPan(), view_->currentTilt(), tiltEnabled);
    gauge->setAngles(view_->currentPan(), view_->currentTilt());
    // What an earlier run still had to say may come after its end.
    const bool isRunning = view_->isRunning.get();
    statusRow->setStatus(isRunning, isRunning ? QString::fromStdString(*view_->debugText.snapshot())
                                              : QStringLiteral("Stopped"));
}

void ControlPanel::refreshNotes() {
    const DestinationState state{
        *view_->oscManager.ipAddress.snapshot(), *view_->oscManager.port.snapshot(),
        *view_->oscManager.oscMessage.snapshot(),
        sources_.receiver != nullptr ? sources_.receiver->status() : ReceiverMonitor::Status{}};
    ipField->setNote(noteOnHost(state));
    portField->setNote(noteOnPort(state));
    oscField->setNote(noteOnOSCAddress(state));
}

void ControlPanel::refreshReason() {
    statusRow->setReason(
        noteOnSilence(sources_.silence != nullptr ? sources_.silence->silence() : Silence::none,
                      sourcePicker->currentText()));
}

void ControlPanel::showMessages() {
    messageList_->show();
    messageList_->raise();
    messageList_->activateWindow();
}

void ControlPanel::showStartButton(bool isRunning) {
    startButton->setSymbol(isRunning ? Button::Symbol::stop : Button::Symbol::play);
    startButton->setTint(isRunning ? Button::Tint::red : Button::Tint::green);
}

void ControlPanel::refreshControls() {
    const bool isRunning = view_->isRunning.get();
    const bool tiltEnabled = view_->tiltEnabled.get();
    sourcePicker->setSources(view_->availableInputs(), *view_->selectedInputId.snapshot());
    ipField->setTextIfDifferent(QString::fromStdString(*view_->oscManager.ipAddress.snapshot()));
    portField->setTextIfDifferent(QString::fromStdString(*view_->oscManager.port.snapshot()));
    oscField->setTextIfDifferent(QString::fromStdString(*view_->oscManager.oscMessage.snapshot()));
    ratePicker->setRate(view_->oscManager.frameRate.get());
    refreshNotes();
    refreshReason();

    showStartButton(isRunning);
    tiltButton->setTint(tiltEnabled ? Button::Tint::blue : Button::Tint::gray);
    tiltButton->setChecked(tiltEnabled);
    for (Button* const button : {setButton, resetButton, tiltButton}) {
        button->setEnabled(isRunning);
    }
    if (isRunning && !noteTimer_.isActive()) {
        noteTimer_.start();
    } else if (!isRunning) {
        noteTimer_.stop();
    }
    const std::optional<InputSource> source = view_->selectedInput();
    const Described now{isRunning, source && source->isAirpods()};
    if (now != described_) {
        described_ = now;
        updateToolTips();
    }
}

}  // namespace velmaro
