#pragma once

#include <QString>
#include <QVariant>

struct sqlite3;
struct sqlite3_stmt;

namespace db {

// The text of a failed SQLite call on the database file named: what happened in words a user
// can act on (locked, read-only, damaged, disk full) and the engine's own words.
QString sqliteFailureText(int resultCode, sqlite3* handle, const QString& file);

// Throws the AppError for a failed SQLite call, numbered as the database layer numbers them.
[[noreturn]] void throwSqliteError(int resultCode, sqlite3* handle, const QString& file);

// A prepared statement on a connection of the database layer, for the few places that need the
// engine directly: reading a million row ids, paging a grid, copying and salvaging files. The
// statement is reset after every run, so it never keeps a read lock between uses.
class Statement {
public:
    Statement(sqlite3* handle, const QString& sql, QString file);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bind(int index, const QVariant& value);
    void bind(int index, qint64 value);
    void bind(int index, const QString& value);

    // One step: true while a row is there, false when the statement is done. A failure throws.
    bool next();
    // Like next(), but gives the engine's result code instead of throwing (for salvage work).
    int tryNext();
    void reset();
    // Throws the error of a failed step, naming file, and resets the statement.
    [[noreturn]] void fail(int resultCode, const QString& file);

    int columnCount() const;
    qint64 int64(int column) const;
    QString text(int column) const;
    bool isNull(int column) const;
    // The column as the engine holds it: null, integer, real, text or blob.
    QVariant value(int column) const;

    sqlite3* handle() const { return handle_; }

private:
    sqlite3* handle_;
    sqlite3_stmt* statement_ = nullptr;
    QString file_;
};

// Runs a statement that returns no rows; throws on failure.
void exec(sqlite3* handle, const QString& sql, const QString& file);

} // namespace db
