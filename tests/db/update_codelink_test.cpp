// The rules of adding, changing and deleting pairs by hand, run on real database files with the
// grid the data entry window uses, but without the window.
#include "db/codelink_model.h"
#include "db/update_codelink.h"
#include "db_test_support.h"
#include "platform/app_error.h"
#include "support/errors.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QRandomGenerator>

#include <gtest/gtest.h>

using dbtest::pairs;
using platform::Icon;

namespace {

// The boxes of the data entry window and its grid.
class Boxes : public db::PairEditor {
public:
    enum class Focus { None, Scan, Return };

    QString scanText() const override { return scan; }
    QString returnText() const override { return ret; }
    void setScanText(const QString& text) override { scan = text; }
    void setReturnText(const QString& text) override { ret = text; }
    void focusScan() override { focus = Focus::Scan; }
    void focusReturn() override { focus = Focus::Return; }
    db::CodelinkGrid& grid() override { return model; }

    QString scan;
    QString ret;
    Focus focus = Focus::None;
    db::CodelinkModel model;
};

class UpdateCodelinkTest : public ::testing::Test {
protected:
    QString file() const { return folder.file("dbscan.mdb"); }

    // Runs sql on the translation database, then fills the grid from it.
    void fill(const QString& sql = {}) {
        if (!sql.isEmpty())
            folder.sql("dbscan.mdb", sql);
        boxes.model.fill(file(), db::CodelinkModel::Layout::AllFields);
    }

    int run(const QString& action, const QString& scan, const QString& ret) {
        boxes.scan = scan;
        boxes.ret = ret;
        boxes.focus = Boxes::Focus::None;
        return db::UpdateCodelink(action, boxes);
    }

    void selectRow(int row) {
        boxes.model.selection()->setCurrentIndex(boxes.model.index(row - 1, 0),
                                                 QItemSelectionModel::ClearAndSelect);
    }

    // tblCodelink, tblManual and the grid, each as its "scan=return" pairs joined by spaces.
    QStringList tables() const {
        QStringList grid;
        for (int row = 1; row <= boxes.model.dataRows(); ++row)
            grid << boxes.model.text(row, 0) + u'=' + boxes.model.text(row, 1);
        return {pairs(file(), "tblCodelink").join(' '), pairs(file(), "tblManual").join(' '),
                grid.join(' ')};
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    Boxes boxes;
};

} // namespace

TEST_F(UpdateCodelinkTest, RefusesEveryActionUntilBothBoxesHoldText) {
    fill("INSERT INTO tblCodelink VALUES ('A1', 'R1', NULL, 1);");
    for (const QString action : {"add", "chg", "dlt"}) {
        SCOPED_TRACE(action.toStdString());
        dialogs.clear();
        EXPECT_EQ(run(action, "   ", "R9"), -1);
        EXPECT_EQ(boxes.focus, Boxes::Focus::Scan);
        EXPECT_EQ(run(action, "A9", ""), -1);
        EXPECT_EQ(boxes.focus, Boxes::Focus::Return);
        ASSERT_EQ(dialogs.messageTexts(),
                  QStringList(2, "Please make sure you have completed both ScanCode and "
                                 "ReturnCode fields"));
        EXPECT_EQ(dialogs.messages()[0].icon, Icon::Critical);
        EXPECT_EQ(dialogs.messages()[0].title, "Orvane Translator");
    }
    EXPECT_EQ(tables(), (QStringList{"A1=R1", "", "A1=R1"}));

    dialogs.clear();
    EXPECT_EQ(run("upd", "", ""), 0) << "an unknown action does nothing";
    EXPECT_TRUE(dialogs.messages().empty());
}

TEST_F(UpdateCodelinkTest, AddRecordsManualPairsButTheFirstAndRefusesAScanValueInAnyCase) {
    fill();
    EXPECT_EQ(run("add", "FIRST", "R1"), 0);
    EXPECT_EQ(tables(), (QStringList{"FIRST=R1", "", "FIRST=R1"}))
        << "the first entry into an empty table is not recorded as manual";
    EXPECT_EQ(run("add", "SECOND", "R1"), 0) << "return values need not be unique";
    const QStringList added = {"FIRST=R1 SECOND=R1", "SECOND=R1", "FIRST=R1 SECOND=R1"};
    EXPECT_EQ(tables(), added);
    EXPECT_EQ(boxes.model.data(boxes.model.index(1, 2)).toString(), "")
        << "an added row shows no unit until the grid is filled again";
    EXPECT_TRUE(dialogs.messages().empty());

    EXPECT_EQ(run("add", "first", "OTHER"), -1);
    ASSERT_EQ(dialogs.messageTexts(),
              QStringList{"A scan value of first already exists.  Duplicate scan codes are not "
                          "allowed."});
    EXPECT_EQ(dialogs.messages()[0].icon, Icon::Critical);
    EXPECT_EQ(boxes.focus, Boxes::Focus::Scan);
    EXPECT_EQ(tables(), added);
}

// Change refuses the scan value of another row, compared without letter case, and accepts the
// row's own. A pair that is only in tblCodelink (an imported item) is not recorded as manual.
TEST_F(UpdateCodelinkTest, ChangeRefusesAnotherRowsScanValueAndKeepsImportedPairsOutOfManual) {
    fill("INSERT INTO tblCodelink VALUES ('S1', 'R1', 'Bolt', 4), ('S2', 'R2', NULL, 1);"
         "INSERT INTO tblManual VALUES ('S2', 'R2');");
    selectRow(2);
    EXPECT_EQ(run("chg", "s1", "R9"), -1);
    ASSERT_EQ(dialogs.messageTexts(),
              QStringList{"Scan code 's1' already represents the return value 'R1'.  Please "
                          "choose another scan value."});
    EXPECT_EQ(dialogs.messages()[0].icon, Icon::None);
    EXPECT_EQ(tables(), (QStringList{"S1=R1 S2=R2", "S2=R2", "S1=R1 S2=R2"}));

    dialogs.clear();
    EXPECT_EQ(run("chg", "S2", "R2-NEW"), 0);
    selectRow(1);
    EXPECT_EQ(run("chg", "S1-2", "R1-NEW"), 0);
    EXPECT_TRUE(dialogs.messages().empty());
    EXPECT_EQ(tables(),
              (QStringList{"S1-2=R1-NEW S2=R2-NEW", "S2=R2-NEW", "S1-2=R1-NEW S2=R2-NEW"}));
    EXPECT_EQ(boxes.model.data(boxes.model.index(0, 3)).toString(), "Bolt")
        << "the grid keeps the other fields of a changed row";
}

// Delete finds the pair in the grid by exactly its texts. A manual pair leaves both tables; an
// imported one leaves the grid only and keeps translating scans.
TEST_F(UpdateCodelinkTest, DeleteNeedsTheExactPairAndRemovesOnlyManualPairsFromTheFile) {
    fill("INSERT INTO tblCodelink VALUES ('IMP', 'R1', NULL, 1), ('MAN', 'R2', NULL, 1);"
         "INSERT INTO tblManual VALUES ('MAN', 'R2');");
    EXPECT_EQ(run("dlt", "MAN", "WRONG"), -1);
    EXPECT_EQ(run("dlt", "man", "R2"), -1);
    EXPECT_EQ(run("dlt", "MAN", "r2"), -1);
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList(3, "Scan/Return code combination not found in the table."));
    EXPECT_EQ(boxes.focus, Boxes::Focus::Scan);
    EXPECT_EQ(tables(), (QStringList{"IMP=R1 MAN=R2", "MAN=R2", "IMP=R1 MAN=R2"}));

