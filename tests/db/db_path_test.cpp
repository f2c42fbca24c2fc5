#include "core/shared_state.h"
#include "db/db_path.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using testsupport::ScriptedDialogs;
using testsupport::TempProgramFolder;

namespace {

// Dialogs that bring the shared file back while the user looks at the question.
struct RestoringDialogs : ScriptedDialogs {
    platform::Answer message(const platform::MessageRequest& request) override {
        QFile::copy(source, target);
        return ScriptedDialogs::message(request);
    }
    QString source, target;
};

} // namespace

// Retry looks again; Cancel turns sharing off until the settings are read again.
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
    EXPECT_EQ(dialogs.messages()[0].text,
              "Lost Connection to Shared Database\r\nAt " + QDir::toNativeSeparators(shared));
    EXPECT_EQ(dialogs.messages()[0].buttons, platform::Buttons::RetryCancel);
    EXPECT_TRUE(core::shared().IsDBShared);

    core::shared().SharedDataBase = folder.file("gone/shared.mdb");
    dialogs.answer({platform::Answer::Retry, platform::Answer::Cancel});
    EXPECT_EQ(db::GetDbPath(), folder.file("dbScan.mdb"));
    EXPECT_EQ(dialogs.messages().size(), 3u);
    EXPECT_FALSE(core::shared().IsDBShared);
    EXPECT_EQ(db::GetDbPath(), folder.file("dbScan.mdb"));
    EXPECT_EQ(dialogs.messages().size(), 3u) << "later calls no longer ask";
    EXPECT_EQ(folder.rows("SELECT IsDBShared FROM tblSettings"), QStringList{"1"})
        << "the stored setting is left alone";
}
