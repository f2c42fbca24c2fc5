// The data entry window and its rules for adding, changing and deleting pairs, driven through the
// real buttons, grid and menu with the dialogs scripted.
#include "db/codelink_model.h"
#include "db/frm_data_entry.h"
#include "db_test_support.h"
#include "platform/app_error.h"
#include "support/checks.h"
#ifndef Q_OS_WIN
#include "support/permissions.h"
#endif
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

using dbtest::pairs;
using platform::Icon;

namespace {

const QString kCodelink = "INSERT INTO tblCodelink VALUES ('0456', 'HAMMER', 'Claw hammer', 1), "
                          "('0123', 'NAILS', NULL, NULL), ('0999', 'GLUE', 'Wood glue', 6);";
const QString kManual = "INSERT INTO tblManual VALUES ('0999', 'GLUE'), ('M-1', 'MANUAL-ONLY');";
const QString kBothBoxes =
    "Please make sure you have completed both ScanCode and ReturnCode fields";

class DataEntryWindowTest : public ::testing::Test {
protected:
    QString file() const { return folder.file("dbscan.mdb"); }

    // Opens a new window on the translation table, after running sql on it.
    void open(const QString& sql = {}) {
        if (!sql.isEmpty())
            folder.sql("dbscan.mdb", sql);
        window = std::make_unique<db::frmDataEntry>();
        window->load();
        window->show();
    }

    template <class T = QWidget>
    T* control(const char* name) const {
        return testsupport::child<T>(*window, name);
    }
    QString text(const char* name) const {
        return control<QObject>(name)->property("text").toString();
    }
    QString boxes() const { return text("txtScan") + u'=' + text("txtRet"); }
    QWidget* focused() const { return window->focusWidget(); }

    QTableView* grid() const { return control<QTableView>("MSFlexGrid1"); }
    int rows() const { return grid()->model()->rowCount(); }

    // The texts of a grid row counted from 0; row -1 is the heading row.
    QStringList row(int index, int columns = 4) const {
        const QAbstractItemModel* model = grid()->model();
        QStringList cells;
        for (int column = 0; column < columns; ++column)
            cells << (index < 0 ? model->headerData(column, Qt::Horizontal)
                                : model->index(index, column).data())
                         .toString();
        return cells;
    }

    void clickRow(int index) {
        const QRect cell = grid()->visualRect(grid()->model()->index(index, 0));
        QTest::mouseClick(grid()->viewport(), Qt::LeftButton, {}, cell.center());
    }
    void click(const char* button) {
        QTest::mouseClick(control<QPushButton>(button), Qt::LeftButton);
    }
    // Types a pair into the scan and return boxes and clicks a button.
    void press(const char* button, const QString& scan, const QString& ret) {
        for (const auto& [box, typed] : {std::pair{"txtScan", scan}, std::pair{"txtRet", ret}}) {
            auto* edit = control<QLineEdit>(box);
            edit->clear();
            QTest::keyClicks(edit, typed);
        }
        click(button);
    }

