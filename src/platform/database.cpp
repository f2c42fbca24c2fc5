#include "platform/database.h"

#include "platform/app_error.h"
#include "platform/jet_sql.h"
#include "platform/sqlite_statement.h"

#include <QAtomicInteger>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlIndex>
#include <QSqlRecord>
#include <QUrl>
#include <QUrlQuery>

#include <algorithm>
#include <sqlite3.h>
#include <utility>

namespace platform {

namespace {

int g_busyTimeoutMs = 2000;
QAtomicInteger<quint64> g_connectionCounter;

const QString kRowIdAlias = QStringLiteral("__orvane_rowid");

QString quoted(const QString& identifier) {
    QString escaped = identifier;
    escaped.replace(u'"', QStringLiteral("\"\""));
    return u'"' + escaped + u'"';
}

// A name of the program's tables and fields in a statement: the server keeps them in lower case,
// as they were created unquoted.
QString quotedName(Engine engine, const QString& identifier) {
    return quoted(engine == Engine::Postgres ? identifier.toLower() : identifier);
}

QString rowIdOf(Engine engine) {
    return engine == Engine::Postgres ? kServerRowId : QStringLiteral("rowid");
}

QString translate(Engine engine, const QString& jetSql) {
    return engine == Engine::Postgres ? jetToPostgres(jetSql) : jetToSqlite(jetSql);
}

// "?1", "?2" ... as the server numbers parameters: "$1", "$2" ...
QString serverParameters(const QString& sql) {
    static const QRegularExpression numbered(QStringLiteral("\\?(\\d+)"));
    QString result = sql;
    result.replace(numbered, QStringLiteral("$\\1"));
    return result;
}

// --- error reporting ----------------------------------------------------------------------

int primaryCode(const QSqlError& error) {
    bool ok = false;
    const int code = error.nativeErrorCode().toInt(&ok);
    return ok ? (code & 0xff) : -1;
}

// The server's errors, by the SQLSTATE it reports.
[[noreturn]] void raiseServer(const QSqlError& error, const QString& location,
                              const QString& statement) {
    const QString detail =
        (error.databaseText().isEmpty() ? error.text() : error.databaseText()).trimmed();
    const QString state = error.nativeErrorCode();
    // A lost connection is reported by libpq itself, without a SQLSTATE, or by the server
    // shutting down ("57P01" and the "08" class).
    const bool clientSide = state.isEmpty() && detail.contains(u"connection", Qt::CaseInsensitive);
    if (error.type() == QSqlError::ConnectionError || state.startsWith(u"08") ||
        state == u"57P01" || clientSide)
        throw AppError(err::ServerUnreachable,
                       QStringLiteral("Cannot reach the shared database server %1 (%2). Check that "
                                      "the server is running and this computer can reach it.")
                           .arg(location, detail));
    if (state == u"23505")
        throw AppError(err::DuplicateKey,
                       QStringLiteral("The changes you requested to the table were not "
                                      "successful because they would create duplicate values in "
                                      "the index, primary key, or relationship."));
    if (state == u"42P01")
        throw AppError(err::TableNotFound,
                       QStringLiteral("Cannot find the table named in \"%1\" on %2 (%3).")
                           .arg(statement, location, detail));
    if (state == u"42501")
        throw AppError(err::NoPermission,
                       QStringLiteral("The shared database %1 does not allow this account to do "
                                      "it (%2). Ask its administrator for the rights that "
                                      "\"orvane-translator shared-init\" lists.")
                           .arg(location, detail));
    if (state == u"55P03" || state == u"40P01" || state == u"40001")
        throw AppError(err::FileLocked,
                       QStringLiteral("The shared database %1 is busy with another workstation's "
                                      "changes (%2). Try again.")
                           .arg(location, detail));
    throw AppError(
        err::DatabaseError,
        QStringLiteral("Database error on %1: %2\nStatement: %3").arg(location, detail, statement));
}

[[noreturn]] void raise(const QSqlError& error, const QString& path, const QString& statement,
                        Engine engine = Engine::Sqlite) {
    if (engine == Engine::Postgres)
        raiseServer(error, path, statement);
    const QString detail = error.databaseText().isEmpty() ? error.text() : error.databaseText();
    switch (primaryCode(error)) {
    case 5: // busy
    case 6: // locked
        throw AppError(err::FileLocked,
                       QStringLiteral("The database '%1' is locked by another program or "
                                      "workstation (waited %2 seconds). Try again when it is "
                                      "free.")
                           .arg(QDir::toNativeSeparators(path))
                           .arg(g_busyTimeoutMs / 1000.0));
    case 8: // read-only
        throw AppError(err::ReadOnly,
                       QStringLiteral("Cannot update the database '%1': the file is read-only.")
                           .arg(QDir::toNativeSeparators(path)));
    case 14: // cannot open (journal in a read-only folder, file gone)
        throw AppError(err::ReadOnly,
                       QStringLiteral("Cannot write to the database '%1': its folder is "
                                      "read-only or the file cannot be opened.")
                           .arg(QDir::toNativeSeparators(path)));
    case 11: // corrupt
    case 26: // not a database
        throw AppError(
            err::UnrecognizedFormat,
            QStringLiteral("The database '%1' is damaged (%2). Repair it with File > Repair "
                           "Data, or, when the program cannot start, with the "
                           "command: orvane-translator repair")
                .arg(QDir::toNativeSeparators(path), detail));
    case 10: // I/O error
        throw AppError(err::DatabaseError,
                       QStringLiteral("Could not read or write the database '%1' (%2). Check that "
                                      "the file and its folder can be written to.")
                           .arg(QDir::toNativeSeparators(path), detail));
    case 13: // full
        throw AppError(
            err::DatabaseError,
            QStringLiteral("The disk holding '%1' is full.").arg(QDir::toNativeSeparators(path)));
    case 19: // constraint
        if (detail.contains(u"UNIQUE", Qt::CaseInsensitive) ||
            detail.contains(u"PRIMARY KEY", Qt::CaseInsensitive))
            throw AppError(err::DuplicateKey,
                           QStringLiteral("The changes you requested to the table were not "
                                          "successful because they would create duplicate "
                                          "values in the index, primary key, or relationship."));
        break;
    default:
        break;
    }
    if (detail.startsWith(u"no such table", Qt::CaseInsensitive))
        throw AppError(err::TableNotFound,
                       QStringLiteral("Cannot find the table or query named in \"%1\" in '%2' "
                                      "(%3).")
                           .arg(statement, QDir::toNativeSeparators(path), detail));
    throw AppError(err::DatabaseError, QStringLiteral("Database error in '%1': %2\nStatement: %3")
                                           .arg(QDir::toNativeSeparators(path), detail, statement));
}

// A statement prepared on the server and run many times.
class ServerStatement final : public Statement {
public:
    ServerStatement(const QSqlDatabase& db, QString sql, QString location)
        : query_(db)
        , sql_(std::move(sql))
        , location_(std::move(location)) {
        if (!query_.prepare(sql_))
            raiseServer(query_.lastError(), location_, sql_);
    }

    void bind(int index, const QVariant& value) override { parameter(index) = value; }
    void bindText(int index, QStringView value) override { parameter(index) = value.toString(); }
    void bindNumber(int index, double value) override { parameter(index) = value; }
    void bindNull(int index) override { parameter(index) = QVariant(); }

