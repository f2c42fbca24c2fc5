#pragma once

#include "platform/statement.h"

#include <QHash>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct sqlite3;

namespace platform {

class KeyedRowWriter;
class Recordset;
class RowWriter;
class SqliteStatement;
class Table;

// Field types understood by Database::addField (the numbering of the program's original
// database engine, which callers pass as plain numbers).
namespace fieldtype {
inline constexpr int Boolean = 1;
inline constexpr int Byte = 2;
inline constexpr int Integer = 3;
inline constexpr int Long = 4;
inline constexpr int Currency = 5;
inline constexpr int Single = 6;
inline constexpr int Double = 7;
inline constexpr int Date = 8;
inline constexpr int Text = 10;
inline constexpr int Memo = 12;
} // namespace fieldtype

// The two engines a database lives in: SQLite files (the program's own files and a shared file on
// a network share) and a PostgreSQL server (a shared translation database for many
// workstations).
enum class Engine { Sqlite, Postgres };

// Whether a database name is a PostgreSQL connection URI ("postgresql://[user@]host[:port]/db",
// "postgresql:///db?host=/run/postgresql") rather than a file.
bool isServerLocation(const QString& name);

// A database name as it may be shown to the user: a file in the system's notation, a server URI
// without any password in it.
QString displayLocation(const QString& name);

// The column that identifies a row of the program's tables: SQLite's rowid; on the server the
// column "orvane_id" that the shared tables are made with (see SharedTablesSql).
inline const QString kServerRowId = QStringLiteral("orvane_id");

// The file a database name refers to: "\" separators are taken as "/", ".mdb" is supplied when
// the name has no extension, and the file name is matched without regard to case within its
// folder ("dbScan" finds "dbscan.mdb"). When nothing matches, the path as it would be is
// returned, so the caller's error names it.
QString resolveDatabaseFile(const QString& name);

// One open database file. Opening never creates a file. The connection closes when the object
// goes away; record sets and tables opened from it must go away first.
class Database {
public:
    // A file by its name, or a server by its connection URI (isServerLocation). Connecting to a
    // server gives up after connectTimeoutSeconds.
    static Database open(const QString& name, int connectTimeoutSeconds = 10);

    // How long a statement waits for a lock held by another program before it fails.
    static void setBusyTimeoutMs(int milliseconds);
    static int busyTimeoutMs();

    Database(Database&& other) noexcept;
    Database& operator=(Database&& other) noexcept;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    // The file's path, or the server's URI without a password.
    const QString& path() const { return path_; }
    bool isOpen() const { return !connectionName_.isEmpty(); }
    void close();
    Engine engine() const { return engine_; }
    // The column that identifies a row ("rowid" in a file, kServerRowId on the server).
    QString rowIdColumn() const;

    // Runs a statement (Jet or SQLite dialect) that returns no rows; gives the rows it changed.
    // "BEGIN IMMEDIATE" takes the write lock at once in a file and begins a transaction on the
    // server, where rows are locked as they are written.
    int execute(const QString& sql);

    // A text column compared exactly, letter case included, in a condition (the tables' own
    // comparison ignores case).
    QString exactText(const QString& column) const;

    // Runs a statement written in the engine's own dialect, as it stands (setting a database up).
    void executeNative(const QString& sql);

    // Whether a transaction begun through execute() is open.
    bool inTransaction() const;

    // How long statements of this connection wait for a lock before they fail (a file's busy
    // timeout, the server's lock timeout).
    void setLockWait(int milliseconds);
    // This connection only reads from now on; the engine refuses writes through it.
    void makeReadOnly();

    // On the server: after the connection was lost (the server restarted, the network went
    // away), connects again. Throws AppError ServerUnreachable while the server cannot be
    // reached. Record sets and tables opened before are not usable afterwards.
    void reconnect();

    // A statement to run many times, with parameters "?1", "?2" ... (imports, paging).
    std::unique_ptr<Statement> prepare(const QString& sql);

    // Writes many rows into a table (copies, error rows) with plain inserts.
    std::unique_ptr<RowWriter> rowWriter(const QString& table, const QStringList& columns);
    // Writes many rows into a table by its unique column key (imports): a row replaces the row
    // holding the same key, compared as the table compares it.
    std::unique_ptr<KeyedRowWriter> keyedRowWriter(const QString& table, const QStringList& columns,
                                                   const QString& key);

    // A table name opens the whole table; anything else is taken as a SELECT statement.
    Recordset openRecordset(const QString& sqlOrTable);
    Table openTable(const QString& name);

    QStringList tableNames() const;
    QStringList fieldNames(const QString& table) const;
    bool hasTable(const QString& name) const;
    bool hasField(const QString& table, const QString& field) const;
    void addField(const QString& table, const QString& field, int type, int size);

