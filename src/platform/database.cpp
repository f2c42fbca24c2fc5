#include "platform/database.h"

#include "platform/app_error.h"
#include "platform/database_engines.h"
#include "platform/sqlite_statement.h"

#include <QAtomicInteger>
#include <QDir>
#include <QSqlQuery>
#include <QSqlRecord>

#include <algorithm>
#include <sqlite3.h>
#include <utility>

// The database layer's own part, the same for both engines: opening either, running statements,
// record sets and tables, schema checks, and what keyed row writers keep of the rows they write.
// The engines' own parts are database_file.cpp and database_server.cpp.
namespace platform {

using detail::isTableName;
using detail::quotedName;
using detail::raise;
using detail::rowIdOf;
using detail::translate;
using detail::updatableBaseTable;

namespace {

int g_busyTimeoutMs = 2000;
QAtomicInteger<quint64> g_connectionCounter;

const QString kRowIdAlias = QStringLiteral("__orvane_rowid");

} // namespace

namespace detail {

void raise(const QSqlError& error, const QString& path, const QString& statement, Engine engine) {
    if (engine == Engine::Postgres)
        raiseServer(error, path, statement);
    raiseFile(error, path, statement);
}

QString nextConnectionName() {
    return QStringLiteral("orvane-db-%1").arg(g_connectionCounter.fetchAndAddRelaxed(1));
}

} // namespace detail

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

std::unique_ptr<Statement> Database::prepare(const QString& sql) {
    if (engine_ == Engine::Sqlite)
        return std::make_unique<SqliteStatement>(nativeHandle(), sql, path_);
    return detail::serverStatement(connection(), sql, path_);
}

std::unique_ptr<RowWriter> Database::rowWriter(const QString& table, const QStringList& columns) {
    if (engine_ == Engine::Sqlite)
        return detail::fileRowWriter(*this, table, columns);
    return detail::serverRowWriter(*this, table, columns);
}

std::unique_ptr<KeyedRowWriter>
Database::keyedRowWriter(const QString& table, const QStringList& columns, const QString& key) {
    if (engine_ == Engine::Sqlite)
        return detail::fileKeyedRowWriter(*this, table, columns, key);
    return detail::serverKeyedRowWriter(*this, table, columns, key);
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
    // The row id goes after the fields, so that an ORDER BY or GROUP BY that names a column by
    // its place still means the column the caller wrote there.
    if (!table.isEmpty())
        statement.insert(listStart + selectList.size(),
                         QStringLiteral(", ") + quotedName(engine_, table) + u'.' + rowIdColumn() +
                             QStringLiteral(" AS ") + kRowIdAlias);

    QSqlQuery query(connection());
    query.setForwardOnly(true);
    if (!query.exec(statement))
        raise(query.lastError(), path_, sqlOrTable, engine_);

    Recordset result(connection(), table, path_, engine_);
    const QSqlRecord record = query.record();
    // The row id is read apart; the server's row id column is not one of the fields.
    QVector<int> columns;
    QStringList fields;
    const int rowIdAt = table.isEmpty() ? -1 : record.count() - 1;
    for (int i = 0; i < record.count(); ++i) {
        if (i == rowIdAt)
            continue;
        if (engine_ == Engine::Postgres && record.fieldName(i) == kServerRowId)
            continue;
        columns << i;
        fields << record.fieldName(i);
    }
    result.setFields(fields);
    while (query.next()) {
        Recordset::Row row;
        if (!table.isEmpty())
            row.rowid = query.value(rowIdAt).toLongLong();
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
                                ? detail::serverFieldType(type)
                                : detail::fileFieldType(type, type == fieldtype::Text ? size : 0);
    QSqlQuery query(connection());
    const QString statement =
        QStringLiteral("ALTER TABLE %1 ADD COLUMN %2 %3")
            .arg(quotedName(engine_, table), quotedName(engine_, field), sqlType);
    if (!query.exec(statement))
        raise(query.lastError(), path_, statement, engine_);
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

} // namespace platform
