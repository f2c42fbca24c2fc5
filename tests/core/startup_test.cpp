#include "core/application.h"
#include "core/startup.h"
#include "db/db_test_support.h"
#include "platform/single_instance.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// Start-ups in these tests must not meet the one-copy lock of a copy the developer runs.
class PrivateRuntimeFolder {
public:
    PrivateRuntimeFolder()
        : previous_(qgetenv("XDG_RUNTIME_DIR")) {
        QFile::setPermissions(dir_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", dir_.path().toLocal8Bit());
    }
    ~PrivateRuntimeFolder() { qputenv("XDG_RUNTIME_DIR", previous_); }

private:
    QTemporaryDir dir_;
    QByteArray previous_;
};

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
    PrivateRuntimeFolder runtime;
    testsupport::ScriptedDialogs dialogs;
    testsupport::TempProgramFolder folder;
    const QString file = QDir::toNativeSeparators(folder.file("dbscan.mdb"));
    testsupport::writeFile(folder.file("dbscan.mdb"), "this is not a database any more");
    QString text = failedStartMessage(dialogs);
    EXPECT_TRUE(text.contains(file + " cannot be read")) << text.toStdString();
    EXPECT_TRUE(text.contains("orvane-translator repair"));

    QFile::remove(folder.file("dbscan.mdb"));
    text = failedStartMessage(dialogs);
    EXPECT_TRUE(text.contains(file + " is missing")) << text.toStdString();
    EXPECT_TRUE(text.contains("installation package"));

    testsupport::TempProgramFolder locked;
    {
        const dbtest::ShortBusyTimeout fast;
        const dbtest::LockingProcess lock(locked.file("dbscan.mdb"));
        text = failedStartMessage(dialogs);
    }
    EXPECT_TRUE(text.contains(QDir::toNativeSeparators(locked.file("dbscan.mdb")) + " is locked"))
        << text.toStdString();
}

TEST(StartUp, ASecondCopyFindsTheFirstAndGivesUpWhenItDoesNotAnswerAndThePauseIsNone) {
    PrivateRuntimeFolder runtime;
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
