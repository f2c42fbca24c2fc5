#include "db/db_path.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "db/schema.h"
#include "platform/app_error.h"
#include "platform/database.h"
#include "platform/dialogs.h"

#include <QFileInfo>

namespace db {

namespace {
constexpr int kReachTimeoutSeconds = 3; // a server that does not answer by then counts as gone
} // namespace

bool SharedDbReachable(const QString& path) {
    if (path.trimmed().isEmpty())
        return false;
    if (platform::isServerLocation(path)) {
        try {
            platform::Database::open(path, kReachTimeoutSeconds);
            return true;
        } catch (const platform::AppError&) {
            return false;
        }
    }
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
        const platform::Answer answer =
            platform::msgBox(QStringLiteral("Lost Connection to Shared Database\r\nAt ") +
                                 platform::displayLocation(state.SharedDataBase),
                             platform::Buttons::RetryCancel, platform::Icon::Question);
        if (answer != platform::Answer::Retry)
            state.IsDBShared = false;
    }
    if (state.IsDBShared)
        return state.SharedDataBase;
    return core::programFile(QStringLiteral("dbScan.mdb"));
}

QString PrepareSharedDatabase(const QString& path) {
    const bool server = platform::isServerLocation(path);
    if (path.trimmed().isEmpty())
        return QStringLiteral("No file was given.");
    if (!server && path.right(4).toLower() != QStringLiteral(".mdb"))
        return QStringLiteral("The name of a shared database file must end in .mdb.");
    if (!server && QFileInfo(path).isDir())
        return QStringLiteral("This is a folder, not a database file.");
    try {
        platform::Database database = platform::Database::open(path, kReachTimeoutSeconds);
        for (const QString& table : kSharedTables) {
            if (!TableExists(database, table))
                return QStringLiteral("It has no table %1: it is not a translation database of "
                                      "this program%2.")
                    .arg(table, server ? QStringLiteral(" (orvane-translator shared-init makes "
                                                        "one)")
                                       : QString());
        }
        if (server && !MayWriteSharedTables(database))
            return QStringLiteral("The account it connects with may not read and write its "
                                  "tables: ask its administrator for the rights that "
                                  "orvane-translator shared-init lists.");
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
    platform::msgBox(platform::displayLocation(path) +
                     QStringLiteral("\r\nIs Not a Valid Shared Database\r\n") + problem);
    return false;
}

bool MayWriteSharedTables(platform::Database& database) {
    if (database.engine() != platform::Engine::Postgres)
        return true;
    for (const QString& table : kSharedTables) {
        platform::Recordset allowed = database.openRecordset(
            QStringLiteral("SELECT has_table_privilege('%1', 'SELECT, INSERT, UPDATE, DELETE')")
                .arg(table.toLower()));
        if (allowed.eof() || !allowed.value(0).toBool())
            return false;
    }
    return true;
}

} // namespace db
