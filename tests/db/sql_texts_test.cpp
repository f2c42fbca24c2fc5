// Every SQL text the program sends is written in the dialect of its original database engine.
// These tests run each of them, as the program builds them, against the shipped files, and those
// on the tables of a shared database against a PostgreSQL server too.
#include "db/db_path.h"
#include "db/shared_server.h"
#include "platform/database.h"
#include "support/pg_server.h"
#include "support/program_folder_fixture.h"

#include <gtest/gtest.h>

using platform::Database;
using testsupport::TempProgramFolder;

namespace {

// What a query must give: the value of field in its first row, or with no field named, its
// number of rows.
struct Query {
    QString field;
    QString expected;
    QString sql;
};

void expectResults(Database& db, const std::vector<Query>& queries) {
    for (const Query& query : queries) {
        platform::Recordset rs = db.openRecordset(query.sql);
        const QString result = query.field.isEmpty() ? QString::number(rs.recordCount())
                               : rs.eof()            ? QString("<none>")
                                                     : rs.value(query.field).toString();
        EXPECT_EQ(result, query.expected) << query.sql.toStdString();
    }
}

void expectOneRowDeleted(Database& db, const QStringList& statements) {
    for (const QString& sql : statements)
        EXPECT_EQ(db.execute(sql), 1) << sql.toStdString();
}

// The statements on the tables that a shared database holds as well, run on a file or a server.
void expectSharedTableStatements(Database& db) {
    const auto addRows = [&] {
        db.execute("INSERT INTO tblCodelink (ScanValue, ReturnValue, Descrip, Unit) VALUES "
                   "('O''Neil|2', 'R1', 'd', 1)");
        db.execute("INSERT INTO tblManual (ScanValue, ReturnValue) VALUES ('m1', 'r1')");
        db.execute("INSERT INTO tblImportErrors (ScanCode, ReturnCode, ErrorDescription, Unit) "
                   "VALUES ('s', 'r', 'e', 1)");
    };
    addRows();
    db.execute("UPDATE tblAppendStr SET Use = 6 WHERE Name = 'Tab'");
    db.execute("UPDATE tblAppendStr SET Use = 5 WHERE Name = 'Enter'");
    const QString key = db::SqlQuote("o'NEIL|2"); // keys compare without regard to case
    expectResults(
        db,
        {{"", "1", "SELECT * from tblCodelink"},
         {"ReturnValue", "R1",
          "SELECT tblCodelink.* From tblCodelink WHERE (((tblCodelink.ScanValue)='" + key + "'));"},
         {"String", "<RetVal><TAB><UoM><RET>",
          "SELECT tblAppendStr.* From tblAppendStr WHERE (((tblAppendStr.Name)='" +
              db::SqlQuote("Tab Unit Enter") + "'));"},
         {"String", "<RetVal><TAB>",
          "SELECT tblAppendStr.String From tblAppendStr WHERE (((tblAppendStr.Name)='Tab'));"},
         {"Use", "5",
          "SELECT tblAppendStr.Use From tblAppendStr Where (((tblAppendStr.Use) > 0)) ORDER BY "
          "tblAppendStr.Use;"},
         {"Name", "Tab",
          "SELECT tblAppendStr.Name From tblAppendStr Where (((tblAppendStr.Use) > 0)) ORDER BY "
          "tblAppendStr.Use DESC;"}});
    expectOneRowDeleted(db,
                        {"DELETE From tblCodelink WHERE (((tblCodelink.ScanValue)='" + key + "'));",
                         "DELETE * FROM tblManual;", "DELETE * from tblImportErrors"});
    addRows();
    expectOneRowDeleted(db, {"DELETE * FROM tblCodelink", "Delete From tblImportErrors"});
}

} // namespace