    // tblCodelink, tblManual and the grid, each as its "scan=return" pairs joined by spaces.
    QStringList tables() const {
        const auto& model = dynamic_cast<const db::CodelinkModel&>(*grid()->model());
        QStringList shown;
        for (int row = 1; row <= model.dataRows(); ++row)
            shown << model.text(row, 0) + u'=' + model.text(row, 1);
        return {pairs(file(), "tblCodelink").join(' '), pairs(file(), "tblManual").join(' '),
                shown.join(' ')};
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    std::unique_ptr<db::frmDataEntry> window;
};

} // namespace

// A progress window says what is read; Add In copies back the manual pairs the table lacks.
TEST_F(DataEntryWindowTest, OpensWithEveryRowInTableOrderAndAddInCopiesMissingManualPairsBack) {
    struct Watcher : QObject { // the status of every progress window that appears
        QStringList shown;
        bool eventFilter(QObject* object, QEvent* event) override {
            if (event->type() == QEvent::Show && object->objectName() == "frmProgress")
                shown << object->findChild<QLabel*>("lblStatus")->text();
            return false;
        }
    } watcher;
    qApp->installEventFilter(&watcher);
    open(kCodelink + kManual + "INSERT INTO tblManual VALUES ('0456', 'MINE');");
    EXPECT_EQ(text("txtNumRec"), "3");
    EXPECT_EQ(row(-1),
              (QStringList{"Scan Value", "Return Value", "Unit of Measure", "Description"}));
    ASSERT_EQ(rows(), 3);
    EXPECT_EQ(row(0), (QStringList{"0456", "HAMMER", "1", "Claw hammer"}));
    EXPECT_EQ(row(1), (QStringList{"0123", "NAILS", "0", " "})) << "null unit and description";
    EXPECT_TRUE(grid()->isColumnHidden(2));
    click("cmdShowAll");
    click("cmdShowAll");
    qApp->removeEventFilter(&watcher);
    EXPECT_EQ(watcher.shown,
              (QStringList{"Opening Translation Table...", "Updating Translation Table..."}));
    for (QWidget* top : QApplication::topLevelWidgets())
        EXPECT_FALSE(top->objectName() == "frmProgress" && top->isVisible());

    click("cmdAddIn");
    EXPECT_EQ(pairs(file(), "tblCodelink"),
              (QStringList{"0456=HAMMER", "0123=NAILS", "0999=GLUE", "M-1=MANUAL-ONLY"}));
    EXPECT_TRUE(dialogs.messages().empty());
}

// The grid reads rows in pages as they are shown and keeps only some of them.
TEST_F(DataEntryWindowTest, ALargeTableShowsEveryRowItsOwnFieldsWhereverItIsScrolled) {
    open(dbtest::insertRows(40000, "printf('%06d', (i * 7919) % 40000), 'R' || i, 'D' || i, "
                                   "i % 12") +
         "DELETE FROM tblCodelink WHERE rowid % 1000 = 7;");
    ASSERT_EQ(text("txtNumRec"), "39960");
    QRandomGenerator random(11);
    for (int i = 0; i < 400; ++i) {
        const int index = static_cast<int>(random.bounded(rows()));
        grid()->scrollTo(grid()->model()->index(index, 0));
        const QStringList cells = row(index);
        const int item = cells[1].mid(1).toInt();
        ASSERT_EQ(cells, (QStringList{QString("%1").arg(item * 7919 % 40000, 6, 10, QChar('0')),
                                      QString("R%1").arg(item), QString::number(item % 12),
                                      QString("D%1").arg(item)}));
        ASSERT_EQ(index, item - item / 1000 - (item % 1000 > 6 ? 1 : 0)) << "in table order";
    }
}

TEST_F(DataEntryWindowTest, EveryButtonRefusesUntilBothBoxesHoldText) {
    open("INSERT INTO tblCodelink VALUES ('A1', 'R1', NULL, 1);");
    for (const char* button : {"cmdAdd", "cmdChgData", "cmdDltData"}) {
        SCOPED_TRACE(button);
        dialogs.clear();
        press(button, "   ", "R9");
        EXPECT_EQ(focused(), control("txtScan"));
        press(button, "A9", "");
        EXPECT_EQ(focused(), control("txtRet"));
        ASSERT_EQ(dialogs.messageTexts(), QStringList(2, kBothBoxes));
        EXPECT_EQ(dialogs.messages()[0].icon, Icon::Critical);
        EXPECT_EQ(boxes(), "A9=") << "a refusal keeps the boxes";
    }
    EXPECT_EQ(tables(), (QStringList{"A1=R1", "", "A1=R1"}));
}

TEST_F(DataEntryWindowTest, AddRecordsManualPairsButTheFirstAndRefusesAScanValueInAnyCase) {
    open();
    EXPECT_EQ(rows(), 0) << "an empty table opens";
    press("cmdAdd", "FIRST", "R1");
    EXPECT_EQ(tables(), (QStringList{"FIRST=R1", "", "FIRST=R1"}))
        << "the first entry into an empty table is not recorded as manual";
    press("cmdAdd", "SECOND", "R1"); // return values need not be unique
    const QStringList added = {"FIRST=R1 SECOND=R1", "SECOND=R1", "FIRST=R1 SECOND=R1"};
    EXPECT_EQ(tables(), added);
    EXPECT_EQ(row(1, 3), (QStringList{"SECOND", "R1", ""}))
        << "an added row shows no unit until the grid is filled again";
    EXPECT_EQ(boxes(), "=");
    EXPECT_EQ(focused(), control("txtScan"));
    EXPECT_TRUE(dialogs.messages().empty());

    press("cmdAdd", "first", "OTHER");
    ASSERT_EQ(dialogs.messageTexts(),
              QStringList{"A scan value of first already exists.  Duplicate scan codes are not "
                          "allowed."});
    EXPECT_EQ(dialogs.messages()[0].icon, Icon::Critical);
    EXPECT_EQ(tables(), added);
    EXPECT_EQ(boxes(), "first=OTHER");
}

// An imported pair (in tblCodelink only) that is changed is not recorded as manual.
TEST_F(DataEntryWindowTest, ChangeRefusesAnotherRowsScanValueAndKeepsImportedPairsOutOfManual) {
    open("INSERT INTO tblCodelink VALUES ('S1', 'R1', 'Bolt', 4), ('S2', 'R2', NULL, 1);"
         "INSERT INTO tblManual VALUES ('S2', 'R2');");
    clickRow(1);
    EXPECT_EQ(boxes(), "S2=R2");
    press("cmdChgData", "s1", "R9");
    ASSERT_EQ(dialogs.messageTexts(),
              QStringList{"Scan code 's1' already represents the return value 'R1'.  Please "
                          "choose another scan value."});
    EXPECT_EQ(dialogs.messages()[0].icon, Icon::None);
    EXPECT_EQ(tables(), (QStringList{"S1=R1 S2=R2", "S2=R2", "S1=R1 S2=R2"}));

    dialogs.clear();
    press("cmdChgData", "S2", "R2-NEW");
    EXPECT_EQ(boxes(), "=");
    clickRow(0);
    press("cmdChgData", "S1-2", "R1-NEW");
    EXPECT_TRUE(dialogs.messages().empty());
    EXPECT_EQ(tables(),
              (QStringList{"S1-2=R1-NEW S2=R2-NEW", "S2=R2-NEW", "S1-2=R1-NEW S2=R2-NEW"}));
    EXPECT_EQ(row(0), (QStringList{"S1-2", "R1-NEW", "4", "Bolt"}))
        << "the grid keeps the other fields of a changed row";
}

// A manual pair leaves both tables; an imported one leaves the grid only and keeps translating.
TEST_F(DataEntryWindowTest, DeleteNeedsTheExactPairAndRemovesOnlyManualPairsFromTheFile) {
    open("INSERT INTO tblCodelink VALUES ('IMP', 'R1', NULL, 1), ('MAN', 'R2', NULL, 1);"
         "INSERT INTO tblManual VALUES ('MAN', 'R2');");
    for (const auto& [scan, ret] : {std::pair{"MAN", "WRONG"}, {"man", "R2"}, {"MAN", "r2"}})
        press("cmdDltData", scan, ret);
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList(3, "Scan/Return code combination not found in the table."));
    EXPECT_EQ(focused(), control("txtScan"));
    EXPECT_EQ(tables(), (QStringList{"IMP=R1 MAN=R2", "MAN=R2", "IMP=R1 MAN=R2"}));

