#include "db/database_files.h"

#include "db/sqlite_statement.h"
#include "platform/app_error.h"
#include "platform/database.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>

#include <filesystem>
#include <limits>
#include <optional>
#include <sqlite3.h>
#include <system_error>
#include <vector>

namespace db {

namespace {

using platform::AppError;
namespace err = platform::err;

QString native(const QString& path) {
    return QDir::toNativeSeparators(path);
}

QString quotedName(const QString& identifier) {
    QString escaped = identifier;
    escaped.replace(u'"', QStringLiteral("\"\""));
    return u'"' + escaped + u'"';
}

// Failures that concern the file being written rather than the one being read.
bool isTargetFailure(int resultCode) {
    switch (resultCode & 0xff) {
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_FULL:
    case SQLITE_IOERR:
        return true;
    default:
        return false;
    }
}

} // namespace

// --- temporary files -------------------------------------------------------------------------

TempFileBeside::TempFileBeside(const QString& target) {
    const QFileInfo info(target);
    QTemporaryFile file(info.absolutePath() + QStringLiteral("/.") + info.completeBaseName() +
                        QStringLiteral("-XXXXXX.tmp"));
    file.setAutoRemove(false);
    if (!file.open())
        throw AppError(err::ReadOnly,
                       QStringLiteral("Cannot create a file in the folder '%1' (%2). Check that "
                                      "the folder can be written to and the disk is not full.")
                           .arg(native(info.absolutePath()), file.errorString()));
    path_ = file.fileName();
}

TempFileBeside::~TempFileBeside() {
    if (path_.isEmpty())
        return;
    QFile::remove(path_);
    QFile::remove(path_ + QStringLiteral("-journal"));
}

void TempFileBeside::renameOver(const QString& target) {
    std::error_code error;
    std::filesystem::rename(QFileInfo(path_).filesystemFilePath(),
                            QFileInfo(target).filesystemFilePath(), error);
    if (error)
        throw AppError(err::DatabaseError,
                       QStringLiteral("Could not put the new file in place of '%1' (%2).")
                           .arg(native(target), QString::fromStdString(error.message())));
    path_.clear();
}

// --- copying and compacting ------------------------------------------------------------------

std::unique_ptr<TempFileBeside> copyBeside(platform::Database& source, const QString& target) {
    auto temp = std::make_unique<TempFileBeside>(target);
    {
        platform::Database copy = platform::Database::open(temp->path());
        sqlite3* to = copy.nativeHandle();
        exec(to, QStringLiteral("PRAGMA synchronous = FULL"), temp->path());
        sqlite3_backup* backup = sqlite3_backup_init(to, "main", source.nativeHandle(), "main");
        if (!backup)
            throwSqliteError(sqlite3_errcode(to), to, temp->path());
        const int rc = sqlite3_backup_step(backup, -1);
        sqlite3_backup_finish(backup);
        if (rc != SQLITE_DONE) {
            if (isTargetFailure(rc))
                throwSqliteError(rc, to, target);
            throwSqliteError(rc, source.nativeHandle(), source.path());
        }
    }
    const QFileInfo existing(QFileInfo::exists(target) ? target : source.path());
    QFile::setPermissions(temp->path(), existing.permissions());
    return temp;
}

void copyDatabase(platform::Database& source, const QString& target) {
    copyBeside(source, target)->renameOver(target);
}

void copyFileBytes(const QString& source, const QString& target) {
    QFile from(source);
    if (!from.open(QIODevice::ReadOnly))
        throw AppError(
            err::FileLocked,
            QStringLiteral("Could not read '%1' (%2).").arg(native(source), from.errorString()));
    // QSaveFile writes beside the target, syncs, and renames over it only when all went well.
    QSaveFile to(target);
    if (!to.open(QIODevice::WriteOnly))
        throw AppError(
            err::ReadOnly,
            QStringLiteral("Could not write '%1' (%2).").arg(native(target), to.errorString()));
    constexpr qint64 kChunk = 1 << 20;
    while (!from.atEnd()) {
        const QByteArray chunk = from.read(kChunk);
        if (chunk.isEmpty() && from.error() != QFileDevice::NoError)
            throw AppError(err::DatabaseError, QStringLiteral("Could not read '%1' (%2).")
                                                   .arg(native(source), from.errorString()));
        if (to.write(chunk) != chunk.size())
            break; // commit() reports the failure
    }
    if (!to.commit())
        throw AppError(
            err::DatabaseError,
            QStringLiteral("Could not write '%1' (%2).").arg(native(target), to.errorString()));
}

void compactInto(platform::Database& source, const QString& target) {
    Statement vacuum(source.nativeHandle(), QStringLiteral("VACUUM INTO ?1"), source.path());
    vacuum.bind(1, target);
    const int rc = vacuum.tryNext();
    if (rc != SQLITE_DONE)
        vacuum.fail(rc, isTargetFailure(rc) ? target : source.path());
    vacuum.reset();
}

QStringList integrityProblems(platform::Database& database) {
    QStringList found;
    try {
        Statement check(database.nativeHandle(), QStringLiteral("PRAGMA integrity_check(100)"),
                        database.path());
        while (check.next())
            found << check.text(0);
    } catch (const AppError& error) {
        if (error.number() == err::FileLocked)
            throw;
        return {error.description()};
    }
    if (found == QStringList{QStringLiteral("ok")})
        return {};
    return found;
}

// --- salvage -----------------------------------------------------------------------------------

namespace {

struct SchemaEntry {
    QString type;
    QString name;
    QString sql;
};

std::vector<SchemaEntry> readSchema(platform::Database& source) {
    Statement schema(source.nativeHandle(),
                     QStringLiteral("SELECT type, name, sql FROM sqlite_master WHERE sql IS NOT "
                                    "NULL AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'"),
                     source.path());
    std::vector<SchemaEntry> entries;
    while (schema.next())
        entries.push_back({schema.text(0), schema.text(1), schema.text(2)});
    return entries;
}

QStringList columnsOf(platform::Database& source, const QString& table) {
    Statement info(source.nativeHandle(),
                   QStringLiteral("PRAGMA table_info(%1)").arg(quotedName(table)), source.path());
    QStringList columns;
    while (info.next())
        columns << info.text(1);
    return columns;
}

bool isDamage(int resultCode) {
    const int primary = resultCode & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_IOERR ||
           primary == SQLITE_RANGE;
}

// Copies the rows of one table in row id order. Where a read fails on a damaged page the copy
// searches for the next row id from which reading works again (doubling the distance, then
// halving it back), and goes on from there; the rows in between are lost.
class TableSalvage {
public:
    TableSalvage(platform::Database& source, platform::Database& target, const QString& table)
        : source_(source)
        , columns_(columnsOf(source, table))
        , read_(source.nativeHandle(), selectFrom(table, QString()), source.path())
        , probe_(source.nativeHandle(), selectFrom(table, QStringLiteral(" LIMIT 1")),
                 source.path())
        , insert_(target.nativeHandle(), insertInto(table), target.path()) {}

