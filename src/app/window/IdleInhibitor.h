#pragma once

#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QString>

class QDBusPendingCallWatcher;

namespace velmaro {

/// Keeps the desktop from taking the person for absent, who turns the head and touches neither
/// mouse nor keyboard: by the desktop's portal or else by the login manager. Where there is
/// neither, or they refuse, nothing happens. Never waits. Main thread.
class IdleInhibitor final : public QObject {
public:
    explicit IdleInhibitor(QObject* parent = nullptr) : QObject(parent) {}
    ~IdleInhibitor() override;

    void setInhibited(bool inhibited);

private:
    void askPortal();
    void askLoginManager();
    void portalAnswered(QDBusPendingCallWatcher& answer);
    void loginManagerAnswered(QDBusPendingCallWatcher& answer);
    void release();

    bool isWanted_ = false;
    /// The portal's request, which lasts until it is closed.
    QString request_;
    /// The login manager's lock, which lasts until it is closed.
    QDBusUnixFileDescriptor lock_;
};

}  // namespace velmaro
