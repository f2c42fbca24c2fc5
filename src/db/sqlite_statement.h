#pragma once
// The translation database tools that work on SQLite files themselves (copying, checking,
// salvaging, paging by row id) use the engine's statements under their short names.

#include "platform/sqlite_statement.h"

namespace db {

using Statement = platform::SqliteStatement;
using platform::sqliteFailureText;
using platform::throwSqliteError;

inline void exec(sqlite3* handle, const QString& sql, const QString& file) {
    platform::sqliteExec(handle, sql, file);
}

} // namespace db
