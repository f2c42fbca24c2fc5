// The import engine on real files and a real database: Windows and Unicode text, the IIF and
// delimited paths with their rules, and a failure in the middle of a file. (Quoting is checked
// on real-world lines, and the field cutter by its fuzz target.)
#include "import/import_engine.h"
#include "import/import_test_support.h"
#include "import/text_lines.h"
#include "support/checks.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <tuple>

using testsupport::writeFile;

TEST(TextLines, Utf8AndWindows1252WithEitherLineEnd) {
    QTemporaryDir dir;
    const auto read = [&](const QByteArray& bytes) {
        import::TextLines lines(writeFile(dir.filePath("lines.txt"), bytes));
        QStringList all;
        for (QString line; lines.next(line);)
            all << line;
        EXPECT_EQ(lines.lineCount(), all.size());
        return all;
    };
    EXPECT_EQ(read("Cl\xE9 \xE0 molette\r\n\xBD in \x80\r\n"),
              QStringList({"Clé à molette", "½ in €"}));
    EXPECT_EQ(read("\xEF\xBB\xBF"
                   "Cl\xC3\xA9\nx"),
              QStringList({"Clé", "x"}));
    EXPECT_EQ(read("caf\xC3"), QStringList({"caf\u00C3"})) << "a cut UTF-8 character is 1252";
    EXPECT_EQ(read(QByteArray("\xFF\xFE"
                              "C\0l\0\xE9\0\r\0\n\0\x0A\x01\r\0\n\0",
                              18)),
              QStringList({"Cl\u00E9", "\u010A"}))
        << "UTF-16 with its mark; a unit whose low byte is a line feed is a character";
    EXPECT_EQ(read(""), QStringList());
    EXPECT_EQ(read("R1\tS1\rR2\t\"two\nlines\"\rR3\rR4\r\n\x1A"),
              QStringList({"R1\tS1", "R2\t\"two\nlines\"", "R3", "R4"}))
        << "lines that end in CR alone (a line feed right after one belongs to it), and the "
           "end-of-file mark of DOS programs";
    EXPECT_EQ(read("A\tB\x1A"), QStringList({"A\tB"}));
    EXPECT_EQ(read("\xEF\xBB\xBF"
                   "Caf\xC3\xA9\nx\x96y"),
              QStringList({"Caf\u00C3\u00A9", "x\u2013y"}))
        << "the mark of a file that is not all UTF-8 is no text";
}