    bool next() override {
        if (!running_) {
            for (int i = 0; i < parameters_.size(); ++i)
                query_.bindValue(i, parameters_[i]);
            if (!query_.exec())
                raiseServer(query_.lastError(), location_, sql_);
            changes_ = query_.numRowsAffected();
            running_ = true;
        }
        if (query_.isSelect() && query_.next())
            return true;
        reset();
        return false;
    }
    void reset() override {
        query_.finish();
        running_ = false;
    }

    int columnCount() const override { return query_.record().count(); }
    QVariant value(int column) const override { return query_.value(column); }
    qint64 int64(int column) const override { return query_.value(column).toLongLong(); }
    QString text(int column) const override { return query_.value(column).toString(); }
    bool isNull(int column) const override { return query_.isNull(column); }
    int changes() const override { return changes_; }

private:
    QVariant& parameter(int index) {
        if (parameters_.size() < index)
            parameters_.resize(index);
        return parameters_[index - 1];
    }

    QSqlQuery query_;
    QString sql_;
    QString location_;
    QVector<QVariant> parameters_;
    bool running_ = false;
    int changes_ = 0;
};

// The statement that writes rows into a table: "INSERT INTO t (a, b) VALUES <rows>", replacing
// the row of the same key when there is a key.
QString insertStatement(Engine engine, const QString& table, const QStringList& columns,
                        const QString& key, const QString& rows) {
    QStringList names;
    QStringList updates;
    for (const QString& column : columns) {
        names << quotedName(engine, column);
        updates << quotedName(engine, column) + QStringLiteral(" = excluded.") +
                       quotedName(engine, column);
    }
    QString sql = QStringLiteral("INSERT INTO %1 (%2) VALUES %3")
                      .arg(quotedName(engine, table), names.join(u", "), rows);
    if (!key.isEmpty())
        sql += QStringLiteral(" ON CONFLICT (%1) DO UPDATE SET %2")
                   .arg(quotedName(engine, key), updates.join(u", "));
    return sql;
}

QString valueMarks(int first, int count) {
    QStringList marks;
    for (int i = 0; i < count; ++i)
        marks << QStringLiteral("?%1").arg(first + i);
    return u'(' + marks.join(u", ") + u')';
}

// A file: one prepared statement, one row at a time (SQLite writes a row in microseconds).
class FileRowWriter final : public RowWriter {
public:
    FileRowWriter(Database& db, const QString& table, const QStringList& columns)
        : statement_(db.prepare(insertStatement(Engine::Sqlite, table, columns, QString(),
                                                valueMarks(1, int(columns.size()))))) {}
    void put(const QVariantList& values) override {
        for (int i = 0; i < values.size(); ++i)
            statement_->bind(i + 1, values[i]);
        statement_->run();
    }
    void flush() override {}

private:
    std::unique_ptr<Statement> statement_;
};

// A file, by key: a plain insert, which is all that a new key costs; a key that is there makes
// the insert fail on the key, and the row that holds it is then looked up and overwritten.
class FileKeyedRowWriter final : public KeyedRowWriter {
public:
    FileKeyedRowWriter(Database& db, const QString& table, const QStringList& columns,
                       const QString& key)
        : KeyedRowWriter(db, table, columns, key)
        , insert_(db.nativeHandle(),
                  insertStatement(Engine::Sqlite, table, columns, QString(),
                                  valueMarks(1, int(columns.size()))),
                  db.path()) {}

    void put(const QVariantList& values, qint64 tag) override {
        for (int i = 0; i < values.size(); ++i)
            insert_.bind(i + 1, values[i]);
        const int rc = insert_.tryNext();
        if (rc == SQLITE_DONE) {
            insert_.reset();
            noteAdded(sqlite3_last_insert_rowid(insert_.handle()));
            return;
        }
        const int extended = sqlite3_extended_errcode(insert_.handle());
        if (extended != SQLITE_CONSTRAINT_PRIMARYKEY && extended != SQLITE_CONSTRAINT_UNIQUE)
            insert_.fail(rc, database().path());
        insert_.reset();
        const std::optional<Existing> row = find(values[keyColumn()]);
        if (!row)
            throw AppError(err::DuplicateKey,
                           QStringLiteral("The changes you requested to the table were not "
                                          "successful because they would create duplicate "
                                          "values in the index, primary key, or relationship."));
        replacing(*row, tag);
        overwrite(row->id, values);
    }
    void flush() override {}

private:
    SqliteStatement insert_;
};

// One element of a server array literal: NULL, or the value in double quotes with its quotes and
// backslashes escaped.
QString arrayElement(const QVariant& value) {
    if (value.isNull())
        return QStringLiteral("NULL");
    QString text = value.typeId() == QMetaType::Double ? QString::number(value.toDouble(), 'g', 17)
                                                       : value.toString();
    text.replace(u'\\', QStringLiteral("\\\\"));
    text.replace(u'"', QStringLiteral("\\\""));
    return u'"' + text + u'"';
}

// The type a column's values are sent to the server as: numbers as numbers, everything else as
// text (a case-blind text column takes text).
QString arrayType(Database& db, const QString& table, const QString& column) {
    Recordset type = db.openRecordset(
        QStringLiteral("SELECT data_type FROM information_schema.columns WHERE table_name = "
                       "'%1' AND column_name = '%2'")
            .arg(table.toLower(), column.toLower()));
    const QString name = type.eof() ? QString() : type.value(0).toString();
    if (name == u"double precision" || name == u"real" || name == u"numeric")
        return QStringLiteral("float8");
    if (name == u"integer" || name == u"bigint" || name == u"smallint")
        return QStringLiteral("int8");
    if (name == u"boolean")
        return QStringLiteral("bool");
    return QStringLiteral("text");
}

// Rows for the server, held in groups and sent one group to a statement, each column of the
// group as one array ("INSERT ... SELECT * FROM unnest($1::text[], $2::float8[] ...)"), so that a
// group of thousands of rows costs four parameters, one statement prepared once and one trip to
// the server.
class ServerGroups {
public:
    static constexpr int kGroupRows = 5000;

    ServerGroups(Database& db, const QString& table, const QStringList& columns)
        : columns_(int(columns.size())) {
        for (int i = 0; i < columns.size(); ++i)
            types_ << arrayType(db, table, columns[i]);
    }

    // The insert of a group, replacing the rows of their keys when key is given.
    std::unique_ptr<Statement> insert(Database& db, const QString& table,
                                      const QStringList& columns, const QString& key) const {
        QStringList arrays;
        for (int i = 0; i < columns_; ++i)
            arrays << QStringLiteral("?%1::%2[]").arg(i + 1).arg(types_[i]);
        const QString rows = QStringLiteral("SELECT * FROM unnest(") + arrays.join(u", ") + u')';
        return db.prepare(insertStatement(Engine::Postgres, table, columns, key, QString())
                              .replace(QStringLiteral("VALUES "), rows));
    }

    QList<QVariantList>& rows() { return rows_; }
    bool full() const { return rows_.size() >= kGroupRows; }

    // The held rows as one array literal per column; the group is emptied.
    QStringList takeArrays() {
        QStringList arrays;
        for (int column = 0; column < columns_; ++column)
            arrays << arrayOf(column);
        rows_.clear();
        return arrays;
    }
    QString arrayOf(int column) const {
        QString array = QStringLiteral("{");
        for (const QVariantList& row : rows_) {
            if (array.size() > 1)
                array += u',';
            array += arrayElement(row[column]);
        }
        return array + u'}';
    }

