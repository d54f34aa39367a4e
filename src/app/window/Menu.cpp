#include "app/window/Menu.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QString>

namespace velmaro {
namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(velmaro::Menu)
};

QString fromView(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

void addReceivers(QMenu& menu, const std::function<void(const Receiver&)>& choose) {
    QMenu* const list = menu.addMenu(Texts::tr("Receiver"));
    list->setToolTipsVisible(true);
    for (const Receiver& receiver : receivers()) {
        QAction* const action = list->addAction(fromView(receiver.name));
        action->setToolTip(fromView(receiver.description));
        QObject::connect(action, &QAction::triggered, [choose, &receiver] { choose(receiver); });
    }
}

void about(QWidget* parent) {
    QMessageBox box(parent);
    box.setWindowTitle(Texts::tr("About Velmaro"));
    box.setTextFormat(Qt::PlainText);
    box.setText(QStringLiteral("Velmaro ") + QStringLiteral(VELMARO_VERSION));
    box.setInformativeText(Texts::tr(
        "Measures where your head points and streams it as Open Sound Control. Everything "
        "is measured on this computer; only the angles leave it.\n\nMIT licence. The face "
        "models are Apache-2.0, the font is OFL."));
    box.exec();
}

}  // namespace

void fillMenu(QMenu& menu, const MenuActions& actions) {
    if (actions.chooseReceiver) {
        addReceivers(menu, actions.chooseReceiver);
        menu.addSeparator();
    }
    if (actions.showMessages) {
        QObject::connect(menu.addAction(Texts::tr("Messages")), &QAction::triggered,
                         actions.showMessages);
    }
    QWidget* const parent = menu.parentWidget();
    QObject::connect(menu.addAction(Texts::tr("About Velmaro")), &QAction::triggered,
                     [parent] { about(parent); });
    if (actions.quit) {
        menu.addSeparator();
        QAction* const quit = menu.addAction(Texts::tr("Quit"));
        quit->setShortcut(Qt::CTRL | Qt::Key_Q);
        QObject::connect(quit, &QAction::triggered, actions.quit);
    }
}

}  // namespace velmaro