    dialogs.clear();
    EXPECT_EQ(run("dlt", "MAN", "R2"), 1);
    EXPECT_EQ(tables(), (QStringList{"IMP=R1", "", "IMP=R1"}));
    EXPECT_EQ(boxes.scan + u'=' + boxes.ret, "IMP=R1") << "the boxes show the first row";
    EXPECT_EQ(run("dlt", "IMP", "R1"), 1);
    EXPECT_EQ(tables(), (QStringList{"IMP=R1", "", ""}));
    EXPECT_TRUE(dialogs.messages().empty());

    // A manual pair that is missing from the translation table.
    folder.sql("dbscan.mdb", "INSERT INTO tblManual VALUES ('GONE', 'R1');");
    boxes.model.appendRow("GONE", "R1");
    EXPECT_EQ(run("dlt", "GONE", "R1"), 1);
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList{"The scan code was not found in the list and no items were deleted"});
    EXPECT_EQ(tables(), (QStringList{"IMP=R1", "", ""}));
}

TEST_F(UpdateCodelinkTest, ALockedDatabaseFailsClearlyAndChangesNothing) {
    fill("INSERT INTO tblCodelink VALUES ('S1', 'R1', NULL, 1);"
         "INSERT INTO tblManual VALUES ('S1', 'R1');");
    const dbtest::ShortBusyTimeout fast;
    {
        const dbtest::ShellLock lock(file());
        for (const QString action : {"add", "dlt"}) {
            const auto error = testsupport::errorOf([&] { run(action, "S1", "R1"); });
            EXPECT_EQ(error.number, platform::err::FileLocked) << action.toStdString();
            EXPECT_TRUE(error.description.contains("locked")) << error.description.toStdString();
        }
        selectRow(1);
        EXPECT_EQ(testsupport::errorOf([&] { run("chg", "S1", "R2"); }).number,
                  platform::err::FileLocked);
    }
    EXPECT_EQ(tables(), (QStringList{"S1=R1", "S1=R1", "S1=R1"}));
}

// The grid answers "which row holds this scan value" from the file's index and its own edits;
// the answer must be the one a walk over every row of the grid gives.
TEST_F(UpdateCodelinkTest, GridSearchesAgreeWithAWalkOverEveryRow) {
    fill(dbtest::insertRows(3000, "'K' || (i * 7919 % 3001), 'V' || (i % 50), NULL, 1"));
    db::CodelinkModel& grid = boxes.model;
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
