#include "platform/app_error.h"
#include "platform/database_engines.h"
#include "platform/sqlite_statement.h"

#include <QSqlIndex>
#include <QSqlQuery>
#include <QSqlRecord>

#include <algorithm>
#include <sqlite3.h>

// Record sets and tables: the rows of a statement or a table, walked, sought and edited.
namespace platform {

using detail::quoted;
using detail::quotedName;
using detail::raise;
using detail::rowIdOf;

namespace {

QStringList pragmaColumn(const QSqlDatabase& db, const QString& pragma, int column) {
    QSqlQuery query(db);
    QStringList values;
    if (query.exec(pragma)) {
        while (query.next())
            values << query.value(column).toString();
    }
    return values;
}

} // namespace

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

// Fields are found by their names in lower case, and also as the table spells them, which is how
// the program asks for them: that needs no lowered copy of the name.
void RecordCursor::setFields(const QStringList& fields) {
    fields_ = fields;
    fieldIndex_.clear();
    for (int i = 0; i < fields.size(); ++i)
        fieldIndex_.insert(fields[i].toLower(), i);
    for (int i = 0; i < fields.size(); ++i)
        fieldIndex_.insert(fields[i], i);
}

int RecordCursor::fieldIndex(const QString& name) const {
    if (const auto spelled = fieldIndex_.constFind(name); spelled != fieldIndex_.cend())
        return *spelled;
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

Table::Table(Table&& other) noexcept = default;
Table& Table::operator=(Table&& other) noexcept = default;
Table::~Table() = default;

// The row and seek statements name their columns: the server's row id column is not a field.
void Table::prepareQueries() {
    rowQuery_ = QSqlQuery(db_);
    const QString row = QStringLiteral("SELECT %1 FROM %2 WHERE %3 = ?")
                            .arg(columnList(), quotedTable(), rowIdColumn());
    if (!rowQuery_.prepare(row))
        raise(rowQuery_.lastError(), path_, row, engine_);
    seekQuery_ = QSqlQuery(db_);
    fileSeek_.reset();
    if (indexColumns_.isEmpty())
        return;
    const QString seek = QStringLiteral("SELECT %1, %2 FROM %3 WHERE %4 = ?")
                             .arg(rowIdColumn(), columnList(), quotedTable(),
                                  quotedName(engine_, indexColumns_.first()));
    if (engine_ == Engine::Sqlite) {
        fileSeek_ = std::make_unique<SqliteStatement>(detail::fileHandle(db_), seek, path_);
        fileSeekSql_ = seek;
    } else if (!seekQuery_.prepare(seek)) {
        raise(seekQuery_.lastError(), path_, seek, engine_);
    }
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
        QSqlQuery(db_).exec(QStringLiteral("SET lock_timeout = %1").arg(Database::busyTimeoutMs()));
        prepareQueries();
        runSeek(key);
    }
}

void Table::runSeek(const QVariant& key) {
    if (fileSeek_) {
        runFileSeek(key);
        return;
    }
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

// A file's seek runs on SQLite itself: Qt's driver builds a record of the result's columns and a
// cache of its values on every run, which costs more than the seek. The statement is reset at
// once, so that no read lock stays between seeks (scanning keeps the table open for hours).
void Table::runFileSeek(const QVariant& key) {
    fileSeek_->bind(1, key);
    const int rc = fileSeek_->tryNext();
    noMatch_ = rc != SQLITE_ROW;
    rowDeleted_ = false;
    keysetPos_ = kUnknownPosition;
    if (rc == SQLITE_ROW) {
        rowid_ = fileSeek_->int64(0);
        row_.resize(fieldCount());
        for (int i = 0; i < fieldCount(); ++i)
            row_[i] = fileSeek_->value(i + 1);
    } else {
        rowid_.reset();
    }
    if (rc == SQLITE_ROW || rc == SQLITE_DONE) {
        fileSeek_->reset();
        return;
    }
    // Told as any other statement's failure is.
    sqlite3* handle = fileSeek_->handle();
    const QSqlError error(QString(), QString::fromUtf8(sqlite3_errmsg(handle)),
                          QSqlError::StatementError,
                          QString::number(sqlite3_extended_errcode(handle)));
    fileSeek_->reset();
    raise(error, path_, fileSeekSql_, engine_);
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