    qint64 run() {
        qint64 from = std::numeric_limits<qint64>::min();
        for (;;) {
            const std::optional<qint64> last = copyFrom(from);
            if (!damaged_)
                return copied_;
            const qint64 searchFrom = last ? *last + 1 : from + 1;
            if ((last && *last == std::numeric_limits<qint64>::max()) ||
                from == std::numeric_limits<qint64>::max())
                return copied_;
            const std::optional<qint64> next = nextReadable(searchFrom);
            if (!next)
                return copied_;
            from = *next;
        }
    }

private:
    enum class Probe { Row, End, Damaged };

    QString selectFrom(const QString& table, const QString& limit) const {
        QStringList names;
        for (const QString& column : columns_)
            names << quotedName(column);
        return QStringLiteral("SELECT rowid, %1 FROM %2 WHERE rowid >= ?1 ORDER BY rowid%3")
            .arg(names.join(u", "), quotedName(table), limit);
    }

    QString insertInto(const QString& table) const {
        QStringList names{QStringLiteral("rowid")};
        QStringList marks{QStringLiteral("?1")};
        for (int i = 0; i < columns_.size(); ++i) {
            names << quotedName(columns_[i]);
            marks << QStringLiteral("?%1").arg(i + 2);
        }
        return QStringLiteral("INSERT OR IGNORE INTO %1 (%2) VALUES (%3)")
            .arg(quotedName(table), names.join(u", "), marks.join(u", "));
    }

