#pragma once

#include "platform/statement.h"

#include <QString>
#include <QVariant>

#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

// The text of a failed SQLite call on the database file named: what happened in words a user
// can act on (locked, read-only, damaged, disk full) and the engine's own words.
QString sqliteFailureText(int resultCode, sqlite3* handle, const QString& file);

// Throws the AppError for a failed SQLite call, numbered as the database layer numbers them.
[[noreturn]] void throwSqliteError(int resultCode, sqlite3* handle, const QString& file);

// A prepared statement on an SQLite connection of the database layer: the statements of
// Database::prepare on an SQLite file, and the few places that need the engine itself (copying,
// checking and salvaging files). The statement is reset when it is done, so it never keeps a
// read lock between uses.
class SqliteStatement final : public Statement {
public:
    SqliteStatement(sqlite3* handle, const QString& sql, QString file);
    ~SqliteStatement() override;
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    void bind(int index, const QVariant& value) override;
    void bind(int index, qint64 value);
    void bind(int index, const QString& value);
    void bindText(int index, QStringView value) override;
    void bindNumber(int index, double value) override;
    void bindNull(int index) override;

    // One step: true while a row is there, false when the statement is done. A failure throws.
    bool next() override;
    // Like next(), but gives the engine's result code instead of throwing (for salvage work).
    int tryNext();
    void reset() override;
    // Throws the error of a failed step, naming file, and resets the statement.
    [[noreturn]] void fail(int resultCode, const QString& file);

    int columnCount() const override;
    qint64 int64(int column) const override;
    QString text(int column) const override;
    bool isNull(int column) const override;
    // The column as the engine holds it: null, integer, real, text or blob.
    QVariant value(int column) const override;
    int changes() const override;

    sqlite3* handle() const { return handle_; }

private:
    sqlite3* handle_;
    sqlite3_stmt* statement_ = nullptr;
    QString file_;
    // The UTF-8 text of each text parameter, kept until the parameter is bound again: SQLite reads
    // it where it is instead of copying it, and the buffers are reused from row to row.
    std::vector<QByteArray> texts_;
};

// Runs a statement that returns no rows; throws on failure.
void sqliteExec(sqlite3* handle, const QString& sql, const QString& file);

} // namespace platform