// Lines are cut from pieces read ahead: lines, characters and UTF-16 units that cross the end of
// a piece come out whole, and the position read ends at the file's size.
TEST(TextLines, LinesAcrossTheReadAheadPieces) {
    QTemporaryDir dir;
    QStringList written;
    for (int i = 0; written.size() < 2500; ++i)
        written << QString(i % 211, u'x') + QStringLiteral("é½€") + QString::number(i);
    const QString text = written.join(QStringLiteral("\r\n"));
    const QByteArray utf16(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
    for (const QByteArray& bytes : {text.toUtf8(), QByteArray("\xFF\xFE") + utf16}) {
        import::TextLines lines(writeFile(dir.filePath("long.txt"), bytes));
        QStringList read;
        for (QString line; lines.next(line);)
            read << line;
        EXPECT_EQ(read, written);
        EXPECT_EQ(lines.position(), lines.size());
    }
    // Lines that end in CR alone, one of them in CR LF split between two pieces.
    const QByteArray first(65535, 'x');
    import::TextLines lines(writeFile(dir.filePath("cr.txt"), first + "\r\nb\rc\rd"));
    QStringList read;
    for (QString line; lines.next(line);)
        read << line;
    EXPECT_EQ(read.size(), 4);
    EXPECT_TRUE(read.value(0) == first);
    EXPECT_EQ(read.mid(1), QStringList({"b", "c", "d"}));
}

using Engine = importtest::ImportTest;
using importtest::iifExport;
using importtest::iifItem;

TEST_F(Engine, IifItemsOverwriteAddOrBecomeErrorRowsUpToEndgrp) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('OLD-1', 'x', 'y', 5);"
                             "INSERT INTO tblImportErrors VALUES ('s', 'r', 'old', 1);");
    const QString file =
        write("items.iif", iifExport(iifItem("Wrench", "Cl\xE9 \xE0 molette \xBD in", "0012345") +
                                     iifItem("NoCode", "no scan field") +
                                     iifItem("Again", "overwritten", "old-1") +
                                     iifItem("Long", QByteArray(300, 'd'), "0077") + "!ENDGRP\r\n" +
                                     iifItem("After", "ignored", "0055")));
    const import::IifImport byName{file,        "QuickBooks",  "Custom Field 1",
                                   "Item Name", "Description", {}};
    EXPECT_EQ(import::ImportIifFile(byName, progress).written(), 3);
    EXPECT_EQ(codelink(),
              QStringList({"0012345|Wrench|Clé à molette ½ in|1",
                           "0077|Long|" + QString(253, 'd') + "|1", "old-1|Again|overwritten|1"}));
    EXPECT_EQ(errors(), QStringList());

    // The return value read from a column that is empty: existing scan values are overwritten
    // with it, new ones become error rows without their scan value.
    import::IifImport emptyReturn = byName;
    emptyReturn.source = write(
        "second.iif", iifExport(iifItem("Wrench", "d", "0012345") + iifItem("New", "d", "0101")));
    emptyReturn.returnField = "Purchase Description";
    const import::ImportResult again = import::ImportIifFile(emptyReturn, progress);
    EXPECT_EQ(std::tuple(again.written(), again.errors), std::tuple(1, 1));
    EXPECT_EQ(errors(), QStringList{"Return Code is blank| | |1"});
    EXPECT_EQ(folder.rows("SELECT ReturnValue FROM tblCodelink WHERE ScanValue = '0012345'"),
              QStringList{""});
}

TEST_F(Engine, DelimitedListsDeleteSelfTranslatingCodesAndReportMissingValues) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('SAME', 'x', NULL, 1);"
                             "INSERT INTO tblCodelink VALUES ('', 'empty scan', NULL, 1);");
    const QString file =
        write("items.csv", "R1,O'Neil|2,Desc\nSAME,SAME\nonly one column\nR3,,d\n\n" +
                               QByteArray(200, 'r') + "," + QByteArray(200, 's') +
                               ",,extra\nRet,Scan,D,more,columns");
    const import::ImportResult result = import::ImportDelimitedFile(file, u',', progress);
    EXPECT_EQ(std::tuple(result.lines, result.written(), result.removed, result.errors),
              std::tuple(7, 3, 2, 2));
    EXPECT_EQ(codelink(), QStringList({"O'Neil|2|R1|Desc|1", "Scan|Ret|D|1",
                                       QString(100, 's') + "|" + QString(160, 'r') + "| |1"}));
    EXPECT_EQ(errors(), QStringList({"No Scan Value| |only one column|1", "No Scan Value| |R3|1"}));
}

TEST_F(Engine, AFailureInTheMiddleKeepsTheRowsBeforeIt) {
    folder.sql("dbscan.mdb",
               "CREATE TRIGGER refuse BEFORE INSERT ON tblCodelink WHEN "
               "NEW.ScanValue = 'BOOM' BEGIN SELECT RAISE(ABORT, 'disk trouble'); END;");
    QByteArray lines;
    for (int i = 0; i < 9000; ++i)
        lines += "R" + QByteArray::number(i) + "\tS" + QByteArray::number(i) + "\r\n";
    const QString file = write("items.txt", lines + "R\tBOOM\r\nAFTER\tLAST\r\n");
    const auto error =
        testsupport::errorOf([&] { import::ImportDelimitedFile(file, u'\t', progress); });
    EXPECT_TRUE(testsupport::contains(error.description, "disk trouble", "line 9001"));
    EXPECT_EQ(folder.rows("SELECT count(*) FROM tblCodelink"), QStringList{"9000"});
}
