// The data entry window, driven through its real buttons and menu with the dialogs scripted.
#include "db/frm_data_entry.h"
#include "db_test_support.h"
#include "platform/app_error.h"
#include "support/errors.h"
#include "support/permissions.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QAction>
#include <QApplication>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

using dbtest::pairs;

namespace {

class DataEntryWindowTest : public ::testing::Test {
protected:
    QString file() const { return folder.file("dbscan.mdb"); }

    void open() {
        window = std::make_unique<db::frmDataEntry>();
        window->load();
        window->show();
    }

    template <class T = QWidget>
    T* control(const char* name) const {
        T* found = window->findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }

    QTableView* grid() const { return control<QTableView>("MSFlexGrid1"); }

    void click(const char* button) {
        QTest::mouseClick(control<QPushButton>(button), Qt::LeftButton);
    }

    QString heading(int column) const {
        return grid()->model()->headerData(column, Qt::Horizontal).toString();
    }

    QStringList row(int index) const {
        QStringList cells;
        for (int column = 0; column < 4; ++column)
            cells << grid()->model()->index(index, column).data().toString();
        return cells;
    }

    int rows() const { return grid()->model()->rowCount(); }

    void clickRow(int index) {
        QTableView* view = grid();
        const QRect cell = view->visualRect(view->model()->index(index, 0));
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, cell.center());
    }

    void type(const char* box, const QString& text) {
        auto* edit = control<QLineEdit>(box);
        edit->clear();
        QTest::keyClicks(edit, text);
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    std::unique_ptr<db::frmDataEntry> window;
};

const char* const kPairs = "INSERT INTO tblCodelink VALUES ('0456', 'HAMMER', 'Claw hammer', 1);"
                           "INSERT INTO tblCodelink VALUES ('0123', 'NAILS', NULL, NULL);"
                           "INSERT INTO tblCodelink VALUES ('0999', 'GLUE', 'Wood glue', 6);"
                           "INSERT INTO tblManual VALUES ('0999', 'GLUE');"
                           "INSERT INTO tblManual VALUES ('M-1', 'MANUAL-ONLY');";

} // namespace

TEST_F(DataEntryWindowTest, OpensWithItsCaptionsHeadingsAndEveryRowInTableOrder) {
    folder.sql("dbscan.mdb", kPairs);
    open();
    EXPECT_EQ(window->windowTitle(), "Orvane Translation Table Data");
    EXPECT_EQ(control<QGroupBox>("fraDatEnt")->title(), "Translation Table");
    const std::vector<std::pair<const char*, const char*>> buttons = {
        {"cmdAdd", "&Add"},     {"cmdChgData", "&Change"},   {"cmdDltData", "&Delete"},
        {"cmdAddIn", "Add In"}, {"cmdShowAll", "&Show All"}, {"cmdDltAll", "Delete A&LL"},
        {"cmdExit", "Cl&ose"}};
    for (const auto& [name, caption] : buttons)
        EXPECT_EQ(control<QPushButton>(name)->text(), caption) << name;
    EXPECT_EQ(control<QLabel>("lblScan")->text(), "Scan Code");
    EXPECT_EQ(control<QLabel>("lblRet")->text(), "Return Code");
    EXPECT_EQ(control<QLabel>("Label1")->text(), "Total Records:");
    EXPECT_EQ(control<QMenu>("mnuFile")->title(), "&File");
    EXPECT_EQ(control<QAction>("mnuFDltAll")->text(), "Delete A&ll");
    EXPECT_EQ(control<QAction>("mnuFClose")->text(), "Cl&ose");

    EXPECT_EQ((QStringList{heading(0), heading(1), heading(2), heading(3)}),
              (QStringList{"Scan Value", "Return Value", "Unit of Measure", "Description"}));
    EXPECT_EQ(control<QLineEdit>("txtNumRec")->text(), "3");
    ASSERT_EQ(rows(), 3);
    EXPECT_EQ(row(0), (QStringList{"0456", "HAMMER", "1", "Claw hammer"}));
    EXPECT_EQ(row(1), (QStringList{"0123", "NAILS", "0", " "})) << "null unit and description";
    EXPECT_EQ(row(2), (QStringList{"0999", "GLUE", "6", "Wood glue"}));

    const QHeaderView* header = grid()->horizontalHeader();
    const double width = grid()->width();
    EXPECT_EQ(header->sectionSize(0), qRound(width * 0.46 / 2));
    EXPECT_EQ(header->sectionSize(1), qRound(width * 0.458 / 2));
    EXPECT_TRUE(grid()->isColumnHidden(2)) << "the unit column is there but hidden";
    EXPECT_EQ(header->sectionSize(3), qRound(width / 2));
    EXPECT_TRUE(control<QLineEdit>("txtScan")->text().isEmpty());
}

