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
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

using dbtest::pairs;

namespace {

const QString kCodelink = "INSERT INTO tblCodelink VALUES ('0456', 'HAMMER', 'Claw hammer', 1), "
                          "('0123', 'NAILS', NULL, NULL), ('0999', 'GLUE', 'Wood glue', 6);";
const QString kManual = "INSERT INTO tblManual VALUES ('0999', 'GLUE'), ('M-1', 'MANUAL-ONLY');";

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
        T* found = window->findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }

    // The caption of a button or frame, or the contents of a text box.
    QString text(const QString& name) const {
        const QObject* found = control<QObject>(name.toLatin1().constData());
        const QVariant title = found ? found->property("title") : QVariant();
        return found ? (title.isValid() ? title : found->property("text")).toString() : "<none>";
    }

    QTableView* grid() const { return control<QTableView>("MSFlexGrid1"); }
    int rows() const { return grid()->model()->rowCount(); }

    // The texts of a grid row; row -1 is the heading row.
    QStringList row(int index, int columns = 4) const {
        const QAbstractItemModel* model = grid()->model();
        QStringList cells;
        for (int column = 0; column < columns; ++column)
            cells << (index < 0 ? model->headerData(column, Qt::Horizontal)
                                : model->index(index, column).data())
                         .toString();
        return cells;
    }

    void click(const char* button) {
        QTest::mouseClick(control<QPushButton>(button), Qt::LeftButton);
    }

    // Types a pair into the scan and return boxes.
    void enter(const QString& scan, const QString& ret) {
        for (const auto& [box, typed] : {std::pair{"txtScan", scan}, std::pair{"txtRet", ret}}) {
            auto* edit = control<QLineEdit>(box);
            edit->clear();
            QTest::keyClicks(edit, typed);
        }
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    std::unique_ptr<db::frmDataEntry> window;
};

} // namespace

TEST_F(DataEntryWindowTest, OpensWithEveryRowInTableOrderAndTheUnitColumnHidden) {
    open(kCodelink + kManual);
    EXPECT_EQ(text("txtNumRec"), "3");
    EXPECT_TRUE(text("txtScan").isEmpty());
    EXPECT_EQ(row(-1),
              (QStringList{"Scan Value", "Return Value", "Unit of Measure", "Description"}));
    ASSERT_EQ(rows(), 3);
    EXPECT_EQ(row(0), (QStringList{"0456", "HAMMER", "1", "Claw hammer"}));
    EXPECT_EQ(row(1), (QStringList{"0123", "NAILS", "0", " "})) << "null unit and description";
    EXPECT_EQ(row(2), (QStringList{"0999", "GLUE", "6", "Wood glue"}));

    // The widths follow the grid's width as laid out in the shown window.
    const QHeaderView* header = grid()->horizontalHeader();
    const double width = grid()->width();
    EXPECT_EQ(header->sectionSize(0), qRound(width * 0.46 / 2));
    EXPECT_EQ(header->sectionSize(1), qRound(width * 0.458 / 2));
    EXPECT_TRUE(grid()->isColumnHidden(2)) << "the unit column is there but hidden";
    EXPECT_EQ(header->sectionSize(3), qRound(width / 2));
}

// The grid reads rows in pages as they are shown and keeps only some of them; whatever part of
// a large table is shown, and in whatever order, each row shows its own fields.
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

TEST_F(DataEntryWindowTest, AClickedRowCanBeChangedAndAnAddedRowShowsAtOnce) {
    open(kCodelink + kManual);
    const QRect glue = grid()->visualRect(grid()->model()->index(2, 0));
    QTest::mouseClick(grid()->viewport(), Qt::LeftButton, {}, glue.center());
    EXPECT_EQ(text("txtScan") + u'=' + text("txtRet"), "0999=GLUE");
    enter("0999", "SUPERGLUE");
    click("cmdChgData");
    EXPECT_EQ(row(2).mid(0, 2), (QStringList{"0999", "SUPERGLUE"}));
    EXPECT_EQ(text("txtScan") + text("txtRet"), "") << "both boxes are cleared";

    enter("0777", "SAW");
    click("cmdAdd");
    ASSERT_EQ(rows(), 4);
    EXPECT_EQ(row(3).mid(0, 2), (QStringList{"0777", "SAW"}));
    EXPECT_TRUE(text("txtRet").isEmpty());
    EXPECT_EQ(window->focusWidget(), control<QLineEdit>("txtScan"));

    enter("0777", "OTHER");
    click("cmdAdd");
    EXPECT_EQ(rows(), 4);
    EXPECT_EQ(text("txtRet"), "OTHER") << "a refusal keeps the boxes";
}