    static void send(Statement& statement, const QStringList& arrays) {
        for (int column = 0; column < arrays.size(); ++column)
            statement.bindText(column + 1, arrays[column]);
        statement.run();
    }

private:
    int columns_;
    QStringList types_;
    QList<QVariantList> rows_;
};

class ServerRowWriter final : public RowWriter {
public:
    ServerRowWriter(Database& db, const QString& table, const QStringList& columns)
        : groups_(db, table, columns)
        , insert_(groups_.insert(db, table, columns, QString())) {}
    ~ServerRowWriter() override {
        try {
            flush();
        } catch (...) {
            // Rows that could not be sent any more are the caller's failure to report.
        }
    }

    void put(const QVariantList& values) override {
        groups_.rows() << values;
        if (groups_.full())
            flush();
    }
    void flush() override {
        if (!groups_.rows().isEmpty())
            ServerGroups::send(*insert_, groups_.takeArrays());
    }

private:
    ServerGroups groups_;
    std::unique_ptr<Statement> insert_;
};

// The server, by key. A group is first sent as a plain insert: most groups of an import bring new
// keys only, and a plain insert looks each key up once where "ON CONFLICT DO UPDATE" looks it up
// twice (a case-blind key's comparisons are what inserting costs most). A group that meets a key
// already there is undone, the rows of its keys are read, and it is sent again as the insert that
// replaces rows. Within a group, a later row of a key replaces the held one, as row by row it
// would.
class ServerKeyedRowWriter final : public KeyedRowWriter {
public:
    ServerKeyedRowWriter(Database& db, const QString& table, const QStringList& columns,
                         const QString& key)
        : KeyedRowWriter(db, table, columns, key)
        , groups_(db, table, columns)
        , insert_(groups_.insert(db, table, columns, QString()))
        , replace_(groups_.insert(db, table, columns, key)) {
        QStringList names;
        for (const QString& column : columns)
            names << quotedName(Engine::Postgres, column);
        present_ = db.prepare(QStringLiteral("SELECT %1, %2 FROM %3 WHERE %4 = ANY(?1::text[])")
                                  .arg(kServerRowId, names.join(u", "),
                                       quotedName(Engine::Postgres, table),
                                       quotedName(Engine::Postgres, key)));
    }
    ~ServerKeyedRowWriter() override {
        try {
            flush();
        } catch (...) {
            // Rows that could not be sent any more are the caller's failure to report.
        }
    }

    void put(const QVariantList& values, qint64 tag) override {
        const QString key = values[keyColumn()].toString().toLower();
        if (const auto held = positions_.constFind(key); held != positions_.cend()) {
            reportRewritten(groups_.rows()[*held], tag);
            groups_.rows()[*held] = values;
            tags_[*held] = tag;
            return;
        }
        positions_.insert(key, groups_.rows().size());
        groups_.rows() << values;
        tags_ << tag;
        if (groups_.full())
            flush();
    }

    void flush() override {
        if (groups_.rows().isEmpty())
            return;
        const qint64 count = groups_.rows().size();
        const QString keys = groups_.arrayOf(keyColumn());
        const QStringList arrays = groups_.takeArrays();
        // Inside a transaction a failed statement spoils the transaction unless it ran under a
        // savepoint; outside one it spoils nothing.
        Database& db = database();
        const bool savepoint = db.inTransaction();
        if (savepoint)
            db.executeNative(QStringLiteral("SAVEPOINT orvane_rows"));
        try {
            ServerGroups::send(*insert_, arrays);
            added_ += count;
        } catch (const AppError& error) {
            if (error.number() != err::DuplicateKey)
                throw;
            if (savepoint)
                db.executeNative(QStringLiteral("ROLLBACK TO SAVEPOINT orvane_rows"));
            added_ += count - replacePresent(keys);
            ServerGroups::send(*replace_, arrays);
        }
        if (savepoint)
            db.executeNative(QStringLiteral("RELEASE SAVEPOINT orvane_rows"));
        positions_.clear();
        tags_.clear();
    }

private:
    // Accounts for the rows that hold keys of the group; gives how many there are.
    qint64 replacePresent(const QString& keys) {
        present_->bindText(1, keys);
        qint64 present = 0;
        while (present_->next()) {
            Existing row{present_->int64(0), {}};
            for (int i = 1; i < present_->columnCount(); ++i)
                row.values << present_->value(i);
            const qsizetype position =
                positions_.value(row.values[keyColumn()].toString().toLower(), -1);
            replacing(row, position < 0 ? 0 : tags_[position]);
            ++present;
        }
        return present;
    }

