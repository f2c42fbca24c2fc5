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

const QString kIncomplete =
    "Please make sure you have completed both ScanCode and ReturnCode fields";

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

    void fillGrid() { boxes.model.fill(file(), db::CodelinkModel::Layout::AllFields); }

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

    QStringList gridPairs() const {
        QStringList result;
        for (int row = 1; row <= boxes.model.dataRows(); ++row)
            result << boxes.model.text(row, 0) + u'=' + boxes.model.text(row, 1);
        return result;
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    Boxes boxes;
};

} // namespace

TEST_F(UpdateCodelinkTest, RefusesEveryActionUntilBothBoxesHoldText) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('A1', 'R1', NULL, 1);");
    fillGrid();
    for (const QString action : {"add", "chg", "dlt"}) {
        SCOPED_TRACE(action.toStdString());
        dialogs.clear();
        EXPECT_EQ(run(action, "   ", "R9"), -1);
        EXPECT_EQ(boxes.focus, Boxes::Focus::Scan);
        EXPECT_EQ(run(action, "A9", ""), -1);
        EXPECT_EQ(boxes.focus, Boxes::Focus::Return);
        ASSERT_EQ(dialogs.messages().size(), 2u);
        EXPECT_EQ(dialogs.messages()[0].text, kIncomplete);
        EXPECT_EQ(dialogs.messages()[0].icon, Icon::Critical);
        EXPECT_EQ(dialogs.messages()[0].title, "Orvane Translator");
    }
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"A1=R1"});
    EXPECT_EQ(gridPairs(), QStringList{"A1=R1"});

    dialogs.clear();
    EXPECT_EQ(run("upd", "", ""), 0) << "an unknown action does nothing";
    EXPECT_TRUE(dialogs.messages().empty());
}

TEST_F(UpdateCodelinkTest, FirstEntryIntoAnEmptyTableIsNotRecordedAsManual) {
    fillGrid();
    EXPECT_EQ(run("add", "FIRST", "R1"), 0);
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"FIRST=R1"});
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());

    EXPECT_EQ(run("add", "SECOND", "R1"), 0) << "return values need not be unique";
    EXPECT_EQ(pairs(file(), "tblCodelink"), (QStringList{"FIRST=R1", "SECOND=R1"}));
    EXPECT_EQ(pairs(file(), "tblManual"), QStringList{"SECOND=R1"});
    EXPECT_EQ(gridPairs(), (QStringList{"FIRST=R1", "SECOND=R1"}));
    EXPECT_EQ(boxes.model.data(boxes.model.index(1, 2)).toString(), "")
        << "an added row shows no unit until the grid is filled again";
    EXPECT_TRUE(dialogs.messages().empty());
}

TEST_F(UpdateCodelinkTest, AddRefusesAScanValueThatExistsInAnyCase) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('ABC', 'R1', NULL, 1);");
    fillGrid();
    EXPECT_EQ(run("add", "abc", "OTHER"), -1);
    ASSERT_EQ(dialogs.messages().size(), 1u);
    EXPECT_EQ(dialogs.messages()[0].text,
              "A scan value of abc already exists.  Duplicate scan codes are not allowed.");
    EXPECT_EQ(dialogs.messages()[0].icon, Icon::Critical);
    EXPECT_EQ(boxes.focus, Boxes::Focus::Scan);
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"ABC=R1"});
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());
    EXPECT_EQ(gridPairs(), QStringList{"ABC=R1"});
}

TEST_F(UpdateCodelinkTest, ChangeRefusesAnotherRowsScanValueAndAcceptsItsOwn) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('S1', 'R1', NULL, 1);"
                             "INSERT INTO tblCodelink VALUES ('S2', 'R2', NULL, 1);"
                             "INSERT INTO tblManual VALUES ('S2', 'R2');");
    fillGrid();
    selectRow(2);
    EXPECT_EQ(run("chg", "s1", "R9"), -1);
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList{"Scan code 's1' already represents the return value 'R1'.  Please "
                          "choose another scan value."});
    EXPECT_EQ(dialogs.messages()[0].icon, Icon::None);
    EXPECT_EQ(pairs(file(), "tblCodelink"), (QStringList{"S1=R1", "S2=R2"}));

    dialogs.clear();
    EXPECT_EQ(run("chg", "S2", "R2-NEW"), 0);
    EXPECT_TRUE(dialogs.messages().empty());
    EXPECT_EQ(pairs(file(), "tblCodelink"), (QStringList{"S1=R1", "S2=R2-NEW"}));
    EXPECT_EQ(pairs(file(), "tblManual"), QStringList{"S2=R2-NEW"});
    EXPECT_EQ(gridPairs(), (QStringList{"S1=R1", "S2=R2-NEW"}));
}

TEST_F(UpdateCodelinkTest, ChangingAnImportedPairDoesNotRecordItAsManual) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('IMP', 'R1', 'Bolt', 4);"
                             "INSERT INTO tblManual VALUES ('OTHER', 'X');");
    fillGrid();
    selectRow(1);
    EXPECT_EQ(run("chg", "IMP-2", "R2"), 0);
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"IMP-2=R2"});
    EXPECT_EQ(pairs(file(), "tblManual"), QStringList{"OTHER=X"});
    EXPECT_EQ(boxes.model.data(boxes.model.index(0, 3)).toString(), "Bolt")
        << "the grid keeps the other fields of a changed row";
}

