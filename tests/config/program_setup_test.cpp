// The program setup window: accounting systems, start on open, the shared database check on real
// files, and the return pattern as it is loaded and saved.
#include "config/frm_cmd_keys.h"
#include "config/frm_setup.h"
#include "config_test_support.h"
#include "core/shared_state.h"
#include "db/db_test_support.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <gtest/gtest.h>

using testsupport::child;

namespace {

struct ProgramSetup : configtest::SetupWindowTest<config::frmSetup> {
    // Saves with "Use Shared Database" pointing at path; the message shown, if any.
    QString saveShared(const QString& path) {
        dialogs.clear();
        if (!control<QCheckBox>("ChUseSharedDB")->isChecked())
            control<QCheckBox>("ChUseSharedDB")->click();
        control<QLineEdit>("TxtDBLocation")->setText(path);
        control<QPushButton>("cmdSave")->click();
        return dialogs.messageTexts().join('|');
    }
};

} // namespace

TEST_F(ProgramSetup, LoadsTheListsAndSaveWritesTheRowAndTheDisplays) {
    folder.sql("dbscan.mdb", "UPDATE tblSettings SET Accounting = 'Peachtree', autostart = 1, "
                             "append = '<RetVal><TAB>'");
    window.Load();
#ifdef Q_OS_WIN
    EXPECT_TRUE(window.findChild<QLabel*>("lblFilesOnly")) << "the Windows build shares files only";
#endif
    auto* systems = control<QComboBox>("cmbAccSystem");
    ASSERT_EQ(systems->count(), 3);
    EXPECT_GE(systems->findText("QuickBooks 2007 and earlier"), 0);
    EXPECT_EQ(systems->currentText(), "Peachtree");
    EXPECT_TRUE(control<QCheckBox>("chkAutoStart")->isChecked());
    EXPECT_TRUE(control<QGroupBox>("FrameDBPath")->isHidden());
    EXPECT_EQ(control<QLineEdit>("TxtApendStr")->text(), "<RetVal><TAB>");
    EXPECT_EQ(control<QComboBox>("CmbNames")->currentText(), "Tab");
    EXPECT_TRUE(window.saved());

    systems->setCurrentIndex(systems->findText("QuickBooks"));
    control<QCheckBox>("chkAutoStart")->click();
    control<QLineEdit>("TxtApendStr")->setText("<RetVal><F2>");
    EXPECT_FALSE(window.saved());
    control<QPushButton>("cmdSave")->click();
    EXPECT_TRUE(window.saved());
    EXPECT_EQ(stored("Accounting, autostart, append, IsDBShared"), "QuickBooks|0|<RetVal><F2>|0");
    EXPECT_EQ(main.accounting, "QuickBooks");
    EXPECT_EQ(main.append, "<RetVal><F2>");
    EXPECT_EQ(core::shared().Accounting, "QuickBooks");
    EXPECT_FALSE(core::shared().autostart);

    control<QCheckBox>("ChUseSharedDB")->click();
    EXPECT_FALSE(control<QGroupBox>("FrameDBPath")->isHidden());
    dialogs.answer(platform::Answer::No);
    window.close();
    EXPECT_EQ(dialogs.messageTexts(), QStringList{"Would you like to save your changes?"});
    EXPECT_EQ(stored("IsDBShared"), "0") << "No saves nothing";
}