    ServerGroups groups_;
    QList<qint64> tags_;
    QHash<QString, qsizetype> positions_;
    std::unique_ptr<Statement> insert_;
    std::unique_ptr<Statement> replace_;
    std::unique_ptr<Statement> present_;
};

// --- opening ------------------------------------------------------------------------------

QString fileUri(const QString& path) {
    QString absolute = QFileInfo(path).absoluteFilePath();
    if (absolute.size() > 1 && absolute[1] == u':')
        absolute.prepend(u'/'); // a drive letter: file:/C:/...
    return QStringLiteral("file:") + QString::fromLatin1(QUrl::toPercentEncoding(absolute, "/:")) +
           QStringLiteral("?mode=rw");
}

// Refuses files the engine must not be pointed at: a database of the original Windows program
// (a Jet or ACE file) and anything that is not an SQLite file.
void checkFileFormat(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw AppError(err::FileLocked,
                       QStringLiteral("Cannot read the database '%1': %2")
                           .arg(QDir::toNativeSeparators(path), file.errorString()));
    const QByteArray header = file.read(32);
    if (header.isEmpty())
        return; // an empty file is an empty database
    if (header.mid(4, 15) == "Standard Jet DB" || header.mid(4, 15) == "Standard ACE DB")
        throw AppError(err::UnrecognizedFormat,
                       QStringLiteral("'%1' is a Jet/Access database (.mdb) of the original "
                                      "Windows program. This program keeps its data in SQLite "
                                      "files under the same names; it cannot open this file.")
                           .arg(QDir::toNativeSeparators(path)));
    if (!header.startsWith(QByteArrayLiteral("SQLite format 3\0")))
        throw AppError(err::UnrecognizedFormat, QStringLiteral("Unrecognized database format '%1'.")
                                                    .arg(QDir::toNativeSeparators(path)));
}

QString sqlTypeFor(int type, int size) {
    switch (type) {
    case fieldtype::Boolean:
        return QStringLiteral("BOOLEAN");
    case fieldtype::Byte:
    case fieldtype::Integer:
    case fieldtype::Long:
        return QStringLiteral("INTEGER");
    case fieldtype::Currency:
        return QStringLiteral("NUMERIC");
    case fieldtype::Single:
        return QStringLiteral("REAL");
    case fieldtype::Double:
        return QStringLiteral("DOUBLE");
    case fieldtype::Date:
        return QStringLiteral("DATETIME");
    case fieldtype::Text:
        return QStringLiteral("TEXT(%1) COLLATE NOCASE").arg(size > 0 ? size : 255);
    case fieldtype::Memo:
        return QStringLiteral("TEXT COLLATE NOCASE");
    default:
        throw AppError(err::InvalidFieldType, QStringLiteral("Invalid field data type."));
    }
}

// The server's types: text compares without regard to case (the shared tables' collation), as the
// files' NOCASE does.
QString serverTypeFor(int type) {
    switch (type) {
    case fieldtype::Boolean:
        return QStringLiteral("boolean");
    case fieldtype::Byte:
    case fieldtype::Integer:
    case fieldtype::Long:
        return QStringLiteral("integer");
    case fieldtype::Currency:
        return QStringLiteral("numeric");
    case fieldtype::Single:
    case fieldtype::Double:
        return QStringLiteral("double precision");
    case fieldtype::Date:
        return QStringLiteral("timestamp");
    case fieldtype::Text:
    case fieldtype::Memo:
        return QStringLiteral("text COLLATE orvane_nocase");
    default:
        throw AppError(err::InvalidFieldType, QStringLiteral("Invalid field data type."));
    }
}

QStringList pragmaColumn(const QSqlDatabase& db, const QString& pragma, int column) {
    QSqlQuery query(db);
    QStringList values;
    if (query.exec(pragma)) {
        while (query.next())
            values << query.value(column).toString();
    }
    return values;
}

// The base table of a simple "SELECT fields FROM table [WHERE ...] [ORDER BY ...]" statement,
// whose rows can be edited; empty for anything else.
QString updatableBaseTable(const QString& sql, QString* selectList, qsizetype* listStart) {
    static const QRegularExpression pattern(
        QStringLiteral(
            R"(^\s*SELECT\s+(.+?)\s+FROM\s+("[^"]+"|\w+)\s*(?:(?:WHERE|ORDER\s+BY)\b.*)?;?\s*$)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression plainList(QStringLiteral(R"(^[\w\s.,"*]+$)"));
    const QRegularExpressionMatch match = pattern.match(sql);
    if (!match.hasMatch())
        return {};
    const QString list = match.captured(1);
    if (!plainList.match(list).hasMatch() ||
        list.trimmed().startsWith(u"DISTINCT", Qt::CaseInsensitive))
        return {};
    *selectList = list;
    *listStart = match.capturedStart(1);
    QString table = match.captured(2);
    if (table.startsWith(u'"'))
        table = table.mid(1, table.size() - 2);
    return table;
}

bool isTableName(const QString& text) {
    static const QRegularExpression name(QStringLiteral(R"(^\w+$)"));
    return name.match(text.trimmed()).hasMatch();
}

} // namespace

// --- names -----------------------------------------------------------------------------------

bool isServerLocation(const QString& name) {
    const QString trimmed = name.trimmed();
    return trimmed.startsWith(u"postgresql://", Qt::CaseInsensitive) ||
           trimmed.startsWith(u"postgres://", Qt::CaseInsensitive);
}

QString displayLocation(const QString& name) {
    if (isServerLocation(name))
        return QUrl(name.trimmed()).toDisplayString(QUrl::RemovePassword);
    return QDir::toNativeSeparators(name);
}

QString resolveDatabaseFile(const QString& name) {
    QString path = name;
#ifndef Q_OS_WIN
    path.replace(u'\\', u'/');
#endif
    QFileInfo info(path);
    if (info.suffix().isEmpty() && !info.fileName().isEmpty() && !info.fileName().endsWith(u'.'))
        path += QStringLiteral(".mdb");
    info.setFile(path);
    if (info.exists())
        return path;
    const QDir folder = info.dir();
    const QString wanted = info.fileName();
    const QStringList entries = folder.entryList(QDir::Files | QDir::Hidden | QDir::System);
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const QString& entry) {
        return entry.compare(wanted, Qt::CaseInsensitive) == 0;
    });
    return found == entries.end() ? path : folder.filePath(*found);
}

// --- Database --------------------------------------------------------------------------------

void Database::setBusyTimeoutMs(int milliseconds) {
    g_busyTimeoutMs = milliseconds;
}

int Database::busyTimeoutMs() {
    return g_busyTimeoutMs;
}

Database Database::open(const QString& name, int connectTimeoutSeconds) {
    if (isServerLocation(name))
        return openServer(name, connectTimeoutSeconds);
    return openFile(name);
}

Database Database::openFile(const QString& name) {
    const QString path = resolveDatabaseFile(name);
    const QFileInfo info(path);
    if (!info.exists() || !info.isFile())
        throw AppError(
            err::FileNotFound,
            QStringLiteral("Could not find file '%1'.").arg(QDir::toNativeSeparators(path)));
    checkFileFormat(path);

    const QString connection =
        QStringLiteral("orvane-db-%1").arg(g_connectionCounter.fetchAndAddRelaxed(1));
    QSqlError failure;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setConnectOptions(
            QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(g_busyTimeoutMs));
        db.setDatabaseName(fileUri(path));
        if (!db.open())
            failure = db.lastError();
    }
    if (failure.isValid()) {
        QSqlDatabase::removeDatabase(connection);
        if (!QFileInfo::exists(path))
            throw AppError(
                err::FileNotFound,
                QStringLiteral("Could not find file '%1'.").arg(QDir::toNativeSeparators(path)));
        raise(failure, path, QStringLiteral("open"));
    }
    return Database(connection, path, Engine::Sqlite);
}

// A server named by a libpq connection URI. A password is taken from the URI when it holds one,
// but libpq's password file (~/.pgpass, PGPASSFILE) or the server's peer authentication over a
// Unix socket are the ways to keep one out of the settings.
Database Database::openServer(const QString& uri, int connectTimeoutSeconds) {
    const QString location = displayLocation(uri);
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL")))
        throw AppError(err::ServerUnreachable,
                       QStringLiteral("Cannot use the shared database server %1: the program's "
                                      "PostgreSQL support (Qt's QPSQL driver; on Debian the "
                                      "package libqt6sql6-psql) is not installed.")
                           .arg(location));
    const QUrl url(uri);
    const QUrlQuery query(url);
    const QString connection =
        QStringLiteral("orvane-db-%1").arg(g_connectionCounter.fetchAndAddRelaxed(1));
    QSqlError failure;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), connection);
        db.setHostName(query.hasQueryItem(QStringLiteral("host"))
                           ? query.queryItemValue(QStringLiteral("host"), QUrl::FullyDecoded)
                           : url.host());
        if (url.port() > 0)
            db.setPort(url.port());
        db.setDatabaseName(url.path().mid(1));
        db.setUserName(url.userName().isEmpty()
                           ? query.queryItemValue(QStringLiteral("user"), QUrl::FullyDecoded)
                           : url.userName());
        db.setPassword(url.password());
        QStringList options{QStringLiteral("connect_timeout=%1").arg(connectTimeoutSeconds),
                            QStringLiteral("application_name=orvane-translator")};
        for (const auto& [key, value] : query.queryItems(QUrl::FullyDecoded)) {
            if (key != u"host" && key != u"user")
                options << key + u'=' + value;
        }
        db.setConnectOptions(options.join(u';'));
        if (!db.open())
            failure = db.lastError();
    }
    if (failure.isValid()) {
        QSqlDatabase::removeDatabase(connection);
        throw AppError(err::ServerUnreachable,
                       QStringLiteral("Cannot connect to the shared database server %1 (%2).")
                           .arg(location, failure.databaseText().trimmed().isEmpty()
                                              ? failure.text()
                                              : failure.databaseText().trimmed()));
    }
    Database database(connection, location, Engine::Postgres);
    // Statements that wait for another workstation's lock give up as a file's busy timeout does.
    database.setLockWait(g_busyTimeoutMs);
    return database;
}

Database::Database(QString connectionName, QString path, Engine engine)
    : connectionName_(std::move(connectionName))
    , path_(std::move(path))
    , engine_(engine) {}

