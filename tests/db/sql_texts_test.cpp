// The SQL texts the program sends on the tables a shared database holds are written in the dialect
// of its original database engine; each of them, as the program builds it, must run on the
// shipped file and on a PostgreSQL server alike, and any text quoted into them must come back as
// it was. (The texts on the other tables run through their callers in the import and setup tests.)
#include "db/shared_server.h"
#include "platform/database.h"
#include "platform/jet_sql.h"
#ifndef Q_OS_WIN
#include "support/pg_server.h"
#endif
#include "support/program_folder_fixture.h"

#include <QRandomGenerator>

#include <gtest/gtest.h>

using platform::Database;

namespace {

// Text made of pieces that mean something to SQL, to the quoting or to the program's tokens.
QString randomText(QRandomGenerator& random) {
    static const QStringList pieces =
        QString("' '' | || \" ; -- /* */ & % _ \\ ( ) {TAB} <RET> a Z 9 [x] #1# ? "
                "ä Größe 漢字 🙂")
            .split(u' ') +
        QStringList{" ", "\t", "' OR '1'='1", " & chr(124) & ", "'); DROP TABLE tblAppendStr; --"};
    QString text;
    const int count = 1 + random.bounded(8);
    for (int i = 0; i < count; ++i)
        text += pieces[random.bounded(pieces.size())];
    return text;
}

} // namespace

TEST(ProgramSqlTexts, SharedTableStatementsOnAFileAndOnAServer) {
    testsupport::TempProgramFolder folder;
    QStringList locations{folder.file("dbscan.mdb")};
#ifndef Q_OS_WIN // the Windows build reaches shared database files only
    testsupport::PgServer server;
    db::InitSharedServer(server.uri("orvane"), false);
    locations << server.uri("orvane");
#endif
    for (const QString& location : locations) {
        SCOPED_TRACE(location.toStdString());
        Database db = Database::open(location);
        const auto addRows = [&] {
            db.execute("INSERT INTO tblCodelink (ScanValue, ReturnValue, Descrip, Unit) VALUES "
                       "('O''Neil|2', 'R1', 'd', 1)");
            db.execute("INSERT INTO tblManual (ScanValue, ReturnValue) VALUES ('m1', 'r1')");
            db.execute("INSERT INTO tblImportErrors (ScanCode, ReturnCode, ErrorDescription, "
                       "Unit) VALUES ('s', 'r', 'e', 1)");
        };
        addRows();
        db.execute("UPDATE tblAppendStr SET Use = 6 WHERE Name = 'Tab'");
        db.execute("UPDATE tblAppendStr SET Use = 5 WHERE Name = 'Enter'");
        EXPECT_EQ(platform::SqlQuote("O'Neil|2"), "O''Neil' & chr(124) & '2");
        const QString key = platform::SqlQuote("o'NEIL|2"); // keys compare without regard to case
        // A query and the value of field in its first row, or with no field named, its row count.
        const std::tuple<QString, QString, QString> queries[] = {
            {"", "1", "SELECT * from tblCodelink"},
            {"ReturnValue", "R1",
             "SELECT tblCodelink.* From tblCodelink WHERE (((tblCodelink.ScanValue)='" + key +
                 "'));"},
            {"String", "<RetVal><TAB><UoM><RET>",
             "SELECT tblAppendStr.* From tblAppendStr WHERE (((tblAppendStr.Name)='" +
                 platform::SqlQuote("Tab Unit Enter") + "'));"},
            {"String", "<RetVal><TAB>",
             "SELECT tblAppendStr.String From tblAppendStr WHERE (((tblAppendStr.Name)='Tab'));"},
            {"Use", "5",
             "SELECT tblAppendStr.Use From tblAppendStr Where (((tblAppendStr.Use) > 0)) ORDER BY "
             "tblAppendStr.Use;"},
            {"Name", "Tab",
             "SELECT tblAppendStr.Name From tblAppendStr Where (((tblAppendStr.Use) > 0)) ORDER "
             "BY tblAppendStr.Use DESC;"}};
        for (const auto& [field, expected, sql] : queries) {
            platform::Recordset rs = db.openRecordset(sql);
            const QString result = field.isEmpty() ? QString::number(rs.recordCount())
                                   : rs.eof()      ? QString("<none>")
                                                   : rs.value(field).toString();
            EXPECT_EQ(result, expected) << sql.toStdString();
        }
        const auto deleteOneRowEach = [&](const QStringList& statements) {
            for (const QString& sql : statements)
                EXPECT_EQ(db.execute(sql), 1) << sql.toStdString();
        };
        deleteOneRowEach(
            {"DELETE From tblCodelink WHERE (((tblCodelink.ScanValue)='" + key + "'));",
             "DELETE * FROM tblManual;", "DELETE * from tblImportErrors"});
        addRows();
        deleteOneRowEach({"DELETE * FROM tblCodelink", "Delete From tblImportErrors"});

        // Any text comes back through the quoting as it was, and never runs as SQL.
        QRandomGenerator random(20261122);
        for (int i = 0; i < 300; ++i) {
            const QString text = randomText(random);
            SCOPED_TRACE(text.toStdString());
            const QString q = platform::SqlQuote(text);
            const QString where = "(((tblCodelink.ScanValue)='" + q + "'));";
            ASSERT_EQ(db.execute("INSERT INTO tblCodelink (ScanValue, ReturnValue) VALUES ('" + q +
                                 "', '" + q + "')"),
                      1);
            platform::Recordset found =
                db.openRecordset("SELECT tblCodelink.* From tblCodelink WHERE " + where);
            ASSERT_EQ(found.recordCount(), 1);
            EXPECT_EQ(found.value("ScanValue").toString(), text);
            EXPECT_EQ(found.value("ReturnValue").toString(), text);
            EXPECT_EQ(db.execute("DELETE From tblCodelink WHERE " + where), 1);
        }
        EXPECT_EQ(db.openRecordset("tblAppendStr").recordCount(), 5);
    }
}
