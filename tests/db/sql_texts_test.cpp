// Every SQL text the program sends is written in the dialect of its original database engine.
// These tests run each of them, as the program builds them, against the shipped files.
#include "db/db_path.h"
#include "platform/app_error.h"
#include "platform/database.h"
#include "support/program_folder_fixture.h"

#include <gtest/gtest.h>

using platform::Database;
using testsupport::TempProgramFolder;

namespace {

int rows(Database& db, const QString& sql) {
    return db.openRecordset(sql).recordCount();
}

QString first(Database& db, const QString& sql, const QString& field) {
    platform::Recordset rs = db.openRecordset(sql);
    return rs.eof() ? QString("<none>") : rs.value(field).toString();
}

} // namespace

TEST(ProgramSqlTexts, TranslationDatabaseStatements) {
    TempProgramFolder folder;
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('O''Neil|2', 'R1', 'd', 1);"
                             "INSERT INTO tblManual VALUES ('m1', 'r1');"
                             "INSERT INTO tblImportErrors VALUES ('s', 'r', 'e', 1);"
                             "INSERT INTO tblPreview VALUES ('s', 'r', 1);"
                             "UPDATE tblAppendStr SET Use = 6 WHERE Name = 'Tab';"
                             "UPDATE tblAppendStr SET Use = 5 WHERE Name = 'Enter';");
    Database db = Database::open(folder.file("dbscan.mdb"));
    const QString key = db::SqlQuote("O'Neil|2");

    EXPECT_EQ(rows(db, "SELECT * FROM tblSettings"), 1);
    EXPECT_EQ(rows(db, "SELECT tblSettings.* FROM tblSettings"), 1);
    EXPECT_EQ(rows(db, "SELECT * from tblCodelink"), 1);
    EXPECT_EQ(first(db,
                    "SELECT tblCodelink.* From tblCodelink WHERE (((tblCodelink.ScanValue)='" +
                        key + "'));",
                    "ReturnValue"),
              "R1");
    EXPECT_EQ(first(db,
                    "SELECT tblAppendStr.* From tblAppendStr WHERE (((tblAppendStr.Name)='" +
                        db::SqlQuote("Tab Unit Enter") + "'));",
                    "String"),
              "<RetVal><TAB><UoM><RET>");
    EXPECT_EQ(first(db,
                    "SELECT tblAppendStr.String From tblAppendStr WHERE "
                    "(((tblAppendStr.Name)='Tab'));",
                    "String"),
              "<RetVal><TAB>");
    EXPECT_EQ(first(db,
                    "SELECT tblAppendStr.Use From tblAppendStr Where (((tblAppendStr.Use) > 0)) "
                    "ORDER BY tblAppendStr.Use;",
                    "Use"),
              "5");
    EXPECT_EQ(first(db,
                    "SELECT tblAppendStr.Name From tblAppendStr Where (((tblAppendStr.Use) > 0)) "
                    "ORDER BY tblAppendStr.Use DESC;",
                    "Name"),
              "Tab");

    EXPECT_EQ(
        db.execute("DELETE From tblCodelink WHERE (((tblCodelink.ScanValue)='" + key + "'));"), 1);
    EXPECT_EQ(db.execute("DELETE * FROM tblManual;"), 1);
    EXPECT_EQ(db.execute("DELETE * from tblImportErrors"), 1);
    EXPECT_EQ(db.execute("DELETE * from tblPreview"), 1);
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('a', 'b', 'c', 1);"
                             "INSERT INTO tblImportErrors VALUES ('s', 'r', 'e', 1);"
                             "INSERT INTO tblPreview VALUES ('s', 'r', 1);");
    EXPECT_EQ(db.execute("DELETE * FROM tblCodelink"), 1);
    EXPECT_EQ(db.execute("Delete From tblImportErrors"), 1);
    EXPECT_EQ(db.execute("Delete From tblPreview"), 1);
}

