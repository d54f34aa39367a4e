#include "app/window/ColorSchemeWatcher.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QPalette>
#include <QStyleHints>

namespace velmaro {
namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kGroup = QStringLiteral("org.freedesktop.appearance");
const QString kKey = QStringLiteral("color-scheme");

constexpr int kPatienceMilliseconds = 200;

// The values that the portal's documentation gives; 0 is no preference.
constexpr uint kPrefersDark = 1;
constexpr uint kPrefersLight = 2;

QVariant unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

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
    // A signal asked for before the bus has said its first word is now and then not subscribed to;
    // the answer to a question comes after that word.
    const bool portalRuns = bus.interface()->isServiceRegistered(kService);
    bus.connect(kService, kPath, kInterface, QStringLiteral("SettingChanged"), this,
                SLOT(settingChanged(QString, QString, QDBusVariant)));
    QDBusMessage read =
        QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("Read"));
    read << kGroup << kKey;
    if (portalRuns) {
        const QDBusReply<QDBusVariant> reply = bus.call(read, QDBus::Block, kPatienceMilliseconds);
        if (reply.isValid()) {
            take(unwrapped(reply.value().variant()));
            return;
        }
    }
    // The call starts a portal that is not there yet, which takes its time.
    auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(read), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid()) {
            take(unwrapped(reply.value().variant()));
        }
    });
}

void ColorSchemeWatcher::settingChanged(const QString& group, const QString& key,
                                        const QDBusVariant& value) {
    if (group == kGroup && key == kKey) {
        take(unwrapped(value.variant()));
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
