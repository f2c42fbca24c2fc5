#include "platform/qt_dialogs.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>

namespace platform {

QWidget* dialogParent(); // dialogs.cpp

namespace {

QMessageBox::Icon qtIcon(Icon icon) {
    switch (icon) {
    case Icon::Critical:
        return QMessageBox::Critical;
    case Icon::Question:
        return QMessageBox::Question;
    case Icon::Exclamation:
        return QMessageBox::Warning;
    case Icon::Information:
        return QMessageBox::Information;
    case Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

QList<QMessageBox::StandardButton> qtButtons(Buttons buttons) {
    switch (buttons) {
    case Buttons::Ok:
        return {QMessageBox::Ok};
    case Buttons::OkCancel:
        return {QMessageBox::Ok, QMessageBox::Cancel};
    case Buttons::YesNo:
        return {QMessageBox::Yes, QMessageBox::No};
    case Buttons::YesNoCancel:
        return {QMessageBox::Yes, QMessageBox::No, QMessageBox::Cancel};
    case Buttons::RetryCancel:
        return {QMessageBox::Retry, QMessageBox::Cancel};
    case Buttons::AbortRetryIgnore:
        return {QMessageBox::Abort, QMessageBox::Retry, QMessageBox::Ignore};
    }
    return {QMessageBox::Ok};
}

Answer answerFor(QMessageBox::StandardButton button) {
    switch (button) {
    case QMessageBox::Ok:
        return Answer::Ok;
    case QMessageBox::Yes:
        return Answer::Yes;
    case QMessageBox::No:
        return Answer::No;
    case QMessageBox::Retry:
        return Answer::Retry;
    case QMessageBox::Abort:
        return Answer::Abort;
    case QMessageBox::Ignore:
        return Answer::Ignore;
    default:
        return Answer::Cancel;
    }
}

QString titleOr(const QString& title) {
    return title.isEmpty() ? defaultDialogTitle() : title;
}

void prepareFileDialog(QFileDialog& dialog, const FileRequest& request) {
    dialog.setWindowTitle(request.title);
    if (!request.filter.isEmpty())
        dialog.setNameFilter(qtFileFilter(request.filter));
    if (!request.defaultSuffix.isEmpty())
        dialog.setDefaultSuffix(request.defaultSuffix);
    const QFileInfo start(request.startFile);
    if (!request.startFile.isEmpty()) {
        if (start.isDir()) {
            dialog.setDirectory(start.absoluteFilePath());
        } else {
            dialog.setDirectory(start.absolutePath());
            if (!start.fileName().contains(u'*'))
                dialog.selectFile(start.fileName());
        }
    }
    if (!request.confirmOverwrite)
        dialog.setOption(QFileDialog::DontConfirmOverwrite, true);
}

} // namespace

Answer QtDialogs::message(const MessageRequest& request) {
    QMessageBox box(qtIcon(request.icon), titleOr(request.title), request.text,
                    QMessageBox::NoButton, dialogParent());
    const QList<QMessageBox::StandardButton> buttons = qtButtons(request.buttons);
    for (QMessageBox::StandardButton button : buttons)
        box.addButton(button);
    const auto index = static_cast<qsizetype>(request.defaultButton);
    box.setDefaultButton(buttons.value(index, buttons.first()));
    return answerFor(static_cast<QMessageBox::StandardButton>(box.exec()));
}

std::optional<QString> QtDialogs::input(const QString& prompt, const QString& title,
                                        const QString& defaultText) {
    bool ok = false;
    const QString text = QInputDialog::getText(dialogParent(), titleOr(title), prompt,
                                               QLineEdit::Normal, defaultText, &ok);
    if (!ok)
        return std::nullopt;
    return text;
}

std::optional<QString> QtDialogs::openFile(const FileRequest& request) {
    QFileDialog dialog(dialogParent());
    prepareFileDialog(dialog, request);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().first();
}

std::optional<QString> QtDialogs::saveFile(const FileRequest& request) {
    QFileDialog dialog(dialogParent());
    prepareFileDialog(dialog, request);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    while (dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty()) {
        const QString chosen = dialog.selectedFiles().first();
        if (!request.mustExist || QFileInfo::exists(chosen))
            return chosen;
        QMessageBox::warning(&dialog, titleOr(request.title),
                             QStringLiteral("%1\nFile not found.\nCheck the file name and try "
                                            "again.")
                                 .arg(QFileInfo(chosen).fileName()));
    }
    return std::nullopt;
}

} // namespace platform
