#include "core/ini_file.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "platform/app_error.h"
#include "platform/conversions.h"
#include "support/checks.h"
#include "support/program_folder_fixture.h"

#include <QFile>

#include <gtest/gtest.h>

using core::shared;
using testsupport::errorOf;
using testsupport::TempProgramFolder;

namespace {

// The settings fields of the shared record, in the order of the tblSettings columns.
QStringList loaded() {
    const core::SharedState& s = shared();
    const auto flag = [](bool value) { return QString(value ? "1" : "0"); };
    return {s.Accounting, s.ComPort,         s.PortSetting, flag(s.RetAsScan), flag(s.CRLF),
            flag(s.ACK),  flag(s.autostart), s.append,      s.SharedDataBase,  flag(s.IsDBShared)};
}

} // namespace

TEST(LoadSettingsTest, ReadsTheProgramFoldersRowKeepsTheRecordWhenThereIsNoneAndFailsOnNull) {
    TempProgramFolder folder;
    const QStringList shipped = {"QuickBooks", "1", "9600,N,8,1", "0", "1",
                                 "0",          "0", "{RetVal}~",  "",  "0"};
    core::LoadSettings();
    EXPECT_EQ(loaded(), shipped);

    // A shared database does not redirect the settings: they stay in the program folder's file.
    folder.sql("dbscan.mdb", "UPDATE tblSettings SET IsDBShared = 1, RetAsScan = 1, "
                             "SharedDataBase = '/nowhere/shared.mdb', Accounting = 'Peachtree'");
    core::LoadSettings();
    EXPECT_EQ(loaded(), QStringList({"Peachtree", "1", "9600,N,8,1", "1", "1", "0", "0",
                                     "{RetVal}~", "/nowhere/shared.mdb", "1"}));
    folder.sql("dbscan.mdb", "UPDATE tblSettings SET ComPort = NULL, PortSetting = NULL, "
                             "SharedDataBase = NULL, IsDBShared = 0, RetAsScan = 0, "
                             "Accounting = 'QuickBooks'");
    core::LoadSettings();
    EXPECT_EQ(loaded(), shipped);

    // An empty table keeps the record; a missing file is an error.
    folder.sql("dbscan.mdb", "DELETE FROM tblSettings");
    shared().ComPort = "previous";
    core::LoadSettings();
    EXPECT_EQ(shared().ComPort, "previous");

    QFile::remove(folder.file("dbscan.mdb"));
    EXPECT_EQ(errorOf([] { core::LoadSettings(); }).number, platform::err::FileNotFound);
    EXPECT_FALSE(QFile::exists(folder.file("dbscan.mdb"))) << "loading must not create the file";

    for (const char* column : {"CRLF", "autostart", "Accounting", "append"}) {
        SCOPED_TRACE(column);
        TempProgramFolder fresh; // which zeroes the record
        const QStringList before = loaded();
        fresh.sql("dbscan.mdb", QString("UPDATE tblSettings SET %1 = NULL").arg(column));
        EXPECT_EQ(errorOf([] { core::LoadSettings(); }).number, platform::err::InvalidUseOfNull);
        EXPECT_EQ(loaded(), before) << "a failed load leaves the record as it was";
    }
}

TEST(IniValueTest, PrefixMatchFirstEqualsAndMissingFile) {
    TempProgramFolder folder;
    EXPECT_EQ(core::GetIniValue("Timeout"), "10"); // the shipped file
    folder.writeIni("Timeout2=5\r\nTimeout=20\r\nKeyDelay=a=b\r\n");
    EXPECT_EQ(core::GetIniValue("Timeout"), "5") << "only the start of a line is compared";
    EXPECT_EQ(core::GetIniNumber("Timeout"), 5);
    EXPECT_EQ(core::GetIniValue("KeyDelay"), "a=b");
    EXPECT_EQ(core::GetIniValue("timeout"), "") << "keys are case-sensitive";
    QFile::remove(folder.file("transltr.ini"));
    EXPECT_EQ(core::GetIniValue("Timeout"), "");
    EXPECT_EQ(core::GetIniNumber("Timeout"), 0);
}

TEST(ConversionsTest, LenientNumbersAndSixteenBitRange) {
    for (const auto& [text, number] :
         {std::pair{"20\r", 20}, {" 1 2.5e1x", 125}, {"abc", 0}, {"&H1F", 31}, {"-7", -7}})
        EXPECT_EQ(platform::val(text), number) << text;
    EXPECT_EQ(platform::toInt16(2.5), 2);
    EXPECT_EQ(platform::toInt16(3.5), 4);
    EXPECT_EQ(errorOf([] { platform::toInt16(32768); }).number, platform::err::Overflow);
    EXPECT_EQ(platform::numberToText(1), "1");
    EXPECT_EQ(platform::numberToText(2.5), "2.5");
    EXPECT_EQ(errorOf([] { platform::toDouble(QVariant("EA")); }).number,
              platform::err::TypeMismatch);
}
