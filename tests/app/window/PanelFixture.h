#pragma once

#include <QApplication>
#include <QTest>
#include <memory>

#include "app/ContentViewFixture.h"
#include "app/ReceiverMonitor.h"
#include "app/window/Button.h"
#include "app/window/ControlPanel.h"
#include "app/window/Gauge.h"
#include "app/window/RatePicker.h"
#include "app/window/Readout.h"
#include "app/window/SilenceWatch.h"
#include "app/window/SourcePicker.h"
#include "app/window/StatusRow.h"
#include "app/window/TextField.h"
#include "app/window/TextLabel.h"

namespace velmaro {

/// The panel over the whole logic, over scripted doors.
class PanelTest : public ContentViewTest {
protected:
    void makePanel() {
        view = ContentView::create(watched);
        view->appear();
        silence = std::make_unique<SilenceWatch>(*view, telemetry, [this] { return now; });
        panel = std::make_unique<ControlPanel>(
            view, ControlPanel::Sources{&receiver, silence.get(), &messages.list});
        panel->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(panel.get()));
    }

    /// What the main queue holds, and the refresh that it causes.
    void catchUp() {
        runEverything();
        QTest::qWait(40);
    }

    [[nodiscard]] QLabel* statusLabel() const { return panel->statusRow->findChild<QLabel*>(); }

    [[nodiscard]] std::string status() const { return statusLabel()->text().toStdString(); }

    /// The readout's texts: caption, value, caption, value.
    [[nodiscard]] QList<TextLabel*> readout() const {
        QList<TextLabel*> labels;
        for (auto* const label : panel->readout->findChildren<QLabel*>()) {
            labels.push_back(static_cast<TextLabel*>(label));
        }
        return labels;
    }

    ReceiverMonitor::Clock::time_point now;
    ReceiverMonitor receiver{network, [this] { return now; }};
    Platform watched{dispatch, center, capture, faces, headphones, receiver, defaults, clock, log};
    Telemetry telemetry;
    std::unique_ptr<SilenceWatch> silence;
    struct Messages : Observable {
        Published<std::vector<Diagnostic>> list{*this, {}};
    } messages;
    std::unique_ptr<ControlPanel> panel;
};

}  // namespace velmaro