// Delete ALL empties the translation table while the view has not been switched since the window
// opened, and the manual entries once it has.
TEST_F(DataEntryWindowTest, DeleteAllEmptiesTheTranslationTableUntilTheViewIsSwitched) {
    open(kCodelink + kManual);
    click("cmdDltAll"); // unanswered: the default button, No
    ASSERT_EQ(dialogs.messages().size(), 1u);
    const platform::MessageRequest question = dialogs.messages()[0];
    EXPECT_EQ(question.text, "You have chosen to delete ALL records in this table.  Are you sure "
                             "you want to do this?");
    EXPECT_EQ(question.buttons, platform::Buttons::YesNo);
    EXPECT_EQ(question.defaultButton, platform::DefaultButton::Second);
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);

    dialogs.answer(platform::Answer::Yes);
    click("cmdDltAll");
    EXPECT_TRUE(pairs(file(), "tblCodelink").isEmpty());
    EXPECT_EQ(pairs(file(), "tblManual").size(), 2);
    EXPECT_EQ(text("txtNumRec"), "0");
    EXPECT_EQ(rows(), 1) << "one blank row stays below the headings";
    EXPECT_EQ(row(0), (QStringList{"", "", "", ""}));
    EXPECT_EQ(row(-1, 3), (QStringList{"Scan", "Return", ""}));

    open(kCodelink);
    click("cmdShowAll");
    EXPECT_EQ(text("cmdShowAll"), "&Show Manual");
    EXPECT_EQ(text("fraDatEnt"), "All Entries");
    EXPECT_FALSE(control<QPushButton>("cmdChgData")->isEnabled());
    EXPECT_FALSE(control<QPushButton>("cmdDltData")->isEnabled());
    EXPECT_EQ(row(-1), (QStringList{"Scan", "Return", "", ""}));
    ASSERT_EQ(rows(), 3);
    EXPECT_EQ(row(0), (QStringList{"0456", "HAMMER", "", ""}));
    dialogs.answer(platform::Answer::Yes);
    click("cmdDltAll");
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());

    click("cmdShowAll");
    EXPECT_EQ(text("cmdShowAll"), "&Show All");
    EXPECT_EQ(text("fraDatEnt"), "Manual Entry");
    EXPECT_TRUE(control<QPushButton>("cmdChgData")->isEnabled());
    EXPECT_EQ(row(-1, 3).last(), "Unit of Measure");
    EXPECT_EQ(row(1), (QStringList{"0123", "NAILS", "0", " "}));
    // The view was switched, so Delete ALL from the menu still means the manual entries.
    folder.sql("dbscan.mdb", "INSERT INTO tblManual VALUES ('M-2', 'X');");
    dialogs.answer(platform::Answer::Yes);
    control<QAction>("mnuFDltAll")->trigger();
    EXPECT_EQ(pairs(file(), "tblCodelink").size(), 3);
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());
}

TEST_F(DataEntryWindowTest, AddInCopiesOnlyMissingScanValuesBack) {
    open(kCodelink + kManual + "INSERT INTO tblManual VALUES ('0456', 'MINE');");
    click("cmdAddIn");
    EXPECT_EQ(pairs(file(), "tblCodelink"),
              (QStringList{"0456=HAMMER", "0123=NAILS", "0999=GLUE", "M-1=MANUAL-ONLY"}));
    EXPECT_TRUE(dialogs.messages().empty());
}

TEST_F(DataEntryWindowTest, AnEmptyTableOpensAndTheProgressWindowSaysOpeningOrUpdating) {
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
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(text("txtNumRec"), "0");
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
    folder.sql("dbscan.mdb", dbtest::insertRows(2000, "'S' || i, 'ITEM-' || i, 'd', 1"));
    dbtest::damagePagesHolding(file(), "ITEM-1000", 1);
    const auto error = testsupport::errorOf([] { db::frmDataEntry::showWindow(); });
    EXPECT_EQ(error.number, platform::err::UnrecognizedFormat);
    EXPECT_TRUE(error.description.contains("damaged")) << error.description.toStdString();
    for (QWidget* top : QApplication::topLevelWidgets())
        EXPECT_EQ(qobject_cast<db::frmDataEntry*>(top), nullptr);
}

TEST_F(DataEntryWindowTest, AddInAReadOnlyFolderShowsOneErrorBoxAndKeepsTheData) {
    open(kCodelink);
    QFile::setPermissions(folder.path(),
                          QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
    QFile::setPermissions(file(), QFile::ReadOwner | QFile::ReadOther);
    {
        const testsupport::PermissionsEnforced asUser;
        enter("0555", "NEW");
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
    EXPECT_EQ(text("txtScan"), "0555") << "the typed pair is not lost";
}