TEST(ProgramSqlTexts, TranslationDatabaseStatements) {
    TempProgramFolder folder;
    Database db = Database::open(folder.file("dbscan.mdb"));
    expectSharedTableStatements(db);
    expectResults(db, {{"", "1", "SELECT * FROM tblSettings"},
                       {"", "1", "SELECT tblSettings.* FROM tblSettings"}});
    const QString row = "INSERT INTO tblPreview VALUES ('s', 'r', 1)";
    db.execute(row);
    expectOneRowDeleted(db, {"DELETE * from tblPreview"});
    db.execute(row);
    expectOneRowDeleted(db, {"Delete From tblPreview"});
}

TEST(ProgramSqlTexts, SharedTableStatementsOnAServer) {
    testsupport::PgServer server;
    db::InitSharedServer(server.uri("orvane"), false);
    Database db = Database::open(server.uri("orvane"));
    ASSERT_EQ(db.engine(), platform::Engine::Postgres);
    expectSharedTableStatements(db);
}

TEST(ProgramSqlTexts, DefinitionAndKeyDatabaseStatements) {
    TempProgramFolder folder;
    Database accsys = Database::open(folder.file("accsys.mdb"));
    const QString qb = "(tblImport.Accounting = 'QuickBooks' and tblImport.";
    expectResults(
        accsys,
        {{"", "3", "SELECT Accounting FROM tblAccounting;"},
         {"", "1",
          "SELECT tblAccounting.UseQBSDK, tblAccounting.UseIFF, tblAccounting.UseTDF, "
          "tblAccounting.UseCSV From tblAccounting WHERE "
          "(((tblAccounting.Accounting)='Peachtree'));"},
         {"", "6", "SELECT * FROM tblImport WHERE " + qb + "Control = 'cmbItemScan0');"},
         {"default", "1",
          "SELECT * FROM tblImport WHERE " + qb + "Control = 'cmbItemDescrip') ORDER BY Position;"},
         {"Position", "24",
          "SELECT Position from tblImport where " + qb +
              "Control = 'cmbItemScan0' and tblImport.Field = 'Custom Field 3');"},
         {"Position", "7",
          "SELECT Position from tblImport where " + qb + "Field = 'Purchase Description');"},
         {"", "6", "SELECT Position from tblImport where " + qb + "Control = 'cmbItemScan0');"},
         {"", "7",
          "SELECT tblExclude.Code, tblExclude.Exclude, tblExclude.Accounting, tblExclude.Type From "
          "tblExclude WHERE (((tblExclude.Accounting)='QuickBooks') AND "
          "((tblExclude.Type)='Products'));"},
         {"", "1",
          "SELECT * FROM tblExclude WHERE accounting = 'QuickBooks' and Type = 'Products' and Code "
          "= 'SERV'"},
         {"location", "5",
          "SELECT * FROM tblExcludeLocation WHERE accounting = 'QuickBooks 2007 and earlier' AND "
          "type = 'Products'"}});
    platform::Recordset flags = accsys.openRecordset(
        "SELECT tblAccounting.UseQBSDK, tblAccounting.UseIFF, tblAccounting.UseTDF, "
        "tblAccounting.UseCSV, tblAccounting.Country, tblAccounting.UseQBSDK7 From tblAccounting "
        "WHERE (((tblAccounting.Accounting)='QuickBooks'));");
    ASSERT_EQ(flags.fieldCount(), 6);
    EXPECT_EQ(flags.value(4).toString(), "US");
    EXPECT_EQ(flags.value(5).toInt(), 1);

    Database keys = Database::open(folder.path() + "/CmdKeys");
    platform::Recordset all = keys.openRecordset("SELECT Keys.* From Keys ORDER BY Keys.Index;");
    ASSERT_EQ(all.recordCount(), 27);
    all.moveLast();
    EXPECT_EQ(all.value("Value").toString(), "<F12>");
    expectResults(keys,
                  {{"Index", "0", "SELECT Keys.Index From Keys WHERE (((Keys.Name)= 'Tab' ));"},
                   {"Index", "16", "SELECT Keys.Index From Keys WHERE (((Keys.Ascii)= 113 ));"}});
}
