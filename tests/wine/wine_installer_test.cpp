// The installer as a store runs it: silently into the user's own program folder, the installed
// program starting from there, an update that keeps the store's database, and the uninstaller.
#include "support/program_folder_fixture.h"
#include "wine_session.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

// A folder of the prefix's one user (Wine names it after the Linux user).
QString userFolder(const QString& below) {
    const QDir users(wine::prefix() + "/drive_c/users");
    for (const QFileInfo& user : users.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot))
        if (user.fileName() != "Public")
            return user.filePath() + "/" + below;
    return {};
}

TEST(WineInstaller, InstallsForTheUserKeepsTheDatabaseOnUpdateAndUninstalls) {
    if (!wine::available())
        GTEST_SKIP() << "no Windows build and Wine prefix (scripts/test-windows runs these)";
    const QString setup = wine::windowsBuild() + "/orvane-translator-setup.exe";
    const auto install = [&] {
        const wine::Result result = wine::run(setup, {"/S"});
        wine::waitForAll();
        return result.exitCode;
    };
    ASSERT_EQ(install(), 0);
    const QString folder = userFolder("AppData/Local/Programs/Orvane Translator");
    for (const char* file :
         {"orvane-translator.exe", "orvane-translator.com", "Qt6Core.dll", "platforms/qwindows.dll",
          "dbscan.mdb", "transltr.ini", "uninstall.exe"})
        EXPECT_TRUE(QFileInfo::exists(folder + "/" + file)) << file;
    const QString shortcut =
        userFolder("AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Orvane Translator.lnk");
    EXPECT_TRUE(QFileInfo::exists(shortcut));

    {
        QProcess program;
        wine::start(program, folder + "/orvane-translator.exe", {});
        testsupport::TopLevelWindows windows(qEnvironmentVariable("DISPLAY"));
        EXPECT_TRUE(e2e::pumpUntil([&] { return windows.shown("Orvane Translator "); }, 60000))
            << "the installed program shows its main window";
        wine::endAll();
    }

    testsupport::runSql(folder + "/dbscan.mdb",
                        "INSERT INTO tblCodelink VALUES ('STORE-1', 'Kept', NULL, 1)");
    testsupport::writeFile(folder + "/transltr.ini", "Timeout=25\r\n");
    ASSERT_EQ(install(), 0) << "an update over the installation";
    EXPECT_EQ(testsupport::rows(folder + "/dbscan.mdb",
                                "SELECT ReturnValue FROM tblCodelink WHERE ScanValue = 'STORE-1'"),
              QStringList{"Kept"});
    QFile ini(folder + "/transltr.ini");
    ASSERT_TRUE(ini.open(QIODevice::ReadOnly));
    EXPECT_EQ(ini.readAll(), "Timeout=25\r\n");

    EXPECT_EQ(wine::run(folder + "/uninstall.exe", {"/S"}).exitCode, 0);
    wine::waitForAll(); // the uninstaller goes on from a copy of itself
    EXPECT_FALSE(QFileInfo::exists(folder + "/orvane-translator.exe"));
    EXPECT_FALSE(QFileInfo::exists(folder + "/platforms"));
    EXPECT_FALSE(QFileInfo::exists(shortcut));
    EXPECT_TRUE(QFileInfo::exists(folder + "/dbscan.mdb"))
        << "a silent uninstall keeps the store's data";
}

} // namespace
