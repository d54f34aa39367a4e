#include "app/window/ColorSchemeWatcher.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QPalette>
#include <QStyleHints>

#include "app/window/PortalSettings.h"

namespace velmaro {
namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kGroup = QStringLiteral("org.freedesktop.appearance");
const QString kKey = QStringLiteral("color-scheme");

// The values that the portal's documentation gives; 0 is no preference.
constexpr uint kPrefersDark = 1;
constexpr uint kPrefersLight = 2;

}  // namespace

ColorSchemeWatcher::ColorSchemeWatcher(QObject* parent)
    : QObject(parent), paletteScheme_(schemeOf(QGuiApplication::palette())) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    connect(QGuiApplication::styleHints(), &QStyleHints::colorSchemeChanged, this,
            [this] { Q_EMIT changed(scheme()); });
    if (QGuiApplication::styleHints()->colorScheme() != Qt::ColorScheme::Unknown) {
        return;
    }
#endif
    readPortal();
}

ColorScheme ColorSchemeWatcher::scheme() const {
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    switch (QGuiApplication::styleHints()->colorScheme()) {
        case Qt::ColorScheme::Dark:
            return ColorScheme::dark;
        case Qt::ColorScheme::Light:
            return ColorScheme::light;
        case Qt::ColorScheme::Unknown:
            break;
    }
#endif
    return portalScheme_.value_or(paletteScheme_);
}

void ColorSchemeWatcher::readPortal() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return;
    }
    // The whole message: with typed arguments the subscription fails now and then, as the toolkit
    // does not always know its own variant type by then.
    bus.connect(kService, kPath, kInterface, QStringLiteral("SettingChanged"), this,
                SLOT(settingChanged(QDBusMessage)));
    if (const auto value = portalSetting(kGroup, kKey)) {
        take(*value);
        return;
    }
    // The call starts a portal that is not there yet, which takes its time.
    auto* const watcher =
        new QDBusPendingCallWatcher(bus.asyncCall(portalSettingCall(kGroup, kKey)), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid()) {
            take(unwrapped(reply.value().variant()));
        }
    });
}

void ColorSchemeWatcher::settingChanged(const QDBusMessage& message) {
    const QVariantList arguments = message.arguments();
    if (arguments.size() == 3 && arguments[0] == kGroup && arguments[1] == kKey) {
        take(unwrapped(arguments[2]));
    }
}

void ColorSchemeWatcher::take(const QVariant& value) {
    const ColorScheme before = scheme();
    const uint preference = value.toUInt();
    if (preference == kPrefersDark) {
        portalScheme_ = ColorScheme::dark;
    } else if (preference == kPrefersLight) {
        portalScheme_ = ColorScheme::light;
    } else {
        portalScheme_.reset();
    }
    if (scheme() != before) {
        Q_EMIT changed(scheme());
    }
}

}  // namespace velmaro