TEST_F(DataEntryWindowTest, AnEmptyTableShowsTheHeadingsAndNoRecords) {
    open();
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(heading(0), "Scan Value");
    EXPECT_EQ(control<QLineEdit>("txtNumRec")->text(), "0");
}

// The grid reads rows in pages as they are shown and keeps only some of them; whatever part of
// a large table is shown, and in whatever order, each row shows its own fields.
TEST_F(DataEntryWindowTest, ALargeTableShowsEveryRowItsOwnFieldsWhereverItIsScrolled) {
    folder.sql("dbscan.mdb", "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n "
                             "WHERE i < 39999) INSERT INTO tblCodelink SELECT printf('%06d', "
                             "(i * 7919) % 40000), 'R' || i, 'D' || i, i % 12 FROM n;"
                             "DELETE FROM tblCodelink WHERE rowid % 1000 = 7;");
    open();
    ASSERT_EQ(control<QLineEdit>("txtNumRec")->text(), "39960");
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

TEST_F(DataEntryWindowTest, ClickingARowPutsItsPairIntoTheBoxesForEditing) {
    folder.sql("dbscan.mdb", kPairs);
    open();
    clickRow(2);
    EXPECT_EQ(control<QLineEdit>("txtScan")->text(), "0999");
    EXPECT_EQ(control<QLineEdit>("txtRet")->text(), "GLUE");

    type("txtRet", "SUPERGLUE");
    click("cmdChgData");
    EXPECT_EQ(row(2).mid(0, 2), (QStringList{"0999", "SUPERGLUE"}));
    EXPECT_TRUE(control<QLineEdit>("txtScan")->text().isEmpty());
    EXPECT_TRUE(control<QLineEdit>("txtRet")->text().isEmpty());
    EXPECT_EQ(pairs(file(), "tblManual"), (QStringList{"0999=SUPERGLUE", "M-1=MANUAL-ONLY"}));
}

TEST_F(DataEntryWindowTest, AddShowsTheNewRowAtOnceAndReadiesTheScanBox) {
    folder.sql("dbscan.mdb", kPairs);
    open();
    type("txtScan", "0777");
    type("txtRet", "SAW");
    click("cmdAdd");
    ASSERT_EQ(rows(), 4);
    EXPECT_EQ(row(3).mid(0, 2), (QStringList{"0777", "SAW"}));
    EXPECT_TRUE(control<QLineEdit>("txtRet")->text().isEmpty());
    EXPECT_EQ(window->focusWidget(), control<QLineEdit>("txtScan"));
    EXPECT_TRUE(pairs(file(), "tblCodelink").contains("0777=SAW"));

    type("txtScan", "0777");
    type("txtRet", "OTHER");
    click("cmdAdd");
    EXPECT_EQ(rows(), 4);
    EXPECT_EQ(control<QLineEdit>("txtRet")->text(), "OTHER") << "a refusal keeps the boxes";
}

TEST_F(DataEntryWindowTest, DeleteAllRightAfterOpeningEmptiesTheTranslationTableOnly) {
    folder.sql("dbscan.mdb", kPairs);
    open();
    click("cmdDltAll"); // unanswered: the default button, No
    ASSERT_EQ(dialogs.messages().size(), 1u);
    const platform::MessageRequest& question = dialogs.messages()[0];
    EXPECT_EQ(question.text, "You have chosen to delete ALL records in this table.  Are you sure "
                             "you want to do this?");
    EXPECT_EQ(question.buttons, platform::Buttons::YesNo);
    EXPECT_EQ(question.defaultButton, platform::DefaultButton::Second);
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);

    dialogs.answer(platform::Answer::Yes);
    click("cmdDltAll");
    EXPECT_TRUE(pairs(file(), "tblCodelink").isEmpty());
    EXPECT_EQ(pairs(file(), "tblManual").size(), 2);
    EXPECT_EQ(control<QLineEdit>("txtNumRec")->text(), "0");
    EXPECT_EQ(rows(), 1) << "one blank row stays below the headings";
    EXPECT_EQ(row(0), (QStringList{"", "", "", ""}));
    EXPECT_EQ((QStringList{heading(0), heading(1), heading(2)}),
              (QStringList{"Scan", "Return", ""}));
}

