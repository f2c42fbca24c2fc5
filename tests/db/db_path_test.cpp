#include "core/shared_state.h"
#include "db/db_path.h"
#include "platform/database.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QFile>
#include <QRandomGenerator>

#include <gtest/gtest.h>

using platform::Database;
using testsupport::ScriptedDialogs;
using testsupport::TempProgramFolder;

namespace {

// Text made of pieces that mean something to SQL, to the quoting or to the program's tokens.
QString randomText(QRandomGenerator& random) {
    static const QStringList pieces =
        QString("' '' | || \" ; -- /* */ & % _ \\ ( ) {TAB} <RET> a Z 9 [x] #1# ? "
                "ä Größe 漢字 🙂")
            .split(u' ') +
        QStringList{" ", "\t", "' OR '1'='1", " & chr(124) & ", "'); DROP TABLE tblSettings; --"};
    QString text;
    const int count = 1 + random.bounded(8);
    for (int i = 0; i < count; ++i)
        text += pieces[random.bounded(pieces.size())];
    return text;
}

// Dialogs that bring the shared file back while the user looks at the question.
struct RestoringDialogs : ScriptedDialogs {
    platform::Answer message(const platform::MessageRequest& request) override {
        QFile::copy(source, target);
        return ScriptedDialogs::message(request);
    }
    QString source, target;
};

} // namespace

TEST(SqlQuoteTest, AnyTextRoundTripsThroughStatementsAndNeverRunsAsSql) {
    EXPECT_EQ(db::SqlQuote("O'Neil|2"), "O''Neil' & chr(124) & '2");
    TempProgramFolder folder;
    Database db = Database::open(folder.file("dbscan.mdb"));
    QRandomGenerator random(20261122);
    for (int i = 0; i < 400; ++i) {
        const QString text = randomText(random);
        SCOPED_TRACE(text.toStdString());
        const QString q = db::SqlQuote(text);
        ASSERT_EQ(db.execute("INSERT INTO tblCodelink (ScanValue, ReturnValue) VALUES ('" + q +
                             "', '" + q + "')"),
                  1);
        platform::Recordset found = db.openRecordset(
            "SELECT tblCodelink.* From tblCodelink WHERE (((tblCodelink.ScanValue)='" + q + "'));");
        ASSERT_EQ(found.recordCount(), 1);
        EXPECT_EQ(found.value("ScanValue").toString(), text);
        EXPECT_EQ(found.value("ReturnValue").toString(), text);
        EXPECT_EQ(
            db.execute("DELETE From tblCodelink WHERE (((tblCodelink.ScanValue)='" + q + "'));"),
            1);
    }
    EXPECT_EQ(db.openRecordset("tblCodelink").recordCount(), 0);
    EXPECT_EQ(db.openRecordset("tblSettings").recordCount(), 1);
    EXPECT_EQ(db.openRecordset("tblAppendStr").recordCount(), 5);
}

// The local file, or the shared one while sharing is on. A shared file that cannot be reached is
// asked about: Retry looks again, Cancel turns sharing off until the settings are read again.
TEST(GetDbPathTest, LocalOrSharedFileAndRetryOrCancelWhileTheSharedFileIsGone) {
    TempProgramFolder folder;
    folder.sql("dbscan.mdb", "UPDATE tblSettings SET IsDBShared = 1");
    EXPECT_EQ(db::GetDbPath(), folder.file("dbScan.mdb"));

    const QString shared = folder.file("shared.mdb");
    core::shared().IsDBShared = true;
    core::shared().SharedDataBase = shared;
    RestoringDialogs dialogs;
    dialogs.source = folder.file("dbscan.mdb");
    dialogs.target = shared;
    dialogs.answer(platform::Answer::Retry);
    EXPECT_EQ(db::GetDbPath(), shared);
    ASSERT_EQ(dialogs.messages().size(), 1u);
    EXPECT_EQ(dialogs.messages()[0].text, "Lost Connection to Shared Database\r\nAt " + shared);
    EXPECT_EQ(dialogs.messages()[0].buttons, platform::Buttons::RetryCancel);
    EXPECT_TRUE(core::shared().IsDBShared);

    core::shared().SharedDataBase = folder.file("gone/shared.mdb");
    dialogs.answer(platform::Answer::Retry);
    dialogs.answer(platform::Answer::Cancel);
    EXPECT_EQ(db::GetDbPath(), folder.file("dbScan.mdb"));
    EXPECT_EQ(dialogs.messages().size(), 3u);
    EXPECT_FALSE(core::shared().IsDBShared);
    EXPECT_EQ(db::GetDbPath(), folder.file("dbScan.mdb"));
    EXPECT_EQ(dialogs.messages().size(), 3u) << "later calls no longer ask";
    EXPECT_EQ(testsupport::rows(folder.file("dbscan.mdb"), "SELECT IsDBShared FROM tblSettings"),
              QStringList{"1"})
        << "the stored setting is left alone";
}