Database::Database(Database&& other) noexcept
    : connectionName_(std::exchange(other.connectionName_, QString()))
    , path_(std::move(other.path_))
    , engine_(other.engine_)
    , serverTransaction_(other.serverTransaction_) {}

Database& Database::operator=(Database&& other) noexcept {
    if (this != &other) {
        close();
        connectionName_ = std::exchange(other.connectionName_, QString());
        path_ = std::move(other.path_);
        engine_ = other.engine_;
        serverTransaction_ = other.serverTransaction_;
    }
    return *this;
}

QString Database::rowIdColumn() const {
    return rowIdOf(engine_);
}

Database::~Database() {
    close();
}

void Database::close() {
    if (connectionName_.isEmpty())
        return;
    {
        QSqlDatabase db = QSqlDatabase::database(connectionName_, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(connectionName_);
    connectionName_.clear();
}

QSqlDatabase Database::connection() const {
    if (connectionName_.isEmpty())
        throw AppError(err::DatabaseError, QStringLiteral("Object invalid or no longer set."));
    return QSqlDatabase::database(connectionName_, false);
}

sqlite3* Database::nativeHandle() const {
    if (engine_ != Engine::Sqlite)
        throw AppError(err::DatabaseError,
                       QStringLiteral("'%1' is not a database file.").arg(path_));
    const QVariant handle = connection().driver()->handle();
    return *static_cast<sqlite3* const*>(handle.constData());
}

int Database::execute(const QString& sql) {
    QString statement = translate(engine_, sql);
    if (engine_ == Engine::Postgres && statement.trimmed() == u"BEGIN IMMEDIATE")
        statement = QStringLiteral("BEGIN");
    QSqlQuery query(connection());
    if (!query.exec(statement))
        raise(query.lastError(), path_, sql, engine_);
    if (engine_ == Engine::Postgres)
        noteTransaction(statement);
    return query.numRowsAffected();
}

void Database::noteTransaction(const QString& statement) {
    const QString text = statement.trimmed().toUpper();
    if (text.startsWith(u"BEGIN"))
        serverTransaction_ = true;
    else if (text == u"COMMIT" || text == u"ROLLBACK" || text == u"END")
        serverTransaction_ = false;
}

bool Database::inTransaction() const {
    return engine_ == Engine::Sqlite ? !sqlite3_get_autocommit(nativeHandle()) : serverTransaction_;
}

void Database::executeNative(const QString& sql) {
    QSqlQuery query(connection());
    if (!query.exec(sql))
        raise(query.lastError(), path_, sql, engine_);
}

QString Database::exactText(const QString& column) const {
    return column + (engine_ == Engine::Postgres ? QStringLiteral(" COLLATE \"C\"")
                                                 : QStringLiteral(" COLLATE BINARY"));
}

void Database::setLockWait(int milliseconds) {
    if (engine_ == Engine::Sqlite)
        sqlite3_busy_timeout(nativeHandle(), milliseconds);
    else
        execute(QStringLiteral("SET lock_timeout = %1").arg(milliseconds));
}

void Database::makeReadOnly() {
    execute(engine_ == Engine::Sqlite
                ? QStringLiteral("PRAGMA query_only = 1")
                : QStringLiteral("SET SESSION CHARACTERISTICS AS TRANSACTION READ ONLY"));
}

void Database::reconnect() {
    if (engine_ != Engine::Postgres)
        return;
    QSqlDatabase db = connection();
    db.close();
    serverTransaction_ = false; // the server rolled back what the lost connection had open
    if (!db.open())
        raise(db.lastError(), path_, QStringLiteral("connect"), engine_);
    setLockWait(g_busyTimeoutMs);
}

std::unique_ptr<Statement> Database::prepare(const QString& sql) {
    if (engine_ == Engine::Sqlite)
        return std::make_unique<SqliteStatement>(nativeHandle(), sql, path_);
    return std::make_unique<ServerStatement>(connection(), serverParameters(sql), path_);
}

std::unique_ptr<RowWriter> Database::rowWriter(const QString& table, const QStringList& columns) {
    if (engine_ == Engine::Sqlite)
        return std::make_unique<FileRowWriter>(*this, table, columns);
    return std::make_unique<ServerRowWriter>(*this, table, columns);
}

std::unique_ptr<KeyedRowWriter>
Database::keyedRowWriter(const QString& table, const QStringList& columns, const QString& key) {
    if (engine_ == Engine::Sqlite)
        return std::make_unique<FileKeyedRowWriter>(*this, table, columns, key);
    return std::make_unique<ServerKeyedRowWriter>(*this, table, columns, key);
}

// --- KeyedRowWriter ----------------------------------------------------------------------------

namespace {
// Wider than this, the marks of the rows that were there are kept by id rather than a byte each.
constexpr qint64 kDenseMarks = qint64(1) << 24;
} // namespace

KeyedRowWriter::KeyedRowWriter(Database& db, const QString& table, const QStringList& columns,
                               const QString& key)
    : db_(db)
    , keyColumn_(int(columns.indexOf(key))) {
    const QString rowId = db.rowIdColumn();
    const QString quotedTable = quotedName(db.engine(), table);
    QStringList names;
    QStringList assignments;
    for (int i = 0; i < columns.size(); ++i) {
        names << quotedName(db.engine(), columns[i]);
        assignments << quotedName(db.engine(), columns[i]) + QStringLiteral(" = ?%1").arg(i + 1);
    }
    find_ =
        db.prepare(QStringLiteral("SELECT %1, %2 FROM %3 WHERE %4 = ?1")
                       .arg(rowId, names.join(u", "), quotedTable, quotedName(db.engine(), key)));
    update_ = db.prepare(QStringLiteral("UPDATE %1 SET %2 WHERE %3 = ?%4")
                             .arg(quotedTable, assignments.join(u", "), rowId)
                             .arg(columns.size() + 1));
    delete_ = db.prepare(QStringLiteral("DELETE FROM %1 WHERE %2 = ?1").arg(quotedTable, rowId));
    const auto range =
        db.prepare(QStringLiteral("SELECT min(%1), max(%1) FROM %2").arg(rowId, quotedTable));
    if (range->next() && !range->isNull(0)) {
        low_ = range->int64(0);
        boundary_ = range->int64(1);
    }
    range->reset();
    sparse_ = boundary_ - low_ >= kDenseMarks;
    if (!sparse_ && boundary_ > 0)
        marks_.assign(size_t(boundary_ - low_ + 1), Mark::Untouched);
}

KeyedRowWriter::~KeyedRowWriter() = default;

KeyedRowWriter::Mark KeyedRowWriter::markOf(qint64 id) const {
    if (id > boundary_)
        return Mark::Added;
    if (id < low_)
        return Mark::Untouched;
    return sparse_ ? sparseMarks_.value(id, Mark::Untouched) : marks_[size_t(id - low_)];
}

void KeyedRowWriter::setMark(qint64 id, Mark mark) {
    if (id > boundary_ || id < low_)
        return; // ids given out after the start tell themselves apart
    if (sparse_)
        sparseMarks_.insert(id, mark);
    else
        marks_[size_t(id - low_)] = mark;
}

void KeyedRowWriter::noteAdded(qint64 id) {
    ++added_;
    setMark(id, Mark::Added); // an id freed by a removal may be given out again
}

std::optional<KeyedRowWriter::Existing> KeyedRowWriter::find(const QVariant& key) {
    find_->bind(1, key);
    if (!find_->next())
        return std::nullopt;
    Existing row{find_->int64(0), {}};
    for (int i = 1; i < find_->columnCount(); ++i)
        row.values << find_->value(i);
    find_->reset();
    return row;
}

void KeyedRowWriter::replacing(const Existing& row, qint64 tag) {
    if (markOf(row.id) == Mark::Untouched) {
        ++replaced_;
        setMark(row.id, Mark::Replaced);
    } else {
        reportRewritten(row.values, tag);
    }
}

void KeyedRowWriter::overwrite(qint64 id, const QVariantList& values) {
    for (int i = 0; i < values.size(); ++i)
        update_->bind(i + 1, values[i]);
    update_->bind(int(values.size()) + 1, id);
    update_->run();
}

bool KeyedRowWriter::replaceExisting(const QVariantList& values, qint64 tag) {
    flush();
    const std::optional<Existing> row = find(values[keyColumn_]);
    if (!row)
        return false;
    replacing(*row, tag);
    overwrite(row->id, values);
    return true;
}

int KeyedRowWriter::remove(const QVariant& key, qint64 tag) {
    flush();
    const std::optional<Existing> row = find(key);
    if (!row)
        return 0;
    switch (markOf(row->id)) {
    case Mark::Untouched:
        break;
    case Mark::Replaced:
        --replaced_;
        break;
    case Mark::Added:
        --added_;
        break;
    }
    if (markOf(row->id) != Mark::Untouched)
        reportRewritten(row->values, tag);
    setMark(row->id, Mark::Untouched);
    delete_->bind(1, row->id);
    delete_->run();
    return 1;
}

Recordset Database::openRecordset(const QString& sqlOrTable) {
    QString sql = sqlOrTable;
    if (isTableName(sqlOrTable)) {
        if (!hasTable(sqlOrTable.trimmed()))
            throw AppError(err::TableNotFound,
                           QStringLiteral("Could not find table '%1' in '%2'.")
                               .arg(sqlOrTable.trimmed(), QDir::toNativeSeparators(path_)));
        sql = QStringLiteral("SELECT * FROM ") + quotedName(engine_, sqlOrTable.trimmed());
    } else {
        sql = translate(engine_, sqlOrTable);
    }

    QString selectList;
    qsizetype listStart = 0;
    const QString table = updatableBaseTable(sql, &selectList, &listStart);
    QString statement = sql;
    if (!table.isEmpty())
        statement.insert(listStart, quotedName(engine_, table) + u'.' + rowIdColumn() +
                                        QStringLiteral(" AS ") + kRowIdAlias +
                                        QStringLiteral(", "));

    QSqlQuery query(connection());
    query.setForwardOnly(true);
    if (!query.exec(statement))
        raise(query.lastError(), path_, sqlOrTable, engine_);

    Recordset result(connection(), table, path_, engine_);
    const QSqlRecord record = query.record();
    // The row id is read apart; the server's row id column is not one of the fields.
    QVector<int> columns;
    QStringList fields;
    for (int i = table.isEmpty() ? 0 : 1; i < record.count(); ++i) {
        if (engine_ == Engine::Postgres && record.fieldName(i) == kServerRowId)
            continue;
        columns << i;
        fields << record.fieldName(i);
    }
    result.setFields(fields);
    while (query.next()) {
        Recordset::Row row;
        if (!table.isEmpty())
            row.rowid = query.value(0).toLongLong();
        row.values.reserve(fields.size());
        for (const int column : columns)
            row.values.append(query.value(column));
        result.rows_.push_back(std::move(row));
    }
    if (query.lastError().isValid())
        raise(query.lastError(), path_, sqlOrTable, engine_);
    result.pos_ = 0;
    return result;
}

Table Database::openTable(const QString& name) {
    if (!hasTable(name))
        throw AppError(err::TableNotFound, QStringLiteral("Could not find table '%1' in '%2'.")
                                               .arg(name, QDir::toNativeSeparators(path_)));
    return Table(connection(), name, path_, engine_);
}

QStringList Database::tableNames() const {
    return connection().tables(QSql::Tables);
}

QStringList Database::fieldNames(const QString& table) const {
    const QSqlRecord record =
        connection().record(engine_ == Engine::Postgres ? table.toLower() : table);
    QStringList names;
    for (int i = 0; i < record.count(); ++i) {
        if (engine_ != Engine::Postgres || record.fieldName(i) != kServerRowId)
            names << record.fieldName(i);
    }
    return names;
}

bool Database::hasTable(const QString& name) const {
    const QStringList tables = tableNames();
    return std::any_of(tables.begin(), tables.end(), [&](const QString& table) {
        return table.compare(name, Qt::CaseInsensitive) == 0;
    });
}

bool Database::hasField(const QString& table, const QString& field) const {
    const QStringList fields = fieldNames(table);
    return std::any_of(fields.begin(), fields.end(), [&](const QString& existing) {
        return existing.compare(field, Qt::CaseInsensitive) == 0;
    });
}

void Database::addField(const QString& table, const QString& field, int type, int size) {
    // A size only means something for a text field; any other type ignores it.
    const QString sqlType = engine_ == Engine::Postgres
                                ? serverTypeFor(type)
                                : sqlTypeFor(type, type == fieldtype::Text ? size : 0);
    QSqlQuery query(connection());
    const QString statement =
        QStringLiteral("ALTER TABLE %1 ADD COLUMN %2 %3")
            .arg(quotedName(engine_, table), quotedName(engine_, field), sqlType);
    if (!query.exec(statement))
        raise(query.lastError(), path_, statement, engine_);
}

// --- RecordCursor ------------------------------------------------------------------------------

RecordCursor::RecordCursor(QSqlDatabase db, QString table, QString path, Engine engine)
    : db_(std::move(db))
    , table_(std::move(table))
    , path_(std::move(path))
    , engine_(engine) {}

QString RecordCursor::rowIdColumn() const {
    return rowIdOf(engine_);
}

QString RecordCursor::quotedTable() const {
    return quotedName(engine_, table_);
}

QString RecordCursor::columnList() const {
    QStringList names;
    for (const QString& field : fields_)
        names << quotedName(engine_, field);
    return names.join(u", ");
}

void RecordCursor::setFields(const QStringList& fields) {
    fields_ = fields;
    fieldIndex_.clear();
    for (int i = 0; i < fields.size(); ++i)
        fieldIndex_.insert(fields[i].toLower(), i);
}

int RecordCursor::fieldIndex(const QString& name) const {
    return fieldIndex_.value(name.toLower(), -1);
}

bool RecordCursor::hasField(const QString& name) const {
    return fieldIndex(name) >= 0;
}

int RecordCursor::requireField(const QString& name) const {
    const int index = fieldIndex(name);
    if (index < 0)
        throw AppError(err::ItemNotFound,
                       QStringLiteral("Item not found in this collection (field '%1').").arg(name));
    return index;
}

const QVector<QVariant>* RecordCursor::constCurrentValues() const {
    return const_cast<RecordCursor*>(this)->currentValues();
}

QVariant RecordCursor::value(const QString& field) const {
    return value(requireField(field));
}

QVariant RecordCursor::value(int index) const {
    if (index < 0 || index >= fieldCount())
        throw AppError(err::ItemNotFound, QStringLiteral("Item not found in this collection."));
    if (mode_ != Mode::None)
        return buffer_[index];
    const QVector<QVariant>* values = constCurrentValues();
    if (!values)
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    return (*values)[index];
}

void RecordCursor::requireUpdatable() const {
    if (table_.isEmpty())
        throw AppError(err::ReadOnly,
                       QStringLiteral("Cannot update. Database or object is read-only."));
}

void RecordCursor::edit() {
    requireUpdatable();
    const QVector<QVariant>* values = currentValues();
    if (!values)
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    buffer_ = *values;
    dirty_ = QVector<bool>(fieldCount(), false);
    mode_ = Mode::Edit;
}

void RecordCursor::addNew() {
    requireUpdatable();
    buffer_ = QVector<QVariant>(fieldCount());
    dirty_ = QVector<bool>(fieldCount(), false);
    mode_ = Mode::Add;
}

void RecordCursor::setValue(const QString& field, const QVariant& value) {
    const int index = requireField(field);
    if (mode_ == Mode::None)
        throw AppError(err::UpdateWithoutEdit,
                       QStringLiteral("Update or CancelUpdate without AddNew or Edit."));
    buffer_[index] = value;
    dirty_[index] = true;
}

void RecordCursor::cancelUpdate() {
    mode_ = Mode::None;
    buffer_.clear();
    dirty_.clear();
}

void RecordCursor::update() {
    if (mode_ == Mode::None)
        throw AppError(err::UpdateWithoutEdit,
                       QStringLiteral("Update or CancelUpdate without AddNew or Edit."));
    if (mode_ == Mode::Edit) {
        const std::optional<qint64> rowid = currentRowId();
        if (!rowid)
            throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
        writeEdit(*rowid);
        if (QVector<QVariant>* values = currentValues())
            *values = buffer_;
    } else {
        const qint64 rowid = writeNew();
        QSqlQuery reread(db_);
        QVector<QVariant> values = buffer_;
        if (reread.exec(QStringLiteral("SELECT %1 FROM %2 WHERE %3 = %4")
                            .arg(columnList(), quotedTable(), rowIdColumn())
                            .arg(rowid)) &&
            reread.next()) {
            for (int i = 0; i < fieldCount(); ++i)
                values[i] = reread.value(i);
        }
        rowInserted(rowid, values);
    }
    cancelUpdate();
}

void RecordCursor::writeEdit(qint64 rowid) {
    QStringList assignments;
    QVector<QVariant> bound;
    for (int i = 0; i < fieldCount(); ++i) {
        if (!dirty_[i])
            continue;
        assignments << quotedName(engine_, fields_[i]) + QStringLiteral(" = ?");
        bound << buffer_[i];
    }
    if (assignments.isEmpty())
        return;
    const QString statement = QStringLiteral("UPDATE %1 SET %2 WHERE %3 = ?")
                                  .arg(quotedTable(), assignments.join(u", "), rowIdColumn());
    QSqlQuery query(db_);
    query.prepare(statement);
    for (const QVariant& v : bound)
        query.addBindValue(v);
    query.addBindValue(rowid);
    if (!query.exec())
        raise(query.lastError(), path_, statement, engine_);
}

qint64 RecordCursor::writeNew() {
    QStringList columns;
    QVector<QVariant> bound;
    for (int i = 0; i < fieldCount(); ++i) {
        if (!dirty_[i])
            continue;
        columns << quotedName(engine_, fields_[i]);
        bound << buffer_[i];
    }
    QString statement;
    if (columns.isEmpty()) {
        statement = QStringLiteral("INSERT INTO %1 DEFAULT VALUES").arg(quotedTable());
    } else {
        QStringList marks;
        marks.fill(QStringLiteral("?"), columns.size());
        statement = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                        .arg(quotedTable(), columns.join(u", "), marks.join(u", "));
    }
    // The server names the new row's id itself; a file's is the last inserted row id.
    if (engine_ == Engine::Postgres)
        statement += QStringLiteral(" RETURNING ") + kServerRowId;
    QSqlQuery query(db_);
    query.prepare(statement);
    for (const QVariant& v : bound)
        query.addBindValue(v);
    if (!query.exec())
        raise(query.lastError(), path_, statement, engine_);
    if (engine_ == Engine::Postgres)
        return query.next() ? query.value(0).toLongLong() : 0;
    return query.lastInsertId().toLongLong();
}

void RecordCursor::deleteCurrent() {
    requireUpdatable();
    const std::optional<qint64> rowid = currentRowId();
    if (!rowid)
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    QSqlQuery query(db_);
    const QString statement =
        QStringLiteral("DELETE FROM %1 WHERE %2 = ?").arg(quotedTable(), rowIdColumn());
    query.prepare(statement);
    query.addBindValue(*rowid);
    if (!query.exec())
        raise(query.lastError(), path_, statement, engine_);
    cancelUpdate();
    currentDeleted();
}

// --- Recordset ---------------------------------------------------------------------------------

Recordset::Recordset(QSqlDatabase db, QString table, QString path, Engine engine)
    : RecordCursor(std::move(db), std::move(table), std::move(path), engine) {}

int Recordset::recordCount() const {
    return static_cast<int>(
        std::count_if(rows_.begin(), rows_.end(), [](const Row& row) { return !row.deleted; }));
}

void Recordset::skipDeleted(int step) {
    while (pos_ >= 0 && pos_ < static_cast<qsizetype>(rows_.size()) && rows_[pos_].deleted)
        pos_ += step;
}

void Recordset::moveFirst() {
    cancelUpdate();
    pos_ = 0;
    skipDeleted(1);
}

void Recordset::moveLast() {
    cancelUpdate();
    pos_ = static_cast<qsizetype>(rows_.size()) - 1;
    skipDeleted(-1);
    if (pos_ < 0)
        pos_ = static_cast<qsizetype>(rows_.size());
}

void Recordset::moveNext() {
    if (eof())
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    cancelUpdate();
    ++pos_;
    skipDeleted(1);
}

void Recordset::movePrevious() {
    if (bof())
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    cancelUpdate();
    --pos_;
    skipDeleted(-1);
}

QVector<QVariant>* Recordset::currentValues() {
    if (bof() || eof())
        return nullptr;
    Row& row = rows_[static_cast<size_t>(pos_)];
    if (row.deleted)
        throw AppError(err::RecordDeleted, QStringLiteral("Record is deleted."));
    return &row.values;
}

std::optional<qint64> Recordset::currentRowId() const {
    if (bof() || eof() || rows_[static_cast<size_t>(pos_)].deleted)
        return std::nullopt;
    return rows_[static_cast<size_t>(pos_)].rowid;
}

void Recordset::rowInserted(qint64 rowid, const QVector<QVariant>& values) {
    // A new row joins the end of the set; the current row stays where it was.
    const bool atEnd = eof();
    rows_.push_back(Row{rowid, values, false});
    if (atEnd)
        pos_ = static_cast<qsizetype>(rows_.size());
}

void Recordset::currentDeleted() {
    rows_[static_cast<size_t>(pos_)].deleted = true;
}

// --- Table ---------------------------------------------------------------------------------------

Table::Table(QSqlDatabase db, QString table, QString path, Engine engine)
    : RecordCursor(std::move(db), std::move(table), std::move(path), engine) {
    const QSqlRecord record = db_.record(engine_ == Engine::Postgres ? table_.toLower() : table_);
    QStringList fields;
    for (int i = 0; i < record.count(); ++i) {
        if (engine_ != Engine::Postgres || record.fieldName(i) != kServerRowId)
            fields << record.fieldName(i);
    }
    setFields(fields);
    prepareQueries();
    positionAtFirst();
}

// The row and seek statements name their columns: the server's row id column is not a field.
void Table::prepareQueries() {
    rowQuery_ = QSqlQuery(db_);
    const QString row = QStringLiteral("SELECT %1 FROM %2 WHERE %3 = ?")
                            .arg(columnList(), quotedTable(), rowIdColumn());
    if (!rowQuery_.prepare(row))
        raise(rowQuery_.lastError(), path_, row, engine_);
    seekQuery_ = QSqlQuery(db_);
    if (indexColumns_.isEmpty())
        return;
    const QString seek = QStringLiteral("SELECT %1, %2 FROM %3 WHERE %4 = ?")
                             .arg(rowIdColumn(), columnList(), quotedTable(),
                                  quotedName(engine_, indexColumns_.first()));
    if (!seekQuery_.prepare(seek))
        raise(seekQuery_.lastError(), path_, seek, engine_);
}

QString Table::orderBy() const {
    QStringList order;
    for (const QString& column : indexColumns_)
        order << quotedName(engine_, column);
    if (order.isEmpty())
        order << rowIdColumn();
    return order.join(u", ");
}

// A table opens on its first row in index order, without reading the others.
void Table::positionAtFirst() {
    keyset_.reset();
    keysetPos_ = kUnknownPosition;
    rowDeleted_ = false;
    const QString statement = QStringLiteral("SELECT %1 FROM %2 ORDER BY %3 LIMIT 1")
                                  .arg(rowIdColumn(), quotedTable(), orderBy());
    QSqlQuery query(db_);
    if (!query.exec(statement))
        raise(query.lastError(), path_, statement, engine_);
    if (query.next())
        loadRow(query.value(0).toLongLong());
    else
        rowid_.reset();
}

void Table::locateInKeyset() {
    if (keyset_ && keysetPos_ != kUnknownPosition)
        return;
    if (!rowid_)
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    const qint64 current = *rowid_;
    loadKeyset();
    const auto found = std::find(keyset_->begin(), keyset_->end(), current);
    keysetPos_ = found - keyset_->begin();
}

void Table::setIndex(const QString& name) {
    QStringList columns;
    if (name.compare(u"PrimaryKey", Qt::CaseInsensitive) == 0) {
        const QSqlIndex key =
            db_.primaryIndex(engine_ == Engine::Postgres ? table_.toLower() : table_);
        for (int i = 0; i < key.count(); ++i)
            columns << key.fieldName(i);
    } else if (engine_ == Engine::Sqlite) {
        columns = pragmaColumn(db_, QStringLiteral("PRAGMA index_info(%1)").arg(quoted(name)), 2);
    }
    if (columns.isEmpty())
        throw AppError(err::ItemNotFound,
                       QStringLiteral("'%1' is not an index in table '%2'.").arg(name, table_));
    indexColumns_ = columns;
    prepareQueries();
    positionAtFirst();
}

// A seek on the server that finds its connection lost connects again once: scanning goes on as
// soon as the server is back.
void Table::seek(const QVariant& key) {
    if (indexColumns_.isEmpty())
        throw AppError(err::ItemNotFound,
                       QStringLiteral("Operation is not supported without a current index."));
    cancelUpdate();
    try {
        runSeek(key);
    } catch (const AppError& error) {
        if (engine_ != Engine::Postgres || error.number() != err::ServerUnreachable)
            throw;
        // The statements prepared in the lost session go with it.
        seekQuery_ = QSqlQuery();
        rowQuery_ = QSqlQuery();
        db_.close();
        if (!db_.open())
            raise(db_.lastError(), path_, QStringLiteral("connect"), engine_);
        QSqlQuery(db_).exec(QStringLiteral("SET lock_timeout = %1").arg(g_busyTimeoutMs));
        prepareQueries();
        runSeek(key);
    }
}

void Table::runSeek(const QVariant& key) {
    seekQuery_.bindValue(0, key);
    if (!seekQuery_.exec())
        raise(seekQuery_.lastError(), path_, seekQuery_.lastQuery(), engine_);
    noMatch_ = !seekQuery_.next();
    rowDeleted_ = false;
    if (noMatch_) {
        rowid_.reset();
    } else {
        rowid_ = seekQuery_.value(0).toLongLong();
        row_.resize(fieldCount());
        for (int i = 0; i < fieldCount(); ++i)
            row_[i] = seekQuery_.value(i + 1);
    }
    seekQuery_.finish();
    keysetPos_ = kUnknownPosition;
}

int Table::recordCount() const {
    QSqlQuery query(db_);
    const QString statement = QStringLiteral("SELECT count(*) FROM %1").arg(quotedTable());
    if (!query.exec(statement) || !query.next())
        raise(query.lastError(), path_, statement, engine_);
    return query.value(0).toInt();
}

void Table::loadKeyset() {
    const QString statement = QStringLiteral("SELECT %1 FROM %2 ORDER BY %3")
                                  .arg(rowIdColumn(), quotedTable(), orderBy());
    QSqlQuery query(db_);
    query.setForwardOnly(true);
    if (!query.exec(statement))
        raise(query.lastError(), path_, statement, engine_);
    std::vector<qint64> keys;
    while (query.next())
        keys.push_back(query.value(0).toLongLong());
    keyset_ = std::move(keys);
}

void Table::loadRow(qint64 rowid) {
    rowQuery_.bindValue(0, rowid);
    if (!rowQuery_.exec())
        raise(rowQuery_.lastError(), path_, rowQuery_.lastQuery(), engine_);
    rowDeleted_ = !rowQuery_.next();
    rowid_ = rowid;
    row_.resize(fieldCount());
    for (int i = 0; i < fieldCount(); ++i)
        row_[i] = rowDeleted_ ? QVariant() : rowQuery_.value(i);
    rowQuery_.finish();
}

void Table::moveTo(qsizetype position) {
    cancelUpdate();
    const auto size = static_cast<qsizetype>(keyset_->size());
    keysetPos_ = std::clamp<qsizetype>(position, -1, size);
    if (keysetPos_ >= 0 && keysetPos_ < size)
        loadRow((*keyset_)[static_cast<size_t>(keysetPos_)]);
    else
        rowid_.reset();
}

bool Table::eof() const {
    if (!keyset_ || keysetPos_ == kUnknownPosition)
        return !rowid_.has_value();
    return keysetPos_ >= static_cast<qsizetype>(keyset_->size());
}

void Table::moveFirst() {
    loadKeyset();
    moveTo(0);
}

void Table::moveLast() {
    loadKeyset();
    moveTo(static_cast<qsizetype>(keyset_->size()) - 1);
}

void Table::moveNext() {
    locateInKeyset();
    if (eof())
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    moveTo(keysetPos_ + 1);
}

void Table::movePrevious() {
    locateInKeyset();
    if (bof())
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    moveTo(keysetPos_ - 1);
}

QVector<QVariant>* Table::currentValues() {
    if (!rowid_)
        return nullptr;
    if (rowDeleted_)
        throw AppError(err::RecordDeleted, QStringLiteral("Record is deleted."));
    return &row_;
}

std::optional<qint64> Table::currentRowId() const {
    if (rowDeleted_)
        return std::nullopt;
    return rowid_;
}

void Table::rowInserted(qint64, const QVector<QVariant>&) {
    // The current row stays the current row; walks pick the new row up at their next start.
}

void Table::currentDeleted() {
    rowDeleted_ = true;
}

} // namespace platform