TEST_F(DataEntryWindowTest, ShowAllListsScanAndReturnAndAfterwardsDeleteAllEmptiesManualEntries) {
    folder.sql("dbscan.mdb", kPairs);
    open();
    click("cmdShowAll");
    EXPECT_EQ(control<QPushButton>("cmdShowAll")->text(), "&Show Manual");
    EXPECT_EQ(control<QGroupBox>("fraDatEnt")->title(), "All Entries");
    EXPECT_FALSE(control<QPushButton>("cmdChgData")->isEnabled());
    EXPECT_FALSE(control<QPushButton>("cmdDltData")->isEnabled());
    EXPECT_EQ((QStringList{heading(0), heading(1), heading(2), heading(3)}),
              (QStringList{"Scan", "Return", "", ""}));
    ASSERT_EQ(rows(), 3);
    EXPECT_EQ(row(0), (QStringList{"0456", "HAMMER", "", ""}));

    dialogs.answer(platform::Answer::Yes);
    QTest::mouseClick(control<QPushButton>("cmdDltAll"), Qt::LeftButton);
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());

    click("cmdShowAll");
    EXPECT_EQ(control<QPushButton>("cmdShowAll")->text(), "&Show All");
    EXPECT_EQ(control<QGroupBox>("fraDatEnt")->title(), "Manual Entry");
    EXPECT_TRUE(control<QPushButton>("cmdChgData")->isEnabled());
    EXPECT_EQ(heading(2), "Unit of Measure");
    EXPECT_EQ(row(1), (QStringList{"0123", "NAILS", "0", " "}));

    // The view was switched, so Delete ALL still means the manual entries.
    folder.sql("dbscan.mdb", "INSERT INTO tblManual VALUES ('M-2', 'X');");
    dialogs.answer(platform::Answer::Yes);
    control<QAction>("mnuFDltAll")->trigger();
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());
}

TEST_F(DataEntryWindowTest, AddInCopiesOnlyMissingScanValuesBack) {
    folder.sql("dbscan.mdb", kPairs + QString("INSERT INTO tblManual VALUES ('0456', 'MINE');"));
    open();
    click("cmdAddIn");
    EXPECT_EQ(pairs(file(), "tblCodelink"),
              (QStringList{"0456=HAMMER", "0123=NAILS", "0999=GLUE", "M-1=MANUAL-ONLY"}));
    EXPECT_TRUE(dialogs.messages().empty());

    folder.sql("dbscan.mdb", "DELETE FROM tblManual; DELETE FROM tblCodelink;");
    click("cmdAddIn");
    EXPECT_TRUE(pairs(file(), "tblCodelink").isEmpty()) << "an empty tblManual adds nothing";
}

