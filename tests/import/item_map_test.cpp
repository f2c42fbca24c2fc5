// The item map window's checks, lists and settings, and the preview's paging.
#include "core/settings.h"
#include "core/shared_state.h"
#include "import/frm_map.h"
#include "import/frm_preview.h"
#include "support/checks.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using testsupport::child;

namespace {

struct ItemMap : ::testing::Test {
    ItemMap() {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsDir.path());
        core::LoadSettings();
        core::shared().strAppTitle = "Orvane Translator";
    }
    QString write(const QString& name, const QByteArray& bytes) {
        return testsupport::writeFile(folder.file(name), bytes);
    }
    QString lastMessage() const {
        return dialogs.messageTexts().value(dialogs.messages().size() - 1);
    }
    QString setting(const QString& field) {
        return testsupport::rows(folder.file("dbscan.mdb"), "SELECT " + field + " FROM tblSettings")
            .value(0);
    }

    QTemporaryDir settingsDir;
    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
};

} // namespace

TEST_F(ItemMap, CheckedInputsThenAnUpdateThatImportsRemembersTheSourceAndCloses) {
    import::frmMap map;
    map.Load();
    map.show();
    // Neither delimiter list offers the other list's character.
    auto* first = child<QComboBox>(map, "CmbDel0");
    auto* second = child<QComboBox>(map, "CmbDel1");
    EXPECT_EQ(first->currentText() + second->currentText(), ",;");
    EXPECT_EQ(first->findText(";"), -1);
    first->setCurrentIndex(first->findText("!"));
    Q_EMIT first->activated(first->currentIndex());
    EXPECT_EQ(second->findText("!"), -1);
    EXPECT_NE(second->findText(","), -1);
    EXPECT_EQ(second->currentText(), ";");

    auto* preview = child<QPushButton>(map, "cmdItemPrev");
    preview->click();
    EXPECT_EQ(lastMessage(), "Please enter a source file");

    map.setSource(folder.file("missing.csv"));
    preview->click();
    EXPECT_EQ(lastMessage(), "Import File " + folder.file("missing.csv") + " can not be found.");
    EXPECT_EQ(dialogs.messages().back().icon, platform::Icon::Exclamation);

    map.setSource(write("items.IIF", "INVITEM\tA\r\n"));
    EXPECT_EQ(map.sourceKind(), import::kIif) << "the extension is case-blind";
    child<QLineEdit>(map, "txtItemRet")->clear();
    preview->click();
    EXPECT_EQ(lastMessage(), "Please enter a return code");
    child<QLineEdit>(map, "txtItemRet")->setText("Item Name");
    child<QComboBox>(map, "cmbItemMap0")->setEditText(" ");
    preview->click();
    EXPECT_EQ(lastMessage(), "Please choose a scan control");

    map.setSource(write("items.xyz", "x"));
    EXPECT_EQ(child<QLineEdit>(map, "txtItemSrc")->text(), "") << "only enabled kinds are kept";
    child<QLineEdit>(map, "txtItemSrc")->setText(folder.file("items.xyz")); // still being typed
    child<QComboBox>(map, "cmbItemMap0")->setEditText("Item Name");
    preview->click();
    EXPECT_EQ(lastMessage(), "Please enter a valid source file");

    child<QLineEdit>(map, "txtItemSrc")->clear();
    child<QPushButton>(map, "cmdUpdateDB")->click();
    EXPECT_EQ(lastMessage(), "Please specify an import file name.");
    EXPECT_EQ(dialogs.messages().back().icon, platform::Icon::Information);
    EXPECT_EQ(QSettings().value("Settings/UMDel0").toString(), "!")
        << "the record format is stored before the checks";
    EXPECT_EQ(setting("Source"), "") << "nothing goes to tblSettings";

    const QString list = write("ITEMS.CSV", "WIDGET-7,0012345,Widget\r\n");
    map.setSource(list);
    EXPECT_EQ(child<QComboBox>(map, "cmbItemMap0")->currentText(), "Column 2");
    EXPECT_EQ(child<QLineEdit>(map, "txtItemRet")->text(), "Column 1");
    child<QPushButton>(map, "cmdUpdateDB")->click();
    EXPECT_EQ(lastMessage(), "The Translation Table Updated Successfully");
    EXPECT_FALSE(map.isVisible()) << "an update ends by closing the window";
    EXPECT_EQ(setting("Source, CustomReturn, CustomScan"), list + "|Column 1|Column 2");
    EXPECT_EQ(testsupport::rows(folder.file("dbscan.mdb"), "SELECT * FROM tblCodelink"),
              QStringList{"0012345|WIDGET-7|Widget|1"});

    import::frmMap again;
    again.Load();
    EXPECT_EQ(child<QLineEdit>(again, "txtItemSrc")->text(), list) << "the source is kept";
}

TEST_F(ItemMap, PreviewPagesThroughTheRowsAndLeavesOutExcludedItems) {
    folder.sql("accsys.mdb", "UPDATE tblExclude SET Exclude = 1 WHERE Code = 'SERV'");
    const QString file =
        write("items.iif", "!INVITEM\tNAME\r\nINVITEM\tBOLT\t1\t0\tINVENTORY\r\n"
                           "INVITEM\tREPAIR\t2\t0\tSERV\r\nINVITEM\tNUT\t3\t0\tPART\r\n");
    import::frmPreview preview(
        {import::kIif, {file, "QuickBooks", "Item Name", "Item Name", "Description"}, {}});
    preview.Load();
    auto* next = child<QPushButton>(preview, "cmdNext");
    auto* previous = child<QPushButton>(preview, "cmdPrevious");
    // The row shown, with "<" and ">" for the buttons that are enabled.
    const auto shown = [&] {
        return (previous->isEnabled() ? "< " : "") + child<QLineEdit>(preview, "txtScan0")->text() +
               (next->isEnabled() ? " >" : "");
    };
    EXPECT_EQ(shown(), "BOLT >");
    next->click();
    EXPECT_EQ(shown(), "< NUT >") << "the excluded service item is left out";
    next->click();
    EXPECT_EQ(shown(), "< NUT") << "past the end: back on the last row";
    previous->click();
    EXPECT_TRUE(next->isEnabled());
    previous->click();
    EXPECT_EQ(shown(), "BOLT >");
    EXPECT_FALSE(child<QWidget>(preview, "TxtUnit")->isHidden());

    folder.sql("dbscan.mdb",
               "DELETE FROM tblPreview; INSERT INTO tblPreview VALUES ('A', 'B', NULL)");
    import::frmPreview delimited({import::kCommaSeparated, {}, {}});
    delimited.Load();
    EXPECT_TRUE(child<QWidget>(delimited, "TxtUnit")->isHidden()) << "a row without a unit";
    folder.sql("dbscan.mdb", "DELETE FROM tblPreview");
    import::frmPreview empty({import::kTabDelimited, {}, {}});
    empty.Load();
    EXPECT_EQ(child<QLineEdit>(empty, "txtReturn")->text() +
                  child<QLineEdit>(empty, "txtScan0")->text(),
              "EmptyEmpty");
    EXPECT_FALSE(child<QPushButton>(empty, "cmdNext")->isEnabled() ||
                 child<QPushButton>(empty, "cmdPrevious")->isEnabled());
}