    QSqlDatabase connection() const;
    // The SQLite connection itself (files only).
    sqlite3* nativeHandle() const;

private:
    Database(QString connectionName, QString path, Engine engine);
    static Database openFile(const QString& name);
    static Database openServer(const QString& uri, int connectTimeoutSeconds);
    void noteTransaction(const QString& statement);

    QString connectionName_;
    QString path_;
    Engine engine_ = Engine::Sqlite;
    // The server's connection does not say whether a transaction is open: execute() keeps count.
    bool serverTransaction_ = false;
};

// Rows written into a table many at a time. In a file each row is written at once; on the server
// rows are held and sent a few thousand to a statement, so that a long import does not wait for
// the network once per row. Whatever is held is sent by flush(), which must come before anything
// that reads the rows back or changes them otherwise (and before a commit).
class RowWriter {
public:
    virtual ~RowWriter() = default;
    // values: one for each column, in order.
    virtual void put(const QVariantList& values) = 0;
    virtual void flush() = 0;
};

// Rows written into a table by its unique key column, as an item list is imported: a row whose
// key is there replaces that row, and rows may be held until flush() as RowWriter's are. The
// writer tells the rows that were in the table before it started (replacing one counts as
// replaced) from the rows it wrote itself: when a key comes a second time, the handler given to
// onRewritten() gets the values the key's row had and the tag of the newer row, so that the
// caller can say which of its lines lost. It keeps a byte for each row that was there before,
// nothing for the rows it writes.
class KeyedRowWriter {
public:
    using Rewritten = std::function<void(const QVariantList& earlier, qint64 tag)>;

    virtual ~KeyedRowWriter();
    KeyedRowWriter(const KeyedRowWriter&) = delete;
    KeyedRowWriter& operator=(const KeyedRowWriter&) = delete;

    void onRewritten(Rewritten handler) { rewritten_ = std::move(handler); }

    // values: one for each column, in order. tag: the caller's number for the row (its line).
    virtual void put(const QVariantList& values, qint64 tag) = 0;
    virtual void flush() = 0;
    // Replaces the row of the key only when there is one; false when there is none.
    bool replaceExisting(const QVariantList& values, qint64 tag);
    // Removes the row of the key; gives the number of rows removed. A row this writer wrote is
    // reported as rewritten by the row with this tag, and no longer counts as written.
    int remove(const QVariant& key, qint64 tag);

    // Rows added, and rows that were in the table before and have been replaced. A key written
    // twice counts once. Rows still held count when they have been sent.
    qint64 added() const { return added_; }
    qint64 replaced() const { return replaced_; }

protected:
    KeyedRowWriter(Database& db, const QString& table, const QStringList& columns,
                   const QString& key);

    // The row that holds a key.
    struct Existing {
        qint64 id = 0;
        QVariantList values;
    };
    std::optional<Existing> find(const QVariant& key);
    // Counts, or reports as rewritten, the row of a key that the row tagged tag replaces.
    void replacing(const Existing& row, qint64 tag);
    // A row this writer added got id.
    void noteAdded(qint64 id);
    void overwrite(qint64 id, const QVariantList& values);
    // Tells the handler that the row tagged tag takes the place of a row this writer wrote.
    void reportRewritten(const QVariantList& earlier, qint64 tag) const {
        if (rewritten_)
            rewritten_(earlier, tag);
    }
    int keyColumn() const { return keyColumn_; }
    Database& database() { return db_; }

    qint64 added_ = 0;

private:
    // What the writer did to a row that was there before it started.
    enum class Mark : quint8 { Untouched, Replaced, Added };
    Mark markOf(qint64 id) const;
    void setMark(qint64 id, Mark mark);

    Database& db_;
    int keyColumn_;
    std::unique_ptr<Statement> find_;
    std::unique_ptr<Statement> update_;
    std::unique_ptr<Statement> delete_;
    Rewritten rewritten_;
    qint64 replaced_ = 0;
    // Row ids above boundary_ were given out after the writer started; marks_ covers the ids
    // from low_ to boundary_ (sparseMarks_ when that range is too wide for a byte each).
    qint64 low_ = 0;
    qint64 boundary_ = 0;
    std::vector<Mark> marks_;
    QHash<qint64, Mark> sparseMarks_;
    bool sparse_ = false;
};

// A row cursor with the edit cycle the program's routines are written in: move to a row, read
// fields by name (without regard to case), Edit or AddNew, set fields, Update.
class RecordCursor {
public:
    RecordCursor(RecordCursor&&) noexcept = default;
    RecordCursor& operator=(RecordCursor&&) noexcept = default;
    virtual ~RecordCursor() = default;

