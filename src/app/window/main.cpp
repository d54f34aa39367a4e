#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "app/CommandLine.h"
#include "app/linux/MotionSources.h"
#include "app/linux/Resources.h"
#include "app/window/ColorSchemeWatcher.h"
#include "app/window/Colors.h"
#include "app/window/Fonts.h"
#include "app/window/WindowSession.h"

namespace velmaro {
namespace {

/// The toolkit ends the process with a core dump when it finds no display; that is no fault of the
/// program.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text) {
    if (type == QtFatalMsg) {
        std::fputs(
            "velmaro: cannot open a window: is there a display? Without one, use velmaro-cli\n",
            stderr);
        std::_Exit(static_cast<int>(ExitStatus::couldNotRun));
    }
    if (type == QtCriticalMsg) {
        std::fprintf(stderr, "velmaro: %s\n", qPrintable(text));
    }
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
}

int run(const Options& options, const char* name) {
    QCoreApplication::setApplicationName(QStringLiteral("velmaro"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Velmaro"));
    QGuiApplication::setDesktopFileName(QStringLiteral("io.github.velmaro.Velmaro"));
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    if (options.listInputs) {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }

    // Ours has read the whole command line.
    int count = 1;
    char* arguments[] = {const_cast<char*>(name), nullptr};
    const QtMessageHandler before = qInstallMessageHandler(endWithoutDisplay);
    QApplication application(count, arguments);
    qInstallMessageHandler(before);
    // The toolkit takes the user's locale for the C library too; numbers in files and on standard
    // output keep their decimal point.
    std::setlocale(LC_NUMERIC, "C");

    QApplication::setQuitOnLastWindowClosed(false);
    const ColorSchemeWatcher watcher;
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setPalette(paletteOf(watcher.scheme()));
    QObject::connect(&watcher, &ColorSchemeWatcher::changed, &application,
                     [](ColorScheme scheme) { QApplication::setPalette(paletteOf(scheme)); });
    if (!loadFonts(resource("fonts"))) {
        std::fputs("velmaro: its own typeface is missing, another stands in\n", stderr);
    }
    translate(application);
    return static_cast<int>(WindowSession(options).run());
}

}  // namespace
}  // namespace velmaro

int main(int argc, char** argv) {
    using namespace velmaro;
    const auto options = parseCommandLine(Program::window, motionSourceOptions(), argc, argv);
    return options ? run(*options, argv[0]) : static_cast<int>(options.error());
}
