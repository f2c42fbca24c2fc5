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
#include <QSqlRecord>
#include <QUrl>

#include <algorithm>
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

// --- error reporting ----------------------------------------------------------------------

int primaryCode(const QSqlError& error) {
    bool ok = false;
    const int code = error.nativeErrorCode().toInt(&ok);
    return ok ? (code & 0xff) : -1;
}

[[noreturn]] void raise(const QSqlError& error, const QString& path, const QString& statement) {
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
        throw AppError(err::UnrecognizedFormat,
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

// --- file names ----------------------------------------------------------------------------

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

Database Database::open(const QString& name) {
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
    return Database(connection, path);
}

Database::Database(QString connectionName, QString path)
    : connectionName_(std::move(connectionName))
    , path_(std::move(path)) {}

Database::Database(Database&& other) noexcept
    : connectionName_(std::exchange(other.connectionName_, QString()))
    , path_(std::move(other.path_)) {}

Database& Database::operator=(Database&& other) noexcept {
    if (this != &other) {
        close();
        connectionName_ = std::exchange(other.connectionName_, QString());
        path_ = std::move(other.path_);
    }
    return *this;
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
    const QVariant handle = connection().driver()->handle();
    return *static_cast<sqlite3* const*>(handle.constData());
}

int Database::execute(const QString& sql) {
    const QString statement = jetToSqlite(sql);
    QSqlQuery query(connection());
    if (!query.exec(statement))
        raise(query.lastError(), path_, sql);
    return query.numRowsAffected();
}

std::unique_ptr<Statement> Database::prepare(const QString& sql) {
    return std::make_unique<SqliteStatement>(nativeHandle(), sql, path_);
}

Recordset Database::openRecordset(const QString& sqlOrTable) {
    QString sql = sqlOrTable;
    if (isTableName(sqlOrTable)) {
        if (!hasTable(sqlOrTable.trimmed()))
            throw AppError(err::TableNotFound,
                           QStringLiteral("Could not find table '%1' in '%2'.")
                               .arg(sqlOrTable.trimmed(), QDir::toNativeSeparators(path_)));
        sql = QStringLiteral("SELECT * FROM ") + quoted(sqlOrTable.trimmed());
    } else {
        sql = jetToSqlite(sqlOrTable);
    }

    QString selectList;
    qsizetype listStart = 0;
    const QString table = updatableBaseTable(sql, &selectList, &listStart);
    QString statement = sql;
    if (!table.isEmpty())
        statement.insert(listStart, quoted(table) + QStringLiteral(".rowid AS ") + kRowIdAlias +
                                        QStringLiteral(", "));

    QSqlQuery query(connection());
    query.setForwardOnly(true);
    if (!query.exec(statement))
        raise(query.lastError(), path_, sqlOrTable);

    Recordset result(connection(), table, path_);
    const QSqlRecord record = query.record();
    const int first = table.isEmpty() ? 0 : 1;
    QStringList fields;
    for (int i = first; i < record.count(); ++i)
        fields << record.fieldName(i);
    result.setFields(fields);
    while (query.next()) {
        Recordset::Row row;
        if (!table.isEmpty())
            row.rowid = query.value(0).toLongLong();
        row.values.reserve(fields.size());
        for (int i = first; i < record.count(); ++i)
            row.values.append(query.value(i));
        result.rows_.push_back(std::move(row));
    }
    if (query.lastError().isValid())
        raise(query.lastError(), path_, sqlOrTable);
    result.pos_ = 0;
    return result;
}

Table Database::openTable(const QString& name) {
    if (!hasTable(name))
        throw AppError(err::TableNotFound, QStringLiteral("Could not find table '%1' in '%2'.")
                                               .arg(name, QDir::toNativeSeparators(path_)));
    return Table(connection(), name, path_);
}

QStringList Database::tableNames() const {
    return connection().tables(QSql::Tables);
}

QStringList Database::fieldNames(const QString& table) const {
    return pragmaColumn(connection(), QStringLiteral("PRAGMA table_info(%1)").arg(quoted(table)),
                        1);
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
    const QString sqlType = sqlTypeFor(type, type == fieldtype::Text ? size : 0);
    QSqlQuery query(connection());
    const QString statement = QStringLiteral("ALTER TABLE %1 ADD COLUMN %2 %3")
                                  .arg(quoted(table), quoted(field), sqlType);
    if (!query.exec(statement))
        raise(query.lastError(), path_, statement);
}

// --- RecordCursor ------------------------------------------------------------------------------

RecordCursor::RecordCursor(QSqlDatabase db, QString table, QString path)
    : db_(std::move(db))
    , table_(std::move(table))
    , path_(std::move(path)) {}

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
        QStringList names;
        for (const QString& field : fields_)
            names << quoted(field);
        QVector<QVariant> values = buffer_;
        if (reread.exec(QStringLiteral("SELECT %1 FROM %2 WHERE rowid = %3")
                            .arg(names.join(u", "), quoted(table_))
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
        assignments << quoted(fields_[i]) + QStringLiteral(" = ?");
        bound << buffer_[i];
    }
    if (assignments.isEmpty())
        return;
    const QString statement = QStringLiteral("UPDATE %1 SET %2 WHERE rowid = ?")
                                  .arg(quoted(table_), assignments.join(u", "));
    QSqlQuery query(db_);
    query.prepare(statement);
    for (const QVariant& v : bound)
        query.addBindValue(v);
    query.addBindValue(rowid);
    if (!query.exec())
        raise(query.lastError(), path_, statement);
}

qint64 RecordCursor::writeNew() {
    QStringList columns;
    QVector<QVariant> bound;
    for (int i = 0; i < fieldCount(); ++i) {
        if (!dirty_[i])
            continue;
        columns << quoted(fields_[i]);
        bound << buffer_[i];
    }
    QString statement;
    if (columns.isEmpty()) {
        statement = QStringLiteral("INSERT INTO %1 DEFAULT VALUES").arg(quoted(table_));
    } else {
        QStringList marks;
        marks.fill(QStringLiteral("?"), columns.size());
        statement = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                        .arg(quoted(table_), columns.join(u", "), marks.join(u", "));
    }
    QSqlQuery query(db_);
    query.prepare(statement);
    for (const QVariant& v : bound)
        query.addBindValue(v);
    if (!query.exec())
        raise(query.lastError(), path_, statement);
    return query.lastInsertId().toLongLong();
}

void RecordCursor::deleteCurrent() {
    requireUpdatable();
    const std::optional<qint64> rowid = currentRowId();
    if (!rowid)
        throw AppError(err::NoCurrentRecord, QStringLiteral("No current record."));
    QSqlQuery query(db_);
    const QString statement = QStringLiteral("DELETE FROM %1 WHERE rowid = ?").arg(quoted(table_));
    query.prepare(statement);
    query.addBindValue(*rowid);
    if (!query.exec())
        raise(query.lastError(), path_, statement);
    cancelUpdate();
    currentDeleted();
}

// --- Recordset ---------------------------------------------------------------------------------

Recordset::Recordset(QSqlDatabase db, QString table, QString path)
    : RecordCursor(std::move(db), std::move(table), std::move(path)) {}

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

Table::Table(QSqlDatabase db, QString table, QString path)
    : RecordCursor(std::move(db), std::move(table), std::move(path))
    , seekQuery_(db_)
    , rowQuery_(db_) {
    setFields(pragmaColumn(db_, QStringLiteral("PRAGMA table_info(%1)").arg(quoted(table_)), 1));
    rowQuery_.prepare(QStringLiteral("SELECT * FROM %1 WHERE rowid = ?").arg(quoted(table_)));
    positionAtFirst();
}

QString Table::orderBy() const {
    QStringList order;
    for (const QString& column : indexColumns_)
        order << quoted(column);
    if (order.isEmpty())
        order << QStringLiteral("rowid");
    return order.join(u", ");
}

// A table opens on its first row in index order, without reading the others.
void Table::positionAtFirst() {
    keyset_.reset();
    keysetPos_ = kUnknownPosition;
    rowDeleted_ = false;
    const QString statement =
        QStringLiteral("SELECT rowid FROM %1 ORDER BY %2 LIMIT 1").arg(quoted(table_), orderBy());
    QSqlQuery query(db_);
    if (!query.exec(statement))
        raise(query.lastError(), path_, statement);
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
        QSqlQuery info(db_);
        info.exec(QStringLiteral("PRAGMA table_info(%1)").arg(quoted(table_)));
        QMap<int, QString> keyColumns;
        while (info.next()) {
            if (info.value(5).toInt() > 0)
                keyColumns.insert(info.value(5).toInt(), info.value(1).toString());
        }
        columns = keyColumns.values();
    } else {
        columns = pragmaColumn(db_, QStringLiteral("PRAGMA index_info(%1)").arg(quoted(name)), 2);
    }
    if (columns.isEmpty())
        throw AppError(err::ItemNotFound,
                       QStringLiteral("'%1' is not an index in table '%2'.").arg(name, table_));
    indexColumns_ = columns;
    const QString statement = QStringLiteral("SELECT rowid, * FROM %1 WHERE %2 = ?")
                                  .arg(quoted(table_), quoted(columns.first()));
    if (!seekQuery_.prepare(statement))
        raise(seekQuery_.lastError(), path_, statement);
    positionAtFirst();
}

void Table::seek(const QVariant& key) {
    if (indexColumns_.isEmpty())
        throw AppError(err::ItemNotFound,
                       QStringLiteral("Operation is not supported without a current index."));
    cancelUpdate();
    seekQuery_.bindValue(0, key);
    if (!seekQuery_.exec())
        raise(seekQuery_.lastError(), path_, seekQuery_.lastQuery());
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
    const QString statement = QStringLiteral("SELECT count(*) FROM %1").arg(quoted(table_));
    if (!query.exec(statement) || !query.next())
        raise(query.lastError(), path_, statement);
    return query.value(0).toInt();
}

void Table::loadKeyset() {
    const QString statement =
        QStringLiteral("SELECT rowid FROM %1 ORDER BY %2").arg(quoted(table_), orderBy());
    QSqlQuery query(db_);
    query.setForwardOnly(true);
    if (!query.exec(statement))
        raise(query.lastError(), path_, statement);
    std::vector<qint64> keys;
    while (query.next())
        keys.push_back(query.value(0).toLongLong());
    keyset_ = std::move(keys);
}

void Table::loadRow(qint64 rowid) {
    rowQuery_.bindValue(0, rowid);
    if (!rowQuery_.exec())
        raise(rowQuery_.lastError(), path_, rowQuery_.lastQuery());
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
