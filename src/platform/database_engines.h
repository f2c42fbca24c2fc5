#pragma once
// What the files of the database layer share among themselves, and nothing outside it uses: the
// SQL the layer phrases for either engine and the Jet dialect it is given (database_sql.cpp), the
// SQLite file engine (database_file.cpp), the PostgreSQL server engine (database_server.cpp) and
// how their failures are told.

#include "platform/database.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>
#include <QStringList>

#include <memory>

namespace platform::detail {

// --- the layer's SQL (database_sql.cpp) --------------------------------------------------------

QString quoted(const QString& identifier);
// A name of the program's tables and fields in a statement: the server keeps them in lower case,
// as they were created unquoted.
QString quotedName(Engine engine, const QString& identifier);
QString rowIdOf(Engine engine);
// A statement of the program's own Jet dialect in the engine's.
QString translate(Engine engine, const QString& jetSql);
// The statement that writes rows into a table: "INSERT INTO t (a, b) VALUES <rows>", replacing
// the row of the same key when there is a key.
QString insertStatement(Engine engine, const QString& table, const QStringList& columns,
                        const QString& key, const QString& rows);
// "(?first, ?first+1, ...)": count parameters.
QString valueMarks(int first, int count);
// The base table of a simple "SELECT fields FROM table [WHERE ...] [ORDER BY ...]" statement,
// whose rows can be edited; empty for anything else.
QString updatableBaseTable(const QString& sql, QString* selectList, qsizetype* listStart);
bool isTableName(const QString& text);

// --- failures ----------------------------------------------------------------------------------

// Throws the AppError for a failed statement of either engine (database.cpp).
[[noreturn]] void raise(const QSqlError& error, const QString& path, const QString& statement,
                        Engine engine = Engine::Sqlite);
// A file's failures, by SQLite's result code (database_file.cpp).
[[noreturn]] void raiseFile(const QSqlError& error, const QString& path, const QString& statement);
// The server's failures, by the SQLSTATE it reports (database_server.cpp).
[[noreturn]] void raiseServer(const QSqlError& error, const QString& location,
                              const QString& statement);

// A name for a new connection of Qt's database layer, never given before (database.cpp).
QString nextConnectionName();

// --- the file engine (database_file.cpp) -------------------------------------------------------

// The SQLite connection under a file's connection of Qt's database layer.
sqlite3* fileHandle(const QSqlDatabase& db);

// The type of a column added to a file's table (a field type number and a text size).
QString fileFieldType(int type, int size);
std::unique_ptr<RowWriter> fileRowWriter(Database& db, const QString& table,
                                         const QStringList& columns);
std::unique_ptr<KeyedRowWriter> fileKeyedRowWriter(Database& db, const QString& table,
                                                   const QStringList& columns, const QString& key);

// --- the server engine (database_server.cpp) ---------------------------------------------------

QString serverFieldType(int type);
// A statement with parameters "?1", "?2" ... prepared on the server.
std::unique_ptr<Statement> serverStatement(const QSqlDatabase& db, const QString& sql,
                                           const QString& location);
std::unique_ptr<RowWriter> serverRowWriter(Database& db, const QString& table,
                                           const QStringList& columns);
std::unique_ptr<KeyedRowWriter> serverKeyedRowWriter(Database& db, const QString& table,
                                                     const QStringList& columns,
                                                     const QString& key);

} // namespace platform::detail
