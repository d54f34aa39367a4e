#include "app/window/Menu.h"

#include <QCoreApplication>
#include <QIcon>
#include <QMessageBox>
#include <QPushButton>
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
    // The desktop's icon may be drawn for the other colour scheme.
    box.addButton(QMessageBox::Ok)->setIcon(QIcon());
    box.exec();
}

}  // namespace

void fillMenu(QMenu& menu, const MenuActions& actions) {
    const auto add = [&menu](const QString& text, const std::function<void()>& action) {
        if (action) {
            QObject::connect(menu.addAction(text), &QAction::triggered, action);
        }
    };
    if (actions.chooseReceiver) {
        addReceivers(menu, actions.chooseReceiver);
    }
    add(Texts::tr("Keep these settings"), actions.keepSettings);
    add(Texts::tr("Forget the stored pose"), actions.forgetPose);
    // The toolkit shows none where there is nothing to separate.
    menu.addSeparator();
    add(Texts::tr("Messages"), actions.showMessages);
    add(Texts::tr("Open the log"), actions.openLog);
    QWidget* const parent = menu.parentWidget();
    add(Texts::tr("About Velmaro"), [parent] { about(parent); });
    if (actions.quit) {
        menu.addSeparator();
        QAction* const quit = menu.addAction(Texts::tr("Quit"));
        quit->setShortcut(Qt::CTRL | Qt::Key_Q);
        QObject::connect(quit, &QAction::triggered, actions.quit);
    }
}

}  // namespace velmaro
