#include "platform/app_error.h"
#include "platform/database_engines.h"

#include <QDir>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUrl>
#include <QUrlQuery>

// The PostgreSQL server engine: a shared translation database for many workstations.
namespace platform {

namespace {

// "?1", "?2" ... as the server numbers parameters: "$1", "$2" ...
QString serverParameters(const QString& sql) {
    static const QRegularExpression numbered(QStringLiteral("\\?(\\d+)"));
    QString result = sql;
    result.replace(numbered, QStringLiteral("$\\1"));
    return result;
}

// A statement prepared on the server and run many times.
class ServerStatement final : public Statement {
public:
    ServerStatement(const QSqlDatabase& db, QString sql, QString location)
        : query_(db)
        , sql_(std::move(sql))
        , location_(std::move(location)) {
        if (!query_.prepare(sql_))
            detail::raiseServer(query_.lastError(), location_, sql_);
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
                detail::raiseServer(query_.lastError(), location_, sql_);
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
        return db.prepare(detail::insertStatement(Engine::Postgres, table, columns, key, QString())
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
            names << detail::quotedName(Engine::Postgres, column);
        present_ = db.prepare(QStringLiteral("SELECT %1, %2 FROM %3 WHERE %4 = ANY(?1::text[])")
                                  .arg(kServerRowId, names.join(u", "),
                                       detail::quotedName(Engine::Postgres, table),
                                       detail::quotedName(Engine::Postgres, key)));
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

} // namespace

namespace detail {

// The server's errors, by the SQLSTATE it reports.
void raiseServer(const QSqlError& error, const QString& location, const QString& statement) {
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

// The server's types: text compares without regard to case (the shared tables' collation), as the
// files' NOCASE does.
QString serverFieldType(int type) {
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

std::unique_ptr<Statement> serverStatement(const QSqlDatabase& db, const QString& sql,
                                           const QString& location) {
    return std::make_unique<ServerStatement>(db, serverParameters(sql), location);
}

std::unique_ptr<RowWriter> serverRowWriter(Database& db, const QString& table,
                                           const QStringList& columns) {
    return std::make_unique<ServerRowWriter>(db, table, columns);
}

std::unique_ptr<KeyedRowWriter> serverKeyedRowWriter(Database& db, const QString& table,
                                                     const QStringList& columns,
                                                     const QString& key) {
    return std::make_unique<ServerKeyedRowWriter>(db, table, columns, key);
}

} // namespace detail

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
    const QString connection = detail::nextConnectionName();
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
    database.setLockWait(Database::busyTimeoutMs());
    return database;
}

void Database::reconnect() {
    if (engine_ != Engine::Postgres)
        return;
    QSqlDatabase db = connection();
    db.close();
    serverTransaction_ = false; // the server rolled back what the lost connection had open
    if (!db.open())
        detail::raiseServer(db.lastError(), path_, QStringLiteral("connect"));
    setLockWait(Database::busyTimeoutMs());
}

} // namespace platform
