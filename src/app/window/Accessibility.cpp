#include "app/window/Accessibility.h"

#include <QAccessibleWidget>
#include <QVariant>
#include <chrono>

namespace velmaro {
namespace {

constexpr const char* kRole = "accessibleRole";
constexpr std::chrono::milliseconds kMoment{150};

QAccessibleInterface* makeWithRole(const QString& /*className*/, QObject* object) {
    if (!object->isWidgetType()) {
        return nullptr;
    }
    const QVariant role = object->property(kRole);
    return role.isValid() ? new QAccessibleWidget(static_cast<QWidget*>(object),
                                                  static_cast<QAccessible::Role>(role.toInt()))
                          : nullptr;
}

}  // namespace

void setAccessibleRole(QWidget& widget, QAccessible::Role role) {
    static const bool installed = (QAccessible::installFactory(makeWithRole), true);
    Q_UNUSED(installed)
    widget.setProperty(kRole, static_cast<int>(role));
}

Announcer::Announcer(QWidget* parent) : QWidget(parent) {
    setAccessibleRole(*this, QAccessible::Notification);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFixedSize(0, 0);
    moment_.setSingleShot(true);
    moment_.setInterval(kMoment);
    moment_.callOnTimeout(this, [this] { speak(); });
}

void Announcer::announce(const QString& text) {
    text_ = text;
    moment_.start();
}

void Announcer::speak() {
    setAccessibleName(text_);
    // Screen readers read a notification out when it comes to be shown.
    QAccessibleEvent event(this, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&event);
}

}  // namespace velmaro