TEST_F(UpdateCodelinkTest, DeleteRemovesAManualPairFromBothTablesAndAnImportedOneFromTheGridOnly) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('IMP', 'R1', NULL, 1);"
                             "INSERT INTO tblCodelink VALUES ('MAN', 'R2', NULL, 1);"
                             "INSERT INTO tblManual VALUES ('MAN', 'R2');");
    fillGrid();
    EXPECT_EQ(run("dlt", "MAN", "R2"), 1);
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"IMP=R1"});
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());
    EXPECT_EQ(gridPairs(), QStringList{"IMP=R1"});
    EXPECT_EQ(boxes.scan + u'=' + boxes.ret, "IMP=R1") << "the boxes show the first row";

    EXPECT_EQ(run("dlt", "IMP", "R1"), 1);
    EXPECT_TRUE(gridPairs().isEmpty());
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"IMP=R1"})
        << "an imported pair keeps translating scans";
    EXPECT_TRUE(dialogs.messages().empty());
}

TEST_F(UpdateCodelinkTest, DeleteRefusesAPairThatDiffersFromTheGridEvenInLetterCase) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('MAN', 'R2', NULL, 1);"
                             "INSERT INTO tblManual VALUES ('MAN', 'R2');");
    fillGrid();
    EXPECT_EQ(run("dlt", "MAN", "WRONG"), -1);
    EXPECT_EQ(run("dlt", "man", "R2"), -1);
    EXPECT_EQ(run("dlt", "MAN", "r2"), -1);
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList(3, "Scan/Return code combination not found in the table."));
    EXPECT_EQ(boxes.focus, Boxes::Focus::Scan);
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"MAN=R2"});
    EXPECT_EQ(pairs(file(), "tblManual"), QStringList{"MAN=R2"});
    EXPECT_EQ(gridPairs(), QStringList{"MAN=R2"});
}

TEST_F(UpdateCodelinkTest, DeletingAManualPairMissingFromTheTranslationTableSaysSo) {
    folder.sql("dbscan.mdb", "INSERT INTO tblManual VALUES ('GONE', 'R1');");
    fillGrid();
    boxes.model.appendRow("GONE", "R1");
    EXPECT_EQ(run("dlt", "GONE", "R1"), 1);
    EXPECT_EQ(dialogs.messageTexts(),
              QStringList{"The scan code was not found in the list and no items were deleted"});
    EXPECT_TRUE(pairs(file(), "tblManual").isEmpty());
    EXPECT_EQ(boxes.model.dataRows(), 0);
}

TEST_F(UpdateCodelinkTest, ALockedDatabaseFailsClearlyAndChangesNothing) {
    folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('S1', 'R1', NULL, 1);"
                             "INSERT INTO tblManual VALUES ('S1', 'R1');");
    fillGrid();
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
    EXPECT_EQ(pairs(file(), "tblCodelink"), QStringList{"S1=R1"});
    EXPECT_EQ(pairs(file(), "tblManual"), QStringList{"S1=R1"});
    EXPECT_EQ(gridPairs(), QStringList{"S1=R1"});
}

// The grid answers "which row holds this scan value" from the file's index and its own edits;
// the answer must be the one a walk over every row of the grid gives.
TEST_F(UpdateCodelinkTest, GridSearchesAgreeWithAWalkOverEveryRow) {
    QString inserts = "BEGIN;";
    for (int i = 0; i < 3000; ++i)
        inserts += QString("INSERT INTO tblCodelink VALUES ('K%1', 'V%2', NULL, 1);")
                       .arg((i * 7919) % 3001)
                       .arg(i % 50);
    folder.sql("dbscan.mdb", inserts + "COMMIT;");
    fillGrid();
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
    const auto walkScan = [&](const QString& scan, int skip) {
        for (int row = 1; row <= grid.dataRows(); ++row) {
            if (row != skip && db::sameText(grid.text(row, 0), scan))
                return row;
        }
        return 0;
    };
    const auto walkPair = [&](const QString& scan, const QString& ret) {
        for (int row = 1; row <= grid.dataRows(); ++row) {
            if (grid.text(row, 0) == scan && grid.text(row, 1) == ret)
                return row;
        }
        return 0;
    };
    for (int i = 0; i < 300; ++i) {
        const QString scan = QString(i % 2 ? "K%1" : "k%1").arg(random.bounded(3200));
        const QString ret = QString("V%1").arg(random.bounded(50));
        const int skip = static_cast<int>(random.bounded(grid.dataRows() + 1));
        ASSERT_EQ(grid.findScan(scan, skip), walkScan(scan, skip)) << scan.toStdString();
        ASSERT_EQ(grid.findPair(scan, ret), walkPair(scan, ret)) << scan.toStdString();
    }
}
