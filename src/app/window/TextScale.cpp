#include "app/window/TextScale.h"

#include <QFont>
#include <algorithm>
#include <cmath>

#include "app/window/PortalSettings.h"

namespace velmaro {
namespace {

constexpr const char* kScaleVariable = "QT_SCALE_FACTOR";

constexpr double kUsualPoints = 10;
/// The default of GNOME, which is no wish for larger texts.
constexpr double kMostUsualPoints = 11;
constexpr double kMost = 1.5;

double pointsOf(const QFont& font) {
    // By the 96 dots per inch to which the toolkit has reduced all others.
    return font.pointSizeF() > 0 ? font.pointSizeF() : font.pixelSize() * 72.0 / 96.0;
}

/// On X11 it is a part of the dots per inch, to which the toolkit has scaled everything.
double furtherFactor() {
    if (!QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        return 1;
    }
    return portalSetting(QStringLiteral("org.gnome.desktop.interface"),
                         QStringLiteral("text-scaling-factor"))
        .value_or(1.0)
        .toDouble();
}

}  // namespace

double textScale(double points, double factor) {
    const double byFont = points > kMostUsualPoints ? points / kUsualPoints : 1;
    const double scale = byFont * factor;
    return std::isfinite(scale) ? std::clamp(scale, 1.0, kMost) : 1;
}

std::unique_ptr<QApplication> makeApplication(int& count, char** arguments,
                                              const std::function<void()>& describe) {
    describe();
    auto application = std::make_unique<QApplication>(count, arguments);
    const double scale = textScale(pointsOf(QApplication::font()), furtherFactor());
    if (scale <= 1) {
        return application;
    }
    // The toolkit scales by its environment alone, which it reads with each application object, and
    // which is not meant for what this program starts.
    const QByteArray before = qgetenv(kScaleVariable);
    const double own = before.isEmpty() ? 1 : before.toDouble();
    // Among them is what lets the session's bus, which stays, deliver its signals. Dropped with the
    // application, it would never come again: the desktop's changes would go unheard.
    QCoreApplication::sendPostedEvents();
    application.reset();
    qputenv(kScaleVariable, QByteArray::number(own * scale));
    // An application object takes the name of its desktop file with it.
    describe();
    application = std::make_unique<QApplication>(count, arguments);
    if (before.isEmpty()) {
        qunsetenv(kScaleVariable);
    } else {
        qputenv(kScaleVariable, before);
    }
    // What is in the desktop's font would be larger twice.
    QFont font = QApplication::font();
    font.setPointSizeF(pointsOf(font) / scale);
    QApplication::setFont(font);
    return application;
}

}  // namespace velmaro
