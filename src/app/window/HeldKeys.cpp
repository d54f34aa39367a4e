#include "app/window/HeldKeys.h"

#include <QAbstractButton>
#include <QCoreApplication>

namespace velmaro {
namespace {

bool pressesButtons(const QKeyEvent& event, const QObject* object) {
    switch (event.key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return true;
        case Qt::Key_Space:
            return qobject_cast<const QAbstractButton*>(object) != nullptr;
        default:
            return false;
    }
}

}  // namespace

HeldKeys::HeldKeys(QObject* parent) : QObject(parent) {
    QCoreApplication::instance()->installEventFilter(this);
}

bool HeldKeys::eventFilter(QObject* object, QEvent* event) {
    switch (event->type()) {
        case QEvent::KeyRelease: {
            const auto* const release = static_cast<QKeyEvent*>(event);
            lastReleased_ = release->key();
            lastReleaseTime_ = release->timestamp();
            return false;
        }
        case QEvent::KeyPress: {
            const auto* const press = static_cast<QKeyEvent*>(event);
            return isRepeat(*press) && pressesButtons(*press, object);
        }
        case QEvent::ShortcutOverride:
            // What overrides a shortcut arrives as a plain press, which fields use and others
            // leave.
            if (isRepeat(*static_cast<QKeyEvent*>(event))) {
                event->accept();
                return true;
            }
            return false;
        default:
            return false;
    }
}

bool HeldKeys::isRepeat(const QKeyEvent& press) const {
    // On X11 a held key is released and pressed in the same millisecond. The toolkit overlooks that
    // when it reads the two one after the other, which it does while it is busy.
    return press.isAutoRepeat() || (press.key() == lastReleased_ && press.timestamp() != 0 &&
                                    press.timestamp() == lastReleaseTime_);
}

}  // namespace velmaro