    dialogs.clear();
    press("cmdDltData", "MAN", "R2");
    EXPECT_EQ(tables(), (QStringList{"IMP=R1", "", "IMP=R1"}));
    EXPECT_EQ(boxes(), "IMP=R1") << "the boxes show the first row";
    press("cmdDltData", "IMP", "R1");
    EXPECT_EQ(tables(), (QStringList{"IMP=R1", "", ""}));
    EXPECT_TRUE(dialogs.messages().empty());

    // A pair added here that has since left the translation table (another workstation's import).
    press("cmdAdd", "NEW", "R3");
    folder.sql("dbscan.mdb", "DELETE FROM tblCodelink WHERE ScanValue = 'NEW';");
    press("cmdDltData", "NEW", "R3");
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList{"The scan code was not found in the list and no items were deleted"});
    EXPECT_EQ(tables(), (QStringList{"IMP=R1", "", ""}));
}

// Once the view has been switched it empties the manual entries, whichever view is shown.
TEST_F(DataEntryWindowTest, DeleteAllEmptiesTheTranslationTableUntilTheViewIsSwitched) {
    open(kCodelink + kManual);
    click("cmdDltAll"); // unanswered: the default button, which must be No
    ASSERT_EQ(dialogs.messages().size(), 1u);
    EXPECT_EQ(dialogs.messages()[0].text, "You have chosen to delete ALL records in this table.  "
                                          "Are you sure you want to do this?");
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);

    dialogs.answer(platform::Answer::Yes);
    click("cmdDltAll");
    EXPECT_TRUE(pairs(file(), "tblCodelink").isEmpty());
    EXPECT_EQ(pairs(file(), "tblManual").size(), 2);
    EXPECT_EQ(text("txtNumRec"), "0");
    EXPECT_EQ(rows(), 1) << "one blank row stays below the headings";
    EXPECT_EQ(row(0), (QStringList{"", "", "", ""}));

    open(kCodelink);
    click("cmdShowAll");
    EXPECT_EQ(text("cmdShowAll"), "&Show Manual");
    EXPECT_FALSE(control<QPushButton>("cmdChgData")->isEnabled());
    EXPECT_FALSE(control<QPushButton>("cmdDltData")->isEnabled());
    EXPECT_EQ(row(-1), (QStringList{"Scan", "Return", "", ""}));
    EXPECT_EQ(row(0), (QStringList{"0456", "HAMMER", "", ""}));
    dialogs.answer(platform::Answer::Yes);
    click("cmdDltAll");
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());

    click("cmdShowAll");
    EXPECT_EQ(text("cmdShowAll"), "&Show All");
    EXPECT_TRUE(control<QPushButton>("cmdChgData")->isEnabled());
    EXPECT_EQ(row(1), (QStringList{"0123", "NAILS", "0", " "}));
    folder.sql("dbscan.mdb", "INSERT INTO tblManual VALUES ('M-2', 'X');");
    dialogs.answer(platform::Answer::Yes);
    control<QAction>("mnuFDltAll")->trigger();
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());
}

