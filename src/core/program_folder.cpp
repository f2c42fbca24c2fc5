#include "core/program_folder.h"

#include <QCoreApplication>
#include <QDir>

namespace core {

namespace {
QString g_override;
} // namespace

QString programFolder() {
    if (!g_override.isEmpty())
        return g_override;
    return QCoreApplication::applicationDirPath();
}

QString programFile(const QString& name) {
    return QDir(programFolder()).filePath(name);
}

void setProgramFolder(const QString& folder) {
    g_override = folder.isEmpty() ? QString() : QDir::cleanPath(QDir(folder).absolutePath());
}

} // namespace core
