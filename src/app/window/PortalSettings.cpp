#include "app/window/PortalSettings.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusVariant>

namespace velmaro {
namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");

constexpr int kPatienceMilliseconds = 200;

}  // namespace

QDBusMessage portalSettingCall(const QString& group, const QString& key) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        kService, QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
    call << group << key;
    return call;
}

QVariant unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

std::optional<QVariant> portalSetting(const QString& group, const QString& key) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(kService)) {
        return std::nullopt;
    }
    const QDBusReply<QDBusVariant> reply =
        bus.call(portalSettingCall(group, key), QDBus::Block, kPatienceMilliseconds);
    if (!reply.isValid()) {
        return std::nullopt;
    }
    return unwrapped(reply.value().variant());
}

}  // namespace velmaro