TEST_F(DataEntryWindowTest, TheSharedWindowClosesFromTheMenuAndALockedOrDamagedFileLeavesNone) {
    QPointer<db::frmDataEntry> shown = db::frmDataEntry::showWindow();
    ASSERT_TRUE(shown->isVisible());
    EXPECT_EQ(db::frmDataEntry::showWindow(), shown) << "one window at a time";
    shown->findChild<QAction*>("mnuFClose")->trigger();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(shown.isNull());

    const dbtest::ShortBusyTimeout fast;
    {
        const dbtest::LockingProcess lock(file());
        const auto error = testsupport::errorOf([] { db::frmDataEntry::showWindow(); });
        EXPECT_EQ(error.number, platform::err::FileLocked);
        EXPECT_TRUE(testsupport::namesFile(error.description, file()))
            << error.description.toStdString();
    }
    folder.sql("dbscan.mdb", dbtest::insertRows(2000, "'S' || i, 'ITEM-' || i, 'd', 1"));
    dbtest::damagePagesHolding(file(), "ITEM-1000", 1);
    const auto error = testsupport::errorOf([] { db::frmDataEntry::showWindow(); });
    EXPECT_EQ(error.number, platform::err::UnrecognizedFormat);
    EXPECT_TRUE(testsupport::contains(error.description, "damaged"));
    for (QWidget* top : QApplication::topLevelWidgets())
        EXPECT_EQ(qobject_cast<db::frmDataEntry*>(top), nullptr);
}