TEST(ProgramSqlTexts, DefinitionAndKeyDatabaseStatements) {
    TempProgramFolder folder;
    Database accsys = Database::open(folder.file("accsys.mdb"));
    const QString qb = "QuickBooks";
    EXPECT_EQ(rows(accsys, "SELECT Accounting FROM tblAccounting;"), 3);
    platform::Recordset flags = accsys.openRecordset(
        "SELECT tblAccounting.UseQBSDK, tblAccounting.UseIFF, tblAccounting.UseTDF, "
        "tblAccounting.UseCSV, tblAccounting.Country, tblAccounting.UseQBSDK7 From tblAccounting "
        "WHERE (((tblAccounting.Accounting)='" +
        qb + "'));");
    ASSERT_EQ(flags.fieldCount(), 6);
    EXPECT_EQ(flags.value(4).toString(), "US");
    EXPECT_EQ(flags.value(5).toInt(), 1);
    EXPECT_EQ(rows(accsys, "SELECT tblAccounting.UseQBSDK, tblAccounting.UseIFF, "
                           "tblAccounting.UseTDF, tblAccounting.UseCSV From tblAccounting WHERE "
                           "(((tblAccounting.Accounting)='Peachtree'));"),
              1);
    EXPECT_EQ(rows(accsys, "SELECT * FROM tblImport WHERE (tblImport.Accounting = '" + qb +
                               "' and tblImport.Control = 'cmbItemScan0');"),
              6);
    EXPECT_EQ(first(accsys,
                    "SELECT * FROM tblImport WHERE (tblImport.Accounting = '" + qb +
                        "' and tblImport.Control = 'cmbItemDescrip') ORDER BY Position;",
                    "default"),
              "1");
    EXPECT_EQ(first(accsys,
                    "SELECT Position from tblImport where (tblImport.Accounting = '" + qb +
                        "' and tblImport.Control = 'cmbItemScan0' and tblImport.Field = "
                        "'Custom Field 3');",
                    "Position"),
              "24");
    EXPECT_EQ(first(accsys,
                    "SELECT Position from tblImport where (tblImport.Accounting = '" + qb +
                        "' and tblImport.Field = 'Purchase Description');",
                    "Position"),
              "7");
    EXPECT_EQ(rows(accsys, "SELECT Position from tblImport where (tblImport.Accounting = '" + qb +
                               "' and tblImport.Control = 'cmbItemScan0');"),
              6);
    EXPECT_EQ(rows(accsys, "SELECT tblExclude.Code, tblExclude.Exclude, tblExclude.Accounting, "
                           "tblExclude.Type From tblExclude WHERE (((tblExclude.Accounting)='" +
                               qb + "') AND ((tblExclude.Type)='Products'));"),
              7);
    EXPECT_EQ(rows(accsys, "SELECT * FROM tblExclude WHERE accounting = '" + qb +
                               "' and Type = 'Products' and Code = 'SERV'"),
              1);
    EXPECT_EQ(first(accsys,
                    "SELECT * FROM tblExcludeLocation WHERE accounting = 'QuickBooks 2007 and "
                    "earlier' AND type = 'Products'",
                    "location"),
              "5");

    Database keys = Database::open(folder.path() + "/CmdKeys");
    platform::Recordset all = keys.openRecordset("SELECT Keys.* From Keys ORDER BY Keys.Index;");
    ASSERT_EQ(all.recordCount(), 27);
    all.moveLast();
    EXPECT_EQ(all.value("Value").toString(), "<F12>");
    EXPECT_EQ(first(keys, "SELECT Keys.Index From Keys WHERE (((Keys.Name)= 'Tab' ));", "Index"),
              "0");
    EXPECT_EQ(first(keys, "SELECT Keys.Index From Keys WHERE (((Keys.Ascii)= 113 ));", "Index"),
              "16");
}

TEST(ProgramSqlTexts, PreparedButNeverRunStatementFailsCleanly) {
    // The item map window prepares "SELECT RetFld and ScanFld and Source from tblSettings" and
    // then opens the table by name instead; the text names fields that do not exist.
    TempProgramFolder folder;
    Database db = Database::open(folder.file("dbscan.mdb"));
    EXPECT_THROW(db.openRecordset("SELECT RetFld and ScanFld and Source from tblSettings"),
                 platform::AppError);
}