TEST_F(ProgramSetup, ASharedFileIsCheckedAndUpgradedBeforeItIsUsed) {
    const QString shared = folder.file("Shared.MDB");
    ASSERT_TRUE(QFile::copy(db(), shared));
    testsupport::runSql(shared,
                        "ALTER TABLE tblCodelink DROP COLUMN Unit;"
                        "UPDATE tblAppendStr SET String = '<TAB>' WHERE Name = 'Tab';"
                        "UPDATE tblAppendStr SET String = 'x<RetVal>' WHERE Name = 'Nothing'");
    window.Load();
    EXPECT_EQ(saveShared(shared), "");
    EXPECT_EQ(stored("IsDBShared, SharedDataBase"), "1|" + shared);
    EXPECT_TRUE(core::shared().IsDBShared);
    EXPECT_TRUE(platform::Database::open(shared).hasField("tblCodelink", "Unit"));
    EXPECT_EQ(testsupport::rows(shared, "SELECT String FROM tblAppendStr WHERE Name IN ('Tab', "
                                        "'Nothing') ORDER BY Name"),
              QStringList({"x<RetVal>", "<RetVal><TAB>"}));

    // Files that cannot serve: the message names the file and what is wrong, nothing is written
    // into them, sharing is switched off and the stored path stays. (Every reason a file cannot
    // be opened at all is told by the engine layer; its tests go through each.)
    const QString noAppend = folder.file("noappend.mdb");
    QFile::copy(db(), noAppend);
    testsupport::runSql(noAppend, "DROP TABLE tblAppendStr");
    const QString jet =
        testsupport::writeFile(folder.file("legacy.mdb"),
                               QByteArray("\0\1\0\0Standard Jet DB\0", 20) + QByteArray(2000, 0));
    QDir(folder.path()).mkdir("folder.mdb");
    const QString backup = folder.file("Shared.mdb.bak");
    QFile::copy(shared, backup);

    const std::vector<std::pair<QString, QString>> refused = {
        {backup, "must end in .mdb"},
        {noAppend, "no table tblAppendStr"},
        {jet, "Jet/Access database"},
        {folder.file("folder.mdb"), "a folder"},
    };
    for (const auto& [path, why] : refused) {
        const QByteArray before = dbtest::fileHash(path);
        const QString message = saveShared(path);
        EXPECT_TRUE(message.startsWith(QDir::toNativeSeparators(path) +
                                       "\r\nIs Not a Valid Shared Database\r\n"))
            << message.toStdString();
        EXPECT_TRUE(message.contains(why)) << message.toStdString();
        EXPECT_EQ(dbtest::fileHash(path), before) << "nothing written into " << path.toStdString();
        EXPECT_EQ(stored("IsDBShared, SharedDataBase"), "0|" + shared);
        EXPECT_FALSE(core::shared().IsDBShared);
    }
}

// Left at start (Retry/Cancel answered Cancel), it stays the stored choice.
TEST_F(ProgramSetup, SavingOtherSettingsKeepsASharedDatabaseLeftForThisRun) {
    const QString shared = folder.file("Shared.mdb");
    folder.sql("dbscan.mdb",
               "UPDATE tblSettings SET IsDBShared = 1, SharedDataBase = '" + shared + "'");
    core::shared().IsDBShared = false;
    window.Load();
    EXPECT_TRUE(control<QCheckBox>("ChUseSharedDB")->isChecked());
    control<QCheckBox>("chkAutoStart")->click();
    control<QPushButton>("cmdSave")->click();
    EXPECT_EQ(dialogs.messageTexts(), QStringList{});
    EXPECT_EQ(stored("autostart, IsDBShared, SharedDataBase"), "1|1|" + shared);
    EXPECT_FALSE(core::shared().IsDBShared) << "this run goes on with the local table";
}

TEST_F(ProgramSetup, ChangesStayUnsavedAcrossActivationAndCommandKeysUntilSaveOrCancel) {
    window.Load();
    const QString before = stored("autostart, append");
    ASSERT_TRUE(testsupport::activate(window));
    control<QCheckBox>("chkAutoStart")->click();
    control<QComboBox>("CmbNames")->setEditText("Typed, not stored");
    // A key sent from Command Keys, and back to the setup window.
    control<QPushButton>("CmdCodes")->click();
    auto* keys = window.findChild<config::frmCmdKeys*>();
    ASSERT_TRUE(keys && QTest::qWaitForWindowActive(keys));
    child<QRadioButton>(*keys, "OptKey16")->click(); // F2
    child<QPushButton>(*keys, "CmdSend")->click();
    ASSERT_TRUE(testsupport::activate(window));
    EXPECT_EQ(control<QLineEdit>("TxtApendStr")->text(), "<RetVal><RET><F2>");
    EXPECT_EQ(control<QComboBox>("CmbNames")->currentText(), "Typed, not stored");

    configtest::expectCloseAsksAndCancelStays(window, dialogs);

    control<QPushButton>("cmdCancel")->click();
    EXPECT_FALSE(control<QCheckBox>("chkAutoStart")->isChecked()) << "the stored settings";
    EXPECT_EQ(control<QLineEdit>("TxtApendStr")->text(), "<RetVal><RET>");
    EXPECT_EQ(control<QComboBox>("CmbNames")->currentText(), "Enter");
    dialogs.clear();
    window.close();
    EXPECT_TRUE(dialogs.messages().empty()) << "nothing left to save";
    EXPECT_EQ(stored("autostart, append"), before);
}
