// The SQL texts the program sends on the tables a shared database holds are written in the dialect
// of its original database engine; each of them, as the program builds it, must run on the
// shipped file and on a PostgreSQL server alike. (The texts on the other tables run through their
// callers in the import and setup tests.)
#include "db/db_path.h"
#include "db/shared_server.h"
#include "platform/database.h"
#include "support/pg_server.h"
#include "support/program_folder_fixture.h"

#include <gtest/gtest.h>

using platform::Database;

TEST(ProgramSqlTexts, SharedTableStatementsOnAFileAndOnAServer) {
    testsupport::TempProgramFolder folder;
    testsupport::PgServer server;
    db::InitSharedServer(server.uri("orvane"), false);
    for (const QString& location : {folder.file("dbscan.mdb"), server.uri("orvane")}) {
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
        const QString key = db::SqlQuote("o'NEIL|2"); // keys compare without regard to case
        // A query and the value of field in its first row, or with no field named, its row count.
        const std::tuple<QString, QString, QString> queries[] = {
            {"", "1", "SELECT * from tblCodelink"},
            {"ReturnValue", "R1",
             "SELECT tblCodelink.* From tblCodelink WHERE (((tblCodelink.ScanValue)='" + key +
                 "'));"},
            {"String", "<RetVal><TAB><UoM><RET>",
             "SELECT tblAppendStr.* From tblAppendStr WHERE (((tblAppendStr.Name)='" +
                 db::SqlQuote("Tab Unit Enter") + "'));"},
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
    }
}
