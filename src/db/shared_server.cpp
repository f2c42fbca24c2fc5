#include "db/shared_server.h"

#include "core/program_folder.h"
#include "db/db_path.h"
#include "platform/app_error.h"
#include "platform/database.h"

namespace db {

namespace {

// Text compares without regard to case, as in the program's files: the program looks scan values
// up that way in every statement it sends ("abc" finds the pair stored as "ABC"). A case-blind
// collation (ICU's, at strength 2: case does not count, accents do) keeps those statements as they
// are, and makes the unique key refuse a value that differs from another only in case, as a file
// does. It is chosen over the citext type, which does the same by lowering both sides of every
// comparison and takes twice as long to import into a large table. orvane_id identifies a row for
// editing and paging, as a file's rowid does.
const char* const kSharedTablesSql = R"sql(
CREATE COLLATION IF NOT EXISTS orvane_nocase (provider = icu, locale = 'und-u-ks-level2',
                                              deterministic = false);
CREATE TABLE tblCodelink (
    orvane_id   bigserial NOT NULL UNIQUE,
    ScanValue   text COLLATE orvane_nocase NOT NULL PRIMARY KEY,
    ReturnValue text COLLATE orvane_nocase,
    Descrip     text COLLATE orvane_nocase,
    -- A pair typed in by hand carries no unit of measure: it counts as one.
    Unit        double precision DEFAULT 1
);
CREATE TABLE tblManual (
    orvane_id   bigserial NOT NULL UNIQUE,
    ScanValue   text COLLATE orvane_nocase NOT NULL PRIMARY KEY,
    ReturnValue text COLLATE orvane_nocase
);
CREATE TABLE tblAppendStr (
    orvane_id bigserial PRIMARY KEY,
    Name      text COLLATE orvane_nocase,
    String    text COLLATE orvane_nocase,
    Use       integer DEFAULT 0
);
CREATE TABLE tblImportErrors (
    orvane_id        bigserial PRIMARY KEY,
    ScanCode         text COLLATE orvane_nocase,
    ReturnCode       text COLLATE orvane_nocase,
    ErrorDescription text COLLATE orvane_nocase,
    Unit             double precision
)
)sql";

const char* const kStarterPatterns = R"sql(
INSERT INTO tblAppendStr (Name, String, Use) VALUES
    ('Enter', '<RetVal><RET>', 0),
    ('Tab', '<RetVal><TAB>', 0),
    ('Tab Unit Enter', '<RetVal><TAB><UoM><RET>', 0),
    ('Unit Tab', '<RetVal><TAB><UoM><TAB>', 0),
    ('Nothing', '<RetVal>', 0)
)sql";

// The columns of each shared table that a copy carries over.
struct CopiedTable {
    const char* name;
    const char* columns;
    int count;
};
constexpr CopiedTable kCopied[] = {
    {"tblCodelink", "ScanValue, ReturnValue, Descrip, Unit", 4},
    {"tblManual", "ScanValue, ReturnValue", 2},
    {"tblAppendStr", "Name, String, Use", 3},
    {"tblImportErrors", "ScanCode, ReturnCode, ErrorDescription, Unit", 4},
};

void copyTable(platform::Database& from, platform::Database& to, const CopiedTable& table) {
    const QString columns = QString::fromLatin1(table.columns);
    const auto read =
        from.prepare(QStringLiteral("SELECT %1 FROM %2 ORDER BY rowid").arg(columns, table.name));
    const auto write =
        to.rowWriter(QString::fromLatin1(table.name), columns.split(QStringLiteral(", ")));
    while (read->next()) {
        QVariantList row;
        for (int i = 0; i < table.count; ++i)
            row << read->value(i);
        write->put(row);
    }
    write->flush();
}

} // namespace

QString InitSharedServer(const QString& uri, bool fromLocal) {
    if (!platform::isServerLocation(uri))
        throw platform::AppError(
            platform::err::InvalidPropertyValue,
            QStringLiteral("%1 is not a PostgreSQL connection URI (postgresql://host/database).")
                .arg(uri));
    platform::Database server = platform::Database::open(uri);
    for (const QString& table : kSharedTables) {
        if (server.hasTable(table))
            throw platform::AppError(
                platform::err::InvalidPropertyValue,
                QStringLiteral("%1 already holds the table %2: shared-init sets up an empty "
                               "database only.")
                    .arg(server.path(), table));
    }
    server.execute(QStringLiteral("BEGIN"));
    try {
        for (const QString& statement : QString::fromLatin1(kSharedTablesSql).split(u';'))
            server.executeNative(statement);
        if (fromLocal) {
            platform::Database local =
                platform::Database::open(core::programFile(QStringLiteral("dbScan")));
            for (const CopiedTable& table : kCopied)
                copyTable(local, server, table);
        } else {
            server.executeNative(QString::fromLatin1(kStarterPatterns));
        }
        server.execute(QStringLiteral("COMMIT"));
    } catch (...) {
        server.execute(QStringLiteral("ROLLBACK"));
        throw;
    }
    return SharedServerGrants(QStringLiteral("orvane_workstation"));
}

QString SharedServerGrants(const QString& role) {
    QStringList tables;
    QStringList sequences;
    for (const QString& table : kSharedTables) {
        tables << table.toLower();
        sequences << table.toLower() + QStringLiteral("_orvane_id_seq");
    }
    return QStringLiteral("GRANT SELECT, INSERT, UPDATE, DELETE ON %1 TO %3;\n"
                          "GRANT USAGE ON SEQUENCE %2 TO %3;\n")
        .arg(tables.join(QStringLiteral(", ")), sequences.join(QStringLiteral(", ")), role);
}

} // namespace db