TEST_F(DataEntryWindowTest, EditsOnALockedDatabaseShowAnErrorAndKeepEverything) {
    open("INSERT INTO tblCodelink VALUES ('S1', 'R1', NULL, 1);"
         "INSERT INTO tblManual VALUES ('S1', 'R1');");
    const QStringList before = tables();
    {
        const dbtest::ShortBusyTimeout fast;
        const dbtest::LockingProcess lock(file());
        press("cmdAdd", "S2", "R2");
        press("cmdDltData", "S1", "R1");
        clickRow(0);
        press("cmdChgData", "S1", "R9");
    }
    const auto& shown = dialogs.messages();
    ASSERT_EQ(shown.size(), 3u) << dialogs.messageTexts().join('\n').toStdString();
    for (const auto& message : shown) {
        EXPECT_TRUE(testsupport::contains(message.text, "locked"));
        EXPECT_EQ(message.icon, Icon::Critical);
    }
    EXPECT_EQ(tables(), before);
    EXPECT_EQ(boxes(), "S1=R9") << "the typed pair is not lost";
}

#ifndef Q_OS_WIN // the Windows tests run under Wine as the Linux superuser, whom no mode binds
TEST_F(DataEntryWindowTest, AnAddToAReadOnlyDatabaseShowsAnErrorAndKeepsTheTypedPair) {
    open("INSERT INTO tblCodelink VALUES ('S1', 'R1', NULL, 1);");
    const QStringList before = tables();
    QFile::setPermissions(folder.path(),
                          QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
    QFile::setPermissions(file(), QFile::ReadOwner | QFile::ReadOther);
    {
        const testsupport::PermissionsEnforced asUser;
        press("cmdAdd", "0555", "NEW");
    }
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::setPermissions(file(), QFile::ReadOwner | QFile::WriteOwner);
    ASSERT_EQ(dialogs.messages().size(), 1u) << dialogs.messageTexts().join('\n').toStdString();
    EXPECT_TRUE(dialogs.messages()[0].text.contains("read-only"));
    EXPECT_EQ(dialogs.messages()[0].icon, Icon::Critical);
    EXPECT_EQ(tables(), before);
    EXPECT_EQ(boxes(), "0555=NEW") << "the typed pair is not lost";
}
#endif

// The grid answers "which row holds this scan value" from the file's index and its own edits.
TEST(CodelinkModelTest, SearchesAgreeWithAWalkOverEveryRow) {
    testsupport::TempProgramFolder folder;
    folder.sql("dbscan.mdb",
               dbtest::insertRows(3000, "'K' || (i * 7919 % 3001), 'V' || (i % 50), NULL, 1"));
    db::CodelinkModel grid;
    grid.fill(folder.file("dbscan.mdb"), db::CodelinkModel::Layout::AllFields);
    QRandomGenerator random(7);
    for (int i = 0; i < 200; ++i) {
        const int row = 1 + static_cast<int>(random.bounded(grid.dataRows()));
        switch (random.bounded(3)) {
        case 0:
            grid.setText(row, 0, QString("k%1").arg(random.bounded(3200)));
            break;
        case 1:
            grid.appendRow(QString("K%1").arg(random.bounded(3200)), "V1");
            break;
        default:
            grid.removeRow(row);
        }
    }
    // The first row other than skip whose scan value matches, and whose return value is ret when
    // one is given (then letter case counts).
    const auto walk = [&](const QString& scan, int skip, const QString& ret) {
        for (int row = 1; row <= grid.dataRows(); ++row) {
            const bool found = ret.isNull() ? db::sameText(grid.text(row, 0), scan)
                                            : grid.text(row, 0) == scan && grid.text(row, 1) == ret;
            if (row != skip && found)
                return row;
        }
        return 0;
    };
    for (int i = 0; i < 300; ++i) {
        const QString scan = QString(i % 2 ? "K%1" : "k%1").arg(random.bounded(3200));
        const QString ret = QString("V%1").arg(random.bounded(50));
        const int skip = static_cast<int>(random.bounded(grid.dataRows() + 1));
        ASSERT_EQ(grid.findScan(scan, skip), walk(scan, skip, QString())) << scan.toStdString();
        ASSERT_EQ(grid.findPair(scan, ret), walk(scan, 0, ret)) << scan.toStdString();
    }
}
