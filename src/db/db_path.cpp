#include "db/db_path.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "db/schema.h"
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

bool CheckSharedDatabase(const QString& path) {
    bool valid = false;
    {
        platform::Database database = platform::Database::open(path);
        valid = true;
        for (const char* table : {"tblAppendStr", "tblImportErrors", "tblManual", "tblCodelink"}) {
            if (!TableExists(database, QString::fromLatin1(table))) {
                valid = false;
                break;
            }
        }
        if (valid) {
            EnsureUnitField(database, QStringLiteral("tblCodelink"));
            EnsureUnitField(database, QStringLiteral("tblImportErrors"));
            AddRetValToAppendStrings(database);
        }
    }
    if (!valid)
        platform::msgBox(path + QStringLiteral("\r\nIs Not a Valid Shared Database"));
    return valid;
}

} // namespace db