    int fieldCount() const { return static_cast<int>(fields_.size()); }
    QString fieldName(int index) const { return fields_.value(index); }
    bool hasField(const QString& name) const;

    QVariant value(const QString& field) const;
    QVariant value(int index) const;

    void edit();
    void addNew();
    void setValue(const QString& field, const QVariant& value);
    void update();
    void cancelUpdate();
    void deleteCurrent();

    bool isEditing() const { return mode_ != Mode::None; }

protected:
    RecordCursor(QSqlDatabase db, QString table, QString path, Engine engine);

    void setFields(const QStringList& fields);
    int fieldIndex(const QString& name) const; // -1 when absent
    int requireField(const QString& name) const;

    // The row the cursor stands on; nullptr before the first or after the last.
    virtual QVector<QVariant>* currentValues() = 0;
    virtual std::optional<qint64> currentRowId() const = 0;
    virtual void rowInserted(qint64 rowid, const QVector<QVariant>& values) = 0;
    virtual void currentDeleted() = 0;

    const QVector<QVariant>* constCurrentValues() const;
    void requireUpdatable() const;

    QString rowIdColumn() const;
    QString quotedTable() const;
    QString columnList() const;

    QSqlDatabase db_;
    QString table_;
    QString path_;
    Engine engine_;

private:
    enum class Mode { None, Edit, Add };

    void writeEdit(qint64 rowid);
    qint64 writeNew();

    QStringList fields_;
    QHash<QString, int> fieldIndex_;
    Mode mode_ = Mode::None;
    QVector<QVariant> buffer_;
    QVector<bool> dirty_;
};

// The rows of a SELECT, read when it is opened. A statement on one table gives an updatable
// record set (edits go to that table's row); any other statement is read-only.
class Recordset : public RecordCursor {
public:
    int recordCount() const;
    bool bof() const { return pos_ < 0; }
    bool eof() const { return pos_ >= static_cast<qsizetype>(rows_.size()); }
    void moveFirst();
    void moveLast();
    void moveNext();
    void movePrevious();

private:
    friend class Database;
    struct Row {
        qint64 rowid = 0;
        QVector<QVariant> values;
        bool deleted = false;
    };

    Recordset(QSqlDatabase db, QString table, QString path, Engine engine);

    QVector<QVariant>* currentValues() override;
    std::optional<qint64> currentRowId() const override;
    void rowInserted(qint64 rowid, const QVector<QVariant>& values) override;
    void currentDeleted() override;
    void skipDeleted(int step);

    std::vector<Row> rows_;
    qsizetype pos_ = 0;
};

// A whole table opened for seeks on an index and for walks in index order. Rows are read as
// they are reached, so a table of millions of rows opens at once and a seek costs one lookup.
class Table : public RecordCursor {
public:
    Table(Table&& other) noexcept;
    Table& operator=(Table&& other) noexcept;
    ~Table() override;

    // "PrimaryKey" is the table's primary key; other names are the file's own indexes.
    void setIndex(const QString& name);

    // Equality seek on the current index. Afterwards noMatch() tells whether a row was found;
    // the row found is the current row.
    void seek(const QVariant& key);
    bool noMatch() const { return noMatch_; }

    int recordCount() const;
    bool bof() const { return keysetPos_ == -1; }
    bool eof() const;
    void moveFirst();
    void moveLast();
    void moveNext();
    void movePrevious();

private:
    friend class Database;
    Table(QSqlDatabase db, QString table, QString path, Engine engine);
    void prepareQueries();
    void runSeek(const QVariant& key);
    void runFileSeek(const QVariant& key);

    QVector<QVariant>* currentValues() override;
    std::optional<qint64> currentRowId() const override;
    void rowInserted(qint64 rowid, const QVector<QVariant>& values) override;
    void currentDeleted() override;

    void loadKeyset();
    void loadRow(qint64 rowid);
    void positionAtFirst();
    void locateInKeyset();
    QString orderBy() const;
    void moveTo(qsizetype position);

    QStringList indexColumns_;
    QSqlQuery seekQuery_;
    QSqlQuery rowQuery_;
    // In a file the seek runs on SQLite itself (see runFileSeek).
    std::unique_ptr<SqliteStatement> fileSeek_;
    QString fileSeekSql_;
    bool noMatch_ = true;

    std::optional<qint64> rowid_;
    QVector<QVariant> row_;
    bool rowDeleted_ = false;

    // Row ids in index order, read when a walk needs them. kUnknownPosition: the current row
    // was reached by a seek or is the first row, and its place in the walk is not known yet.
    static constexpr qsizetype kUnknownPosition = -2;
    std::optional<std::vector<qint64>> keyset_;
    qsizetype keysetPos_ = kUnknownPosition;
};

} // namespace platform
