#include "app/window/VelmaroApp.h"

#include <QApplication>
#include <QDesktopServices>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <QUrl>
#include <clocale>
#include <cstdlib>
#include <utility>

#include "app/ReceiverChoice.h"
#include "app/Run.h"
#include "app/Startup.h"
#include "app/linux/Files.h"
#include "app/linux/LinuxPlatform.h"
#include "app/linux/Process.h"
#include "app/linux/Resources.h"
#include "app/window/Button.h"
#include "app/window/ColorSchemeWatcher.h"
#include "app/window/Colors.h"
#include "app/window/ControlPanel.h"
#include "app/window/Fonts.h"
#include "app/window/QtMainLoop.h"
#include "app/window/SilenceWatch.h"
#include "app/window/TextScale.h"
#include "app/window/Window.h"

namespace velmaro {
namespace {

void report(Diagnostic::Kind kind, const std::string& text, const std::string& advice = "") {
    makeDiagnostics(Program::window)->report({.kind = kind, .text = text, .advice = advice});
}

/// The toolkit ends the process with a core dump when it finds no display; that is no fault of the
/// program.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text) {
    if (type == QtFatalMsg) {
        report(Diagnostic::Kind::failure, "cannot open a window",
               "is there a display? Without one, use velmaro-cli");
        std::_Exit(static_cast<int>(ExitStatus::couldNotRun));
    }
    if (type == QtCriticalMsg) {
        report(Diagnostic::Kind::warning, text.toStdString());
    }
}

void describeApplication() {
    QCoreApplication::setApplicationName(QStringLiteral("velmaro"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Velmaro"));
    QGuiApplication::setDesktopFileName(QStringLiteral("io.github.velmaro.Velmaro"));
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

void translate(QApplication& application) {
    const auto install = [&application](const QString& name, const QString& folder) {
        auto* const translator = new QTranslator(&application);
        if (translator->load(QLocale(), name, QStringLiteral("_"), folder)) {
            QApplication::installTranslator(translator);
        }
    };
    install(QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    install(QStringLiteral("velmaro"), QStringLiteral(":/translations"));
    // None of its own texts runs from right to left; menus and dialogs would be torn in two.
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
}

}  // namespace

VelmaroApp::VelmaroApp(Options options, char* name) : options_(std::move(options)), name_(name) {}

ExitStatus VelmaroApp::run() {
    // The toolkit ends the process where a thread cannot be had.
    if (const auto threads = requireThreads(); !threads) {
        report(Diagnostic::Kind::failure, threads.error().description);
        return ExitStatus::couldNotRun;
    }
    if (options_.listInputs) {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    // Ours has read the whole command line.
    int count = 1;
    char* arguments[] = {name_, nullptr};
    const QtMessageHandler before = qInstallMessageHandler(endWithoutDisplay);
    const std::unique_ptr<QApplication> application =
        makeApplication(count, arguments, describeApplication);
    qInstallMessageHandler(before);
    // The toolkit takes the user's locale for the C library too; numbers in files and on standard
    // output keep their decimal point.
    std::setlocale(LC_NUMERIC, "C");

    QApplication::setQuitOnLastWindowClosed(false);
    const ColorSchemeWatcher watcher;
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setPalette(paletteOf(watcher.scheme()));
    QObject::connect(&watcher, &ColorSchemeWatcher::changed, application.get(),
                     [](ColorScheme scheme) { QApplication::setPalette(paletteOf(scheme)); });
    translate(*application);
    return runInside();
}

ExitStatus VelmaroApp::runInside() {
    QtMainLoop mainLoop;
    Run run(options_, mainLoop, makeDiagnostics(Program::window), makeLinuxPlatform);
    if (!loadFonts(resource("fonts"))) {
        run.diagnostics().report({.text = "its own typeface is missing, another stands in"});
    }
    if (const auto over = run.prepare()) {
        return *over;
    }
    SilenceWatch silence(*run.view(), run.telemetry());
    auto* const panel =
        new ControlPanel(run.view(), {&run.receiver(), &silence, &run.diagnostics().reported});
    Window window(panel);
    ReceiverChoice receivers(*run.view(), run.receivers(), options_.output);
    fill(window.menuActions, run, receivers);
    window.menuActions.showMessages = [panel] { panel->showMessages(); };
    window.onClose = [&run] { run.end(ExitStatus::success); };
    run.onStopRequest = [&window] { window.close(); };
    panel->startButton->setFocus();
    window.show();
    return run.execute();
}

// What each of them reports is shown in the window.
void VelmaroApp::fill(MenuActions& actions, Run& run, ReceiverChoice& receivers) const {
    actions.chooseReceiver = [&](const Receiver& receiver) { receivers.choose(receiver); };
    actions.keepSettings = [&] {
        run.keepSettings(currentSettings(options_, *run.view(), receivers));
    };
    actions.forgetPose = [&] { run.forgetPose(); };
    if (const auto file = logFile()) {
        actions.openLog = [&run, file = *file] {
            if (!QDesktopServices::openUrl(
                    QUrl::fromLocalFile(QString::fromStdString(file.string())))) {
                run.diagnostics().report({.kind = Diagnostic::Kind::warning,
                                          .text = "no program opens the log",
                                          .advice = "it is in " + file.string()});
            }
        };
    }
}

}  // namespace velmaro
