#include "platform/sqlite_statement.h"

#include "platform/app_error.h"
#include "platform/database.h"

#include <QDir>
#include <QStringEncoder>

#include <sqlite3.h>
#include <utility>

namespace platform {

namespace {

QString engineText(sqlite3* handle, int resultCode) {
    const char* text = handle ? sqlite3_errmsg(handle) : sqlite3_errstr(resultCode);
    return QString::fromUtf8(text ? text : "");
}

int errorNumber(int resultCode) {
    switch (resultCode & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return err::FileLocked;
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
        return err::ReadOnly;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return err::UnrecognizedFormat;
    case SQLITE_CONSTRAINT:
        return err::DuplicateKey;
    default:
        return err::DatabaseError;
    }
}

// Writes the UTF-8 of text into utf8 (whose room is reused) and gives its size. ASCII, which
// codes and item names mostly are, is copied unit by unit without an encoder.
qsizetype writeUtf8(QStringView text, QByteArray& utf8) {
    const qsizetype size = text.size();
    utf8.resize(size);
    const char16_t* in = text.utf16();
    char* out = utf8.data();
    qsizetype i = 0;
    for (; i < size && in[i] < 0x80; ++i)
        out[i] = char(in[i]);
    if (i == size)
        return size;
    QStringEncoder encoder(QStringEncoder::Utf8);
    utf8.resize(encoder.requiredSpace(size));
    return encoder.appendToBuffer(utf8.data(), text) - utf8.constData();
}

} // namespace

QString sqliteFailureText(int resultCode, sqlite3* handle, const QString& file) {
    const QString name = QDir::toNativeSeparators(file);
    const QString detail = engineText(handle, resultCode);
    switch (resultCode & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return QStringLiteral("The database '%1' is locked by another program or workstation "
                              "(waited %2 seconds). Try again when it is free.")
            .arg(name)
            .arg(Database::busyTimeoutMs() / 1000.0);
    case SQLITE_READONLY:
    case SQLITE_PERM:
        return QStringLiteral("Cannot write to '%1': the file or its folder is read-only.")
            .arg(name);
    case SQLITE_CANTOPEN:
        return QStringLiteral("Cannot open or create '%1': its folder is read-only or missing.")
            .arg(name);
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return QStringLiteral("The database '%1' is damaged (%2).").arg(name, detail);
    case SQLITE_FULL:
        return QStringLiteral("The disk holding '%1' is full.").arg(name);
    case SQLITE_IOERR:
        return QStringLiteral("Could not read or write '%1' (%2).").arg(name, detail);
    default:
        return QStringLiteral("Database error in '%1': %2").arg(name, detail);
    }
}

void throwSqliteError(int resultCode, sqlite3* handle, const QString& file) {
    throw AppError(errorNumber(resultCode), sqliteFailureText(resultCode, handle, file));
}

SqliteStatement::SqliteStatement(sqlite3* handle, const QString& sql, QString file)
    : handle_(handle)
    , file_(std::move(file)) {
    const QByteArray utf8 = sql.toUtf8();
    const int rc = sqlite3_prepare_v2(handle_, utf8.constData(), static_cast<int>(utf8.size()),
                                      &statement_, nullptr);
    if (rc != SQLITE_OK)
        throwSqliteError(rc, handle_, file_);
}

SqliteStatement::~SqliteStatement() {
    sqlite3_finalize(statement_);
}

void SqliteStatement::bind(int index, qint64 value) {
    sqlite3_bind_int64(statement_, index, value);
}

// A null QString is bound as an empty text (bindText binds a null view as NULL).
void SqliteStatement::bind(int index, const QString& value) {
    bindText(index, value.isNull() ? QStringView(u"") : QStringView(value));
}

void SqliteStatement::bind(int index, const QVariant& value) {
    if (value.isNull()) {
        sqlite3_bind_null(statement_, index);
        return;
    }
    switch (value.typeId()) {
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::Bool:
        bind(index, value.toLongLong());
        return;
    case QMetaType::Double:
        sqlite3_bind_double(statement_, index, value.toDouble());
        return;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        sqlite3_bind_blob(statement_, index, bytes.constData(), static_cast<int>(bytes.size()),
                          SQLITE_TRANSIENT);
        return;
    }
    case QMetaType::QString:
        bind(index, *static_cast<const QString*>(value.constData()));
        return;
    default:
        bind(index, value.toString());
    }
}

int SqliteStatement::tryNext() {
    return sqlite3_step(statement_);
}

bool SqliteStatement::next() {
    const int rc = sqlite3_step(statement_);
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE) {
        sqlite3_reset(statement_);
        return false;
    }
    fail(rc, file_);
}

void SqliteStatement::fail(int resultCode, const QString& file) {
    // The engine's words first: resetting the statement may replace them.
    const AppError error(errorNumber(resultCode), sqliteFailureText(resultCode, handle_, file));
    sqlite3_reset(statement_);
    throw error;
}

void SqliteStatement::bindText(int index, QStringView value) {
    if (index < 1)
        return; // no such parameter; SQLite would refuse it too
    if (value.isNull()) {
        sqlite3_bind_null(statement_, index);
        return;
    }
    if (texts_.size() < size_t(index))
        texts_.resize(size_t(index));
    QByteArray& utf8 = texts_[size_t(index - 1)];
    const qsizetype size = writeUtf8(value, utf8);
    sqlite3_bind_text(statement_, index, utf8.constData(), static_cast<int>(size), SQLITE_STATIC);
}

void SqliteStatement::bindNumber(int index, double value) {
    sqlite3_bind_double(statement_, index, value);
}

void SqliteStatement::bindNull(int index) {
    sqlite3_bind_null(statement_, index);
}

int SqliteStatement::changes() const {
    return sqlite3_changes(handle_);
}

void SqliteStatement::reset() {
    sqlite3_reset(statement_);
}

int SqliteStatement::columnCount() const {
    return sqlite3_column_count(statement_);
}

qint64 SqliteStatement::int64(int column) const {
    return sqlite3_column_int64(statement_, column);
}

QString SqliteStatement::text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(statement_, column));
}

bool SqliteStatement::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

QVariant SqliteStatement::value(int column) const {
    switch (sqlite3_column_type(statement_, column)) {
    case SQLITE_NULL:
        return {};
    case SQLITE_INTEGER:
        return QVariant::fromValue(int64(column));
    case SQLITE_FLOAT:
        return sqlite3_column_double(statement_, column);
    case SQLITE_BLOB: {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
        return QByteArray(bytes, sqlite3_column_bytes(statement_, column));
    }
    default:
        return text(column);
    }
}

void sqliteExec(sqlite3* handle, const QString& sql, const QString& file) {
    char* message = nullptr;
    const int rc = sqlite3_exec(handle, sql.toUtf8().constData(), nullptr, nullptr, &message);
    sqlite3_free(message);
    if (rc != SQLITE_OK)
        throwSqliteError(rc, handle, file);
}

} // namespace platform
