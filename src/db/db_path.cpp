#include "db/db_path.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "db/schema.h"
#include "platform/app_error.h"
#include "platform/database.h"
#include "platform/dialogs.h"

#include <QFileInfo>

namespace db {

bool SharedDbReachable(const QString& path) {
    if (path.trimmed().isEmpty())
        return false;
    try {
        const QFileInfo file(platform::resolveDatabaseFile(path));
        return file.exists() && file.isFile();
    } catch (...) {
        return false;
    }
}

QString GetDbPath() {
    core::SharedState& state = core::shared();
    while (state.IsDBShared) {
        if (SharedDbReachable(state.SharedDataBase))
            break;
        const platform::Answer answer = platform::msgBox(
            QStringLiteral("Lost Connection to Shared Database\r\nAt ") + state.SharedDataBase,
            platform::Buttons::RetryCancel, platform::Icon::Question);
        if (answer != platform::Answer::Retry)
            state.IsDBShared = false;
    }
    if (state.IsDBShared)
        return state.SharedDataBase;
    return core::programFile(QStringLiteral("dbScan.mdb"));
}

QString SqlQuote(const QString& value) {
    QString quoted = value;
    quoted.replace(QStringLiteral("'"), QStringLiteral("''"));
    quoted.replace(QStringLiteral("|"), QStringLiteral("' & chr(124) & '"));
    return quoted;
}

QString PrepareSharedDatabase(const QString& path) {
    if (path.trimmed().isEmpty())
        return QStringLiteral("No file was given.");
    if (path.right(4).toLower() != QStringLiteral(".mdb"))
        return QStringLiteral("The name of a shared database file must end in .mdb.");
    if (QFileInfo(path).isDir())
        return QStringLiteral("This is a folder, not a database file.");
    try {
        platform::Database database = platform::Database::open(path);
        for (const char* table : {"tblAppendStr", "tblImportErrors", "tblManual", "tblCodelink"}) {
            if (!TableExists(database, QString::fromLatin1(table)))
                return QStringLiteral("It has no table %1: it is not a translation database of "
                                      "this program.")
                    .arg(QString::fromLatin1(table));
        }
        EnsureUnitField(database, QStringLiteral("tblCodelink"));
        EnsureUnitField(database, QStringLiteral("tblImportErrors"));
        AddRetValToAppendStrings(database);
    } catch (const platform::AppError& error) {
        return error.description();
    }
    return {};
}

bool CheckSharedDatabase(const QString& path) {
    const QString problem = PrepareSharedDatabase(path);
    if (problem.isEmpty())
        return true;
    platform::msgBox(path + QStringLiteral("\r\nIs Not a Valid Shared Database\r\n") + problem);
    return false;
}

} // namespace db