    // Copies rows from row id from on until the table ends or a read fails; gives the row id of
    // the last row copied.
    std::optional<qint64> copyFrom(qint64 from) {
        damaged_ = false;
        std::optional<qint64> last;
        read_.bind(1, from);
        int rc = SQLITE_ROW;
        while ((rc = read_.tryNext()) == SQLITE_ROW) {
            insert_.bind(1, read_.int64(0));
            for (int i = 0; i < columns_.size(); ++i)
                insert_.bind(i + 2, read_.value(i + 1));
            insert_.next();
            last = read_.int64(0);
            ++copied_;
        }
        if (rc != SQLITE_DONE && !isDamage(rc))
            read_.fail(rc, source_.path());
        read_.reset();
        damaged_ = rc != SQLITE_DONE;
        return last;
    }

    Probe probe(qint64 from) {
        probe_.bind(1, from);
        const int rc = probe_.tryNext();
        if (rc != SQLITE_ROW && rc != SQLITE_DONE && !isDamage(rc))
            probe_.fail(rc, source_.path());
        probe_.reset();
        return rc == SQLITE_ROW ? Probe::Row : rc == SQLITE_DONE ? Probe::End : Probe::Damaged;
    }

    // The smallest row id at or after from from which a read works again; none when reading
    // fails all the way to the end of the row id range.
    std::optional<qint64> nextReadable(qint64 from) {
        if (probe(from) != Probe::Damaged)
            return from;
        constexpr qint64 kMax = std::numeric_limits<qint64>::max();
        qint64 bad = from;
        qint64 good = 0;
        for (qint64 step = 1;; step = step > kMax / 2 ? kMax : step * 2) {
            if (from > kMax - step)
                return std::nullopt;
            if (probe(from + step) != Probe::Damaged) {
                good = from + step;
                break;
            }
            bad = from + step;
            if (step == kMax)
                return std::nullopt;
        }
        while (good - bad > 1) {
            const qint64 middle = bad + (good - bad) / 2;
            (probe(middle) == Probe::Damaged ? bad : good) = middle;
        }
        return good;
    }

    platform::Database& source_;
    QStringList columns_;
    Statement read_;
    Statement probe_;
    Statement insert_;
    qint64 copied_ = 0;
    bool damaged_ = false;
};

qint64 pragmaNumber(platform::Database& database, const QString& pragma) {
    Statement query(database.nativeHandle(), QStringLiteral("PRAGMA ") + pragma, database.path());
    const qint64 value = query.next() ? query.int64(0) : 0;
    query.reset();
    return value;
}

} // namespace

SalvageResult salvageInto(platform::Database& source, const QString& target) {
    // Damage found while reading a cell is reported as such instead of being read as garbage.
    exec(source.nativeHandle(), QStringLiteral("PRAGMA cell_size_check = ON"), source.path());
    const std::vector<SchemaEntry> schema = readSchema(source);
    const qint64 pageSize = pragmaNumber(source, QStringLiteral("page_size"));
    const qint64 userVersion = pragmaNumber(source, QStringLiteral("user_version"));

    platform::Database fresh = platform::Database::open(target);
    sqlite3* out = fresh.nativeHandle();
    exec(out, QStringLiteral("PRAGMA synchronous = FULL"), target);
    exec(out, QStringLiteral("PRAGMA page_size = %1").arg(pageSize), target);
    exec(out, QStringLiteral("BEGIN"), target);
    // Tables and indexes first, so that the rows meet every unique key; triggers and views last,
    // so that nothing fires while the rows go in.
    for (const QString& type : {QStringLiteral("table"), QStringLiteral("index")}) {
        for (const SchemaEntry& entry : schema) {
            if (entry.type == type)
                exec(out, entry.sql, target);
        }
    }
    SalvageResult result;
    for (const SchemaEntry& entry : schema) {
        if (entry.type != u"table")
            continue;
        result.rows += TableSalvage(source, fresh, entry.name).run();
        ++result.tables;
    }
    for (const SchemaEntry& entry : schema) {
        if (entry.type != u"table" && entry.type != u"index")
            exec(out, entry.sql, target);
    }
    exec(out, QStringLiteral("PRAGMA user_version = %1").arg(userVersion), target);
    exec(out, QStringLiteral("COMMIT"), target);
    return result;
}

} // namespace db