TEST_F(DataEntryWindowTest, ProgressWindowTellsWhetherTheTableIsOpenedOrUpdated) {
    // Records the status of every progress window that appears.
    struct Watcher : QObject {
        QStringList shown;
        bool eventFilter(QObject* object, QEvent* event) override {
            if (event->type() == QEvent::Show && object->objectName() == "frmProgress")
                shown << object->findChild<QLabel*>("lblStatus")->text();
            return false;
        }
    } watcher;
    qApp->installEventFilter(&watcher);
    open();
    click("cmdShowAll");
    click("cmdShowAll");
    qApp->removeEventFilter(&watcher);
    EXPECT_EQ(watcher.shown,
              (QStringList{"Opening Translation Table...", "Updating Translation Table..."}));
    for (QWidget* top : QApplication::topLevelWidgets())
        EXPECT_FALSE(top->objectName() == "frmProgress" && top->isVisible());
}

TEST_F(DataEntryWindowTest, CloseFromTheMenuUnloadsTheSharedWindow) {
    db::frmDataEntry* shown = db::frmDataEntry::showWindow();
    ASSERT_TRUE(shown->isVisible());
    EXPECT_EQ(db::frmDataEntry::showWindow(), shown) << "one window at a time";
    QPointer<db::frmDataEntry> watch(shown);
    shown->findChild<QAction*>("mnuFClose")->trigger();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(watch.isNull());
}

TEST_F(DataEntryWindowTest, ALockedOrDamagedDatabaseIsReportedAndNoWindowIsLeft) {
    const dbtest::ShortBusyTimeout fast;
    {
        const dbtest::ShellLock lock(file());
        const auto error = testsupport::errorOf([] { db::frmDataEntry::showWindow(); });
        EXPECT_EQ(error.number, platform::err::FileLocked);
        EXPECT_TRUE(error.description.contains(file())) << error.description.toStdString();
    }
    QString rowsToDamage = "BEGIN;";
    for (int i = 0; i < 2000; ++i)
        rowsToDamage +=
            QString("INSERT INTO tblCodelink VALUES ('S%1', 'ITEM-%1', 'd', 1);").arg(i);
    folder.sql("dbscan.mdb", rowsToDamage + "COMMIT;");
    dbtest::damagePagesHolding(file(), "ITEM-1000", 1);
    const auto error = testsupport::errorOf([] { db::frmDataEntry::showWindow(); });
    EXPECT_EQ(error.number, platform::err::UnrecognizedFormat);
    EXPECT_TRUE(error.description.contains("damaged")) << error.description.toStdString();
    for (QWidget* top : QApplication::topLevelWidgets())
        EXPECT_EQ(qobject_cast<db::frmDataEntry*>(top), nullptr);
}

TEST_F(DataEntryWindowTest, AddInAReadOnlyFolderShowsOneErrorBoxAndKeepsTheData) {
    folder.sql("dbscan.mdb", kPairs);
    open();
    QFile::setPermissions(folder.path(),
                          QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
    QFile::setPermissions(file(), QFile::ReadOwner | QFile::ReadOther);
    {
        const testsupport::PermissionsEnforced asUser;
        type("txtScan", "0555");
        type("txtRet", "NEW");
        click("cmdAdd");
    }
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::setPermissions(file(), QFile::ReadOwner | QFile::WriteOwner);
    ASSERT_EQ(dialogs.messages().size(), 1u);
    EXPECT_TRUE(dialogs.messages()[0].text.contains("read-only"))
        << dialogs.messages()[0].text.toStdString();
    EXPECT_EQ(dialogs.messages()[0].icon, platform::Icon::Critical);
    EXPECT_EQ(rows(), 3);
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);
    EXPECT_EQ(control<QLineEdit>("txtScan")->text(), "0555") << "the typed pair is not lost";
}
