#include "core/ini_file.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "platform/app_error.h"
#include "platform/conversions.h"
#include "support/errors.h"
#include "support/program_folder_fixture.h"

#include <QFile>

#include <functional>
#include <gtest/gtest.h>

using core::shared;
using testsupport::TempProgramFolder;

namespace {

int errorNumberOf(const std::function<void()>& action) {
    return testsupport::errorOf(action).number;
}

} // namespace

TEST(LoadSettingsTest, ReadsTheShippedRowAndConvertsTheTemplate) {
    TempProgramFolder folder;
    core::LoadSettings();
    EXPECT_EQ(shared().Accounting, "QuickBooks");
    EXPECT_EQ(shared().ComPort, "1");
    EXPECT_EQ(shared().PortSetting, "9600,N,8,1");
    EXPECT_FALSE(shared().RetAsScan);
    EXPECT_TRUE(shared().CRLF);
    EXPECT_FALSE(shared().ACK);
    EXPECT_FALSE(shared().autostart);
    EXPECT_EQ(shared().append, "{RetVal}~");
    EXPECT_EQ(shared().SharedDataBase, "");
    EXPECT_FALSE(shared().IsDBShared);
}

TEST(LoadSettingsTest, NullDefaultsOnlyForPortAndSharedPath) {
    TempProgramFolder folder;
    folder.sql("dbscan.mdb", "UPDATE tblSettings SET ComPort = NULL, PortSetting = NULL, "
                             "SharedDataBase = NULL, RetAsScan = 1, IsDBShared = 1");
    core::LoadSettings();
    EXPECT_EQ(shared().ComPort, "1");
    EXPECT_EQ(shared().PortSetting, "9600,N,8,1");
    EXPECT_EQ(shared().SharedDataBase, "");
    EXPECT_TRUE(shared().RetAsScan); // a check-box state 1 reads as true
    EXPECT_TRUE(shared().IsDBShared);

    for (const char* column : {"CRLF", "autostart", "Accounting", "append"}) {
        SCOPED_TRACE(column);
        TempProgramFolder fresh;
        fresh.sql("dbscan.mdb", QString("UPDATE tblSettings SET %1 = NULL").arg(column));
        EXPECT_EQ(errorNumberOf([] { core::LoadSettings(); }), platform::err::InvalidUseOfNull);
        EXPECT_EQ(shared().Accounting, "") << "a failed load leaves the record as it was";
    }
}

TEST(LoadSettingsTest, EmptyTableKeepsRecordAndMissingFileIsAnError) {
    TempProgramFolder folder;
    folder.sql("dbscan.mdb", "DELETE FROM tblSettings");
    shared().ComPort = "previous";
    core::LoadSettings();
    EXPECT_EQ(shared().ComPort, "previous");

    QFile::remove(folder.file("dbscan.mdb"));
    EXPECT_EQ(errorNumberOf([] { core::LoadSettings(); }), platform::err::FileNotFound);
    EXPECT_FALSE(QFile::exists(folder.file("dbscan.mdb"))) << "loading must not create the file";
}

TEST(LoadSettingsTest, SharedFlagDoesNotRedirectTheSettingsFile) {
    TempProgramFolder folder;
    folder.sql("dbscan.mdb", "UPDATE tblSettings SET IsDBShared = 1, "
                             "SharedDataBase = '/nowhere/shared.mdb', Accounting = 'Peachtree'");
    core::LoadSettings();
    EXPECT_EQ(shared().Accounting, "Peachtree");
    EXPECT_EQ(shared().SharedDataBase, "/nowhere/shared.mdb");
}

TEST(IniValueTest, PrefixMatchFirstEqualsAndMissingFile) {
    TempProgramFolder folder;
    EXPECT_EQ(core::GetIniValue("Timeout"), "10"); // the shipped file
    folder.writeIni("Timeout2=5\r\nTimeout=20\r\nKeyDelay=a=b\r\n");
    EXPECT_EQ(core::GetIniValue("Timeout"), "5") << "only the start of a line is compared";
    EXPECT_EQ(core::GetIniValue("KeyDelay"), "a=b");
    EXPECT_EQ(core::GetIniValue("timeout"), "") << "keys are case-sensitive";
    folder.writeIni("Timeout=20\r\n");
    EXPECT_EQ(platform::toInt16(platform::val(core::GetIniValue("Timeout"))), 20);
    QFile::remove(folder.file("transltr.ini"));
    EXPECT_EQ(core::GetIniValue("Timeout"), "");
}

TEST(ConversionsTest, LenientNumbersAndSixteenBitRange) {
    EXPECT_EQ(platform::val("20\r"), 20);
    EXPECT_EQ(platform::val(" 1 2.5e1x"), 125);
    EXPECT_EQ(platform::val("abc"), 0);
    EXPECT_EQ(platform::val("&H1F"), 31);
    EXPECT_EQ(platform::val("-7"), -7);
    EXPECT_EQ(platform::toInt16(2.5), 2);
    EXPECT_EQ(platform::toInt16(3.5), 4);
    EXPECT_EQ(errorNumberOf([] { platform::toInt16(32768); }), platform::err::Overflow);
    EXPECT_EQ(platform::numberToText(1), "1");
    EXPECT_EQ(platform::numberToText(2.5), "2.5");
    EXPECT_EQ(errorNumberOf([] { platform::toDouble(QVariant("EA")); }),
              platform::err::TypeMismatch);
}
