#include "core/application.h"
#include "core/startup.h"
#include "platform/database.h"
#include "platform/single_instance.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTime>

#include <atomic>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <thread>

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

core::Application& app() {
    return *static_cast<core::Application*>(QCoreApplication::instance());
}

} // namespace

TEST(StartUp, AMissingOrLockedDatabaseEndsTheStartWithOneMessageNamingIt) {
    PrivateRuntimeFolder runtime;
    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    QFile::remove(folder.file("dbscan.mdb"));
    EXPECT_EQ(core::Main(app()), 1);
    ASSERT_EQ(dialogs.messages().size(), 1u);
    EXPECT_TRUE(dialogs.messages()[0].text.contains(folder.file("dbscan.mdb")));
    EXPECT_EQ(dialogs.messages()[0].icon, platform::Icon::Critical);

    testsupport::TempProgramFolder locked;
    dialogs.clear();
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(locked.file("dbscan.mdb").toUtf8().constData(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    const int previousTimeout = platform::Database::busyTimeoutMs();
    platform::Database::setBusyTimeoutMs(300);
    EXPECT_EQ(core::Main(app()), 1);
    platform::Database::setBusyTimeoutMs(previousTimeout);
    sqlite3_close(holder);
    ASSERT_EQ(dialogs.messages().size(), 1u);
    EXPECT_TRUE(dialogs.messages()[0].text.contains("locked"));
    EXPECT_TRUE(dialogs.messages()[0].text.contains(locked.file("dbscan.mdb")));
}

TEST(StartUp, SecondCopyFindsTheFirstAndAskingWithoutAnswerEnds) {
    PrivateRuntimeFolder runtime;
    platform::SingleInstance first("Orvane Translator test");
    ASSERT_TRUE(first.isFirst());
    platform::SingleInstance second("Orvane Translator test");
    EXPECT_FALSE(second.isFirst());
    EXPECT_FALSE(second.activateFirst(200)) << "the first copy is not answering yet";

    int asked = 0;
    QObject::connect(&first, &platform::SingleInstance::activationRequested, [&] { ++asked; });
    ASSERT_TRUE(first.listen());
    // The second copy asks and waits, as a separate process would; the first answers from its
    // event loop.
    std::atomic<bool> answered = false;
    std::atomic<bool> finished = false;
    std::thread asking([&] {
        answered = second.activateFirst(2000);
        finished = true;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return finished.load(); }, 3000));
    asking.join();
    EXPECT_TRUE(answered);
    EXPECT_EQ(asked, 1);
}

TEST(StartUp, PauseReturnsAtOnce) {
    QElapsedTimer clock;
    clock.start();
    core::Pause(3);
    EXPECT_LT(clock.elapsed(), 1000);
}
