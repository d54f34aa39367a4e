#include "app/window/MessageList.h"

#include <QDialogButtonBox>
#include <QIcon>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStringList>
#include <QVBoxLayout>

#include "app/window/Grid.h"

namespace velmaro {

MessageList::MessageList(QWidget* parent) : QDialog(parent), text_(new QPlainTextEdit(this)) {
    setWindowTitle(tr("Messages"));
    text_->setReadOnly(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text_->setTabChangesFocus(true);
    text_->setAccessibleName(tr("Messages"));
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    // The desktop's icon may be drawn for the other colour scheme.
    buttons->button(QDialogButtonBox::Close)->setIcon(QIcon());
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* const stack = new QVBoxLayout(this);
    stack->addWidget(text_);
    stack->addWidget(buttons);
    resize(2 * kWindowWidth, kWindowWidth);
}

void MessageList::setMessages(const std::vector<Diagnostic>& messages) {
    QStringList lines;
    for (const Diagnostic& message : messages) {
        lines.append(shown(message));
    }
    text_->setPlainText(lines.isEmpty() ? tr("There is nothing to tell.") : lines.join("\n\n"));
    text_->moveCursor(QTextCursor::End);
}

QString shown(const Diagnostic& message) {
    QString text = QString::fromStdString(message.line());
    if (!text.isEmpty()) {
        text[0] = text[0].toUpper();
    }
    return text;
}

}  // namespace velmaro
