#include "core/application.h"
#include "core/startup.h"
#include "db/db_test_support.h"
#include "platform/single_instance.h"
#include "support/checks.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <gtest/gtest.h>

using testsupport::contains;

namespace {

// Runs the program's start on the current program folder; it must end with exit code 1 and
// exactly one critical message, whose text is returned.
QString failedStartMessage(testsupport::ScriptedDialogs& dialogs) {
    dialogs.clear();
    EXPECT_EQ(core::Main(*static_cast<core::Application*>(QCoreApplication::instance())), 1);
    EXPECT_EQ(dialogs.messages().size(), 1u);
    if (dialogs.messages().empty())
        return QString();
    EXPECT_EQ(dialogs.messages()[0].icon, platform::Icon::Critical);
    return dialogs.messages()[0].text;
}

} // namespace

TEST(StartUp, ADatabaseThatCannotBeUsedEndsTheStartWithOneMessageNamingItAndAWayOut) {
    testsupport::PrivateRuntimeFolder runtime;
    testsupport::ScriptedDialogs dialogs;
    testsupport::TempProgramFolder folder;
    const QString file = QDir::toNativeSeparators(folder.file("dbscan.mdb"));
    testsupport::writeFile(folder.file("dbscan.mdb"), "this is not a database any more");
    EXPECT_TRUE(contains(failedStartMessage(dialogs), file + " cannot be read",
                         "orvane-translator repair"));
    QFile::remove(folder.file("dbscan.mdb"));
    EXPECT_TRUE(
        contains(failedStartMessage(dialogs), file + " is missing", "installation package"));

    testsupport::TempProgramFolder locked;
    QString text;
    {
        const dbtest::ShortBusyTimeout fast;
        const dbtest::LockingProcess lock(locked.file("dbscan.mdb"));
        text = failedStartMessage(dialogs);
    }
    EXPECT_TRUE(contains(text, QDir::toNativeSeparators(locked.file("dbscan.mdb")) + " is locked"));
}

TEST(StartUp, ASecondCopyFindsTheFirstAndGivesUpWhenItDoesNotAnswerAndThePauseIsNone) {
    testsupport::PrivateRuntimeFolder runtime;
    platform::SingleInstance first("Orvane Translator test");
    ASSERT_TRUE(first.isFirst());
    platform::SingleInstance second("Orvane Translator test");
    EXPECT_FALSE(second.isFirst());
    EXPECT_FALSE(second.activateFirst(200)) << "the first copy is not answering yet";

    QElapsedTimer clock; // the splash screen's pause returns at once
    clock.start();
    core::Pause(3);
    EXPECT_LT(clock.elapsed(), 1000);
}
