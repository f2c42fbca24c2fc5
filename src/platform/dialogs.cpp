#include "platform/dialogs.h"

#include "platform/qt_dialogs.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>

namespace platform {

namespace {

Dialogs* g_replacement = nullptr;
QPointer<QWidget> g_parent;

} // namespace

Dialogs& dialogs() {
    if (g_replacement)
        return *g_replacement;
    static QtDialogs real;
    return real;
}

void setDialogs(Dialogs* replacement) {
    g_replacement = replacement;
}

void setDialogParent(QWidget* parent) {
    g_parent = parent;
}

QWidget* dialogParent() {
    return g_parent.data();
}

QString defaultDialogTitle() {
    return QStringLiteral("Orvane Translator");
}

namespace {
int g_messagesShown = 0;
} // namespace

Answer msgBox(const QString& text, Buttons buttons, Icon icon, const QString& title,
              DefaultButton defaultButton) {
    ++g_messagesShown;
    return dialogs().message(MessageRequest{text, title, buttons, icon, defaultButton});
}

int messagesShown() {
    return g_messagesShown;
}

QString qtFileFilter(const QString& barSeparated) {
    const QStringList parts = barSeparated.split(u'|');
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString label = parts[i].trimmed();
        const qsizetype paren = label.lastIndexOf(u'(');
        if (paren > 0 && label.endsWith(u')'))
            label = label.left(paren).trimmed();
        // File names on Linux are case-sensitive; offer both spellings of each pattern so that
        // "*.IIF" also lists "items.iif".
        QStringList patterns;
        for (const QString& pattern : parts[i + 1].split(u';', Qt::SkipEmptyParts)) {
            const QString p = pattern.trimmed();
            for (const QString& variant : {p, p.toLower(), p.toUpper()}) {
                if (!variant.isEmpty() && !patterns.contains(variant))
                    patterns << variant;
            }
        }
        filters << QStringLiteral("%1 (%2)").arg(label, patterns.join(u' '));
    }
    return filters.join(QStringLiteral(";;"));
}

} // namespace platform
