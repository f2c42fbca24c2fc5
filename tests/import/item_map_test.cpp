// The item map window's checks, lists and settings, its field lists as the source changes, closing
// it during an import, and the preview's paging.
#include "import/frm_map.h"
#include "import/frm_preview.h"
#include "import/import_test_support.h"
#include "support/checks.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <utility>

using testsupport::child;

namespace {

struct ItemMap : importtest::ImportTest {
    void SetUp() override {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsDir.path());
        folder.sql(
            "dbscan.mdb",
            "UPDATE tblSettings SET CustomScan = 'Custom Field 1', CustomReturn = 'Item Name'");
        ImportTest::SetUp();
    }
    QString lastMessage() const {
        return dialogs.messageTexts().value(dialogs.messages().size() - 1);
    }
    QString setting(const QString& field) const {
        return folder.rows("SELECT " + field + " FROM tblSettings").value(0);
    }

    QTemporaryDir settingsDir;
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
    child<QComboBox>(map, "txtItemRet")->setEditText("");
    preview->click();
    EXPECT_EQ(lastMessage(), "Please enter a return code");
    child<QComboBox>(map, "txtItemRet")->setEditText("Item Name");
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
    EXPECT_EQ(child<QComboBox>(map, "txtItemRet")->currentText(), "Column 1");
    child<QPushButton>(map, "cmdUpdateDB")->click();
    EXPECT_TRUE(lastMessage().startsWith("The Translation Table Updated Successfully\r\n\r\nLines "
                                         "read 1, rows written 1 (1 new, 0 replaced)"))
        << lastMessage().toStdString();
    EXPECT_FALSE(map.isVisible()) << "an update ends by closing the window";
    EXPECT_EQ(setting("Source, CustomReturn, CustomScan"), list + "|Item Name|Custom Field 1")
        << "a list's fixed columns do not replace the fields chosen for exports";
    EXPECT_EQ(folder.rows("SELECT * FROM tblCodelink"), QStringList{"0012345|WIDGET-7|Widget|1"});

    import::frmMap again;
    again.Load();
    EXPECT_EQ(child<QLineEdit>(again, "txtItemSrc")->text(), list) << "the source is kept";
}

TEST_F(ItemMap, PreviewPagesThroughTheRowsAndLeavesOutExcludedItems) {
    folder.sql("accsys.mdb", "UPDATE tblExclude SET Exclude = 1 WHERE Code = 'SERV'");
    const QString file =
        write("items.iif", "!INVITEM\tNAME\r\nINVITEM\tBOLT\t1\t0\tINVENTORY\r\n"
                           "INVITEM\tREPAIR\t2\t0\tSERV\r\nINVITEM\tNUT\t3\t0\tPART\r\n");
    import::frmPreview preview({import::kIif,
                                {file, "QuickBooks", "Item Name", "Item Name", "Description", {}},
                                {},
                                false});
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
    import::frmPreview delimited({import::kCommaSeparated, {}, {}, false});
    delimited.Load();
    EXPECT_TRUE(child<QWidget>(delimited, "TxtUnit")->isHidden()) << "a row without a unit";
    folder.sql("dbscan.mdb", "DELETE FROM tblPreview");
    import::frmPreview empty({import::kTabDelimited, {}, {}, false});
    empty.Load();
    EXPECT_EQ(child<QLineEdit>(empty, "txtReturn")->text() +
                  child<QLineEdit>(empty, "txtScan0")->text(),
              "EmptyEmpty");
    EXPECT_FALSE(child<QPushButton>(empty, "cmdNext")->isEnabled() ||
                 child<QPushButton>(empty, "cmdPrevious")->isEnabled());
}

// A list and then an export in one window, and an export reopened after a list was imported:
// the export's own fields are offered (with the labels the file gives its custom fields), never
// a list's fixed columns, and its items are imported.
TEST_F(ItemMap, SwitchingFromAListToAnExportOffersTheExportsFields) {
    const QString iif = write("items.iif", "!HDR\r\nHDR\r\n!CUSTITEMDICT\tINDEX\tLABEL\r\n"
                                           "CUSTITEMDICT\t0\tUPC\r\nINVITEM\tBOLT\t1\t0\tINVENTORY"
                                           "\tSteel bolt" +
                                               QByteArray(16, '\t') + "0042\r\n");
    const auto choices = [](import::frmMap& map) {
        return child<QComboBox>(map, "cmbItemMap0")->currentText() + "|" +
               child<QComboBox>(map, "txtItemRet")->currentText();
    };
    {
        import::frmMap map;
        map.Load();
        map.setSource(write("items.csv", "R,S\r\n"));
        map.setSource(iif);
        EXPECT_EQ(choices(map), "Custom Field 1 (UPC)|Item Name");
        child<QPushButton>(map, "cmdUpdateDB")->click();
    }
    EXPECT_EQ(folder.rows("SELECT ScanValue FROM tblCodelink"), QStringList{"0042"});

    folder.sql("dbscan.mdb", "UPDATE tblSettings SET CustomScan = 'Column 2', CustomReturn = "
                             "'Column 1'"); // as earlier versions stored a list's columns
    import::frmMap reopened;
    reopened.Load();
    EXPECT_EQ(choices(reopened), "Item Name|Item Name");
}

// Closing asks to stop; the import stops after a whole line and the window closes then.
TEST_F(ItemMap, ClosingDuringAnImportStopsItAndKeepsTheRowsWritten) {
    QByteArray lines;
    for (int i = 0; i < 300000; ++i)
        lines += "R" + QByteArray::number(i) + ",S" + QByteArray::number(i) + "\r\n";
    const QString list = write("items.csv", lines);
    QPointer<import::frmMap> map = import::frmMap::showWindow();
    map->setSource(list);
    auto* bar = child<QProgressBar>(*map, "pbarMap");
    bool closed = false;
    QObject::connect(bar, &QProgressBar::valueChanged, map, [&] {
        if (bar->value() > 0 && !std::exchange(closed, true)) // as through the window system
            QMetaObject::invokeMethod(map, &QWidget::close, Qt::QueuedConnection);
    });
    dialogs.answer(platform::Answer::Yes);
    child<QPushButton>(*map, "cmdUpdateDB")->click();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(map.isNull()) << "closed once the import stopped";

    ASSERT_EQ(dialogs.messages().size(), 2u);
    EXPECT_EQ(dialogs.messages()[0].buttons, platform::Buttons::YesNo);
    const QRegularExpressionMatch told =
        QRegularExpression("^The import was stopped: lines read (\\d+), rows written \\1 ")
            .match(lastMessage());
    ASSERT_TRUE(told.hasMatch()) << lastMessage().toStdString();
    const int written = told.captured(1).toInt();
    EXPECT_GT(written, 0);
    EXPECT_LT(written, 300000);
    EXPECT_EQ(folder.rows("SELECT count(*) FROM tblCodelink"),
              QStringList{QString::number(written)});
}
