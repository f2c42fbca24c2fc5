#include "platform/app_error.h"
#include "platform/database_engines.h"
#include "platform/sqlite_statement.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDriver>
#include <QUrl>

#include <algorithm>
#include <sqlite3.h>

// The SQLite file engine: the program's own database files, and a shared file on a network share.
namespace platform {

namespace {

int primaryCode(const QSqlError& error) {
    bool ok = false;
    const int code = error.nativeErrorCode().toInt(&ok);
    return ok ? (code & 0xff) : -1;
}

// A file: one prepared statement, one row at a time (SQLite writes a row in microseconds).
class FileRowWriter final : public RowWriter {
public:
    FileRowWriter(Database& db, const QString& table, const QStringList& columns)
        : statement_(
              db.prepare(detail::insertStatement(Engine::Sqlite, table, columns, QString(),
                                                 detail::valueMarks(1, int(columns.size()))))) {}
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
                  detail::insertStatement(Engine::Sqlite, table, columns, QString(),
                                          detail::valueMarks(1, int(columns.size()))),
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

} // namespace

namespace detail {

void raiseFile(const QSqlError& error, const QString& path, const QString& statement) {
    const QString detail = error.databaseText().isEmpty() ? error.text() : error.databaseText();
    switch (primaryCode(error)) {
    case 5: // busy
    case 6: // locked
        throw AppError(err::FileLocked,
                       QStringLiteral("The database '%1' is locked by another program or "
                                      "workstation (waited %2 seconds). Try again when it is "
                                      "free.")
                           .arg(QDir::toNativeSeparators(path))
                           .arg(Database::busyTimeoutMs() / 1000.0));
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

QString fileFieldType(int type, int size) {
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

sqlite3* fileHandle(const QSqlDatabase& db) {
    const QVariant handle = db.driver()->handle();
    return *static_cast<sqlite3* const*>(handle.constData());
}

std::unique_ptr<RowWriter> fileRowWriter(Database& db, const QString& table,
                                         const QStringList& columns) {
    return std::make_unique<FileRowWriter>(db, table, columns);
}

std::unique_ptr<KeyedRowWriter> fileKeyedRowWriter(Database& db, const QString& table,
                                                   const QStringList& columns, const QString& key) {
    return std::make_unique<FileKeyedRowWriter>(db, table, columns, key);
}

} // namespace detail

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

Database Database::openFile(const QString& name) {
    const QString path = resolveDatabaseFile(name);
    const QFileInfo info(path);
    if (!info.exists() || !info.isFile())
        throw AppError(
            err::FileNotFound,
            QStringLiteral("Could not find file '%1'.").arg(QDir::toNativeSeparators(path)));
    checkFileFormat(path);

    const QString connection = detail::nextConnectionName();
    QSqlError failure;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1")
                                 .arg(Database::busyTimeoutMs()));
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
        detail::raiseFile(failure, path, QStringLiteral("open"));
    }
    return Database(connection, path, Engine::Sqlite);
}

sqlite3* Database::nativeHandle() const {
    if (engine_ != Engine::Sqlite)
        throw AppError(err::DatabaseError,
                       QStringLiteral("'%1' is not a database file.").arg(path_));
    return detail::fileHandle(connection());
}

} // namespace platform
