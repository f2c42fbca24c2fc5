// Every SQL text the program sends is written in the dialect of its original database engine.
// These tests run each of them, as the program builds them, against the shipped files.
#include "db/db_path.h"
#include "platform/database.h"
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

} // namespace

TEST(ProgramSqlTexts, TranslationDatabaseStatements) {
    TempProgramFolder folder;
    const QString rows = "INSERT INTO tblCodelink VALUES ('O''Neil|2', 'R1', 'd', 1);"
                         "INSERT INTO tblManual VALUES ('m1', 'r1');"
                         "INSERT INTO tblImportErrors VALUES ('s', 'r', 'e', 1);"
                         "INSERT INTO tblPreview VALUES ('s', 'r', 1);";
    folder.sql("dbscan.mdb", rows + "UPDATE tblAppendStr SET Use = 6 WHERE Name = 'Tab';"
                                    "UPDATE tblAppendStr SET Use = 5 WHERE Name = 'Enter';");
    Database db = Database::open(folder.file("dbscan.mdb"));
    const QString key = db::SqlQuote("O'Neil|2");
    expectResults(
        db,
        {{"", "1", "SELECT * FROM tblSettings"},
         {"", "1", "SELECT tblSettings.* FROM tblSettings"},
         {"", "1", "SELECT * from tblCodelink"},
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
                         "DELETE * FROM tblManual;", "DELETE * from tblImportErrors",
                         "DELETE * from tblPreview"});
    folder.sql("dbscan.mdb", rows);
    expectOneRowDeleted(
        db, {"DELETE * FROM tblCodelink", "Delete From tblImportErrors", "Delete From tblPreview"});
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
