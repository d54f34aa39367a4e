#include "app/window/IdleInhibitor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace velmaro {
namespace {

/// The portal's flag for idling, of those that its documentation gives.
constexpr uint kIdle = 8;

QString reason() {
    return QStringLiteral("Head tracking");
}

void close(const QString& request) {
    QDBusConnection::sessionBus().send(QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"), request,
        QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Close")));
}

}  // namespace

IdleInhibitor::~IdleInhibitor() {
    release();
}

void IdleInhibitor::setInhibited(bool inhibited) {
    if (inhibited == isWanted_) {
        return;
    }
    isWanted_ = inhibited;
    if (inhibited) {
        askPortal();
    } else {
        release();
    }
}

void IdleInhibitor::askPortal() {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"),
        QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Inhibit"), QStringLiteral("Inhibit"));
    call << QString() << kIdle << QVariantMap{{QStringLiteral("reason"), reason()}};
    auto* const answer =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this,
            [this, answer] { portalAnswered(*answer); });
}

void IdleInhibitor::portalAnswered(QDBusPendingCallWatcher& answer) {
    answer.deleteLater();
    const QDBusPendingReply<QDBusObjectPath> reply = answer;
    if (reply.isError()) {
        askLoginManager();
        return;
    }
    // Tracking may have been stopped, or stopped and started, before the answer came.
    if (!isWanted_ || !request_.isEmpty()) {
        close(reply.value().path());
        return;
    }
    request_ = reply.value().path();
}

void IdleInhibitor::askLoginManager() {
    if (!isWanted_) {
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("idle") << QStringLiteral("Velmaro") << reason()
         << QStringLiteral("block");
    auto* const answer =
        new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this,
            [this, answer] { loginManagerAnswered(*answer); });
}

void IdleInhibitor::loginManagerAnswered(QDBusPendingCallWatcher& answer) {
    answer.deleteLater();
    const QDBusPendingReply<QDBusUnixFileDescriptor> reply = answer;
    if (!reply.isError() && isWanted_) {
        lock_ = reply.value();
    }
}

void IdleInhibitor::release() {
    if (!request_.isEmpty()) {
        close(request_);
        request_.clear();
    }
    lock_ = QDBusUnixFileDescriptor();
}

}  // namespace velmaro
