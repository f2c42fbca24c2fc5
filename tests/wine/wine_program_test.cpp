// The Windows program under Wine, from a copy of its program folder: scanning on a COM port that
// Wine maps to one end of a socat pair, typing through SendInput into a receiving window built
// for Windows, refusing scans while its own window has the focus, handing over to the first copy;
// and its command line through the console companion.
#include "support/program_folder_fixture.h"
#include "support/socat_pair.h"
#include "wine_session.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <memory>

namespace {

const QString kMain = QStringLiteral("Orvane Translator "); // the trailing blank is the program's
const QString kReceiver = QStringLiteral("Orvane key receiver");

// The receiving window built for Windows, which writes down every key it gets.
struct WineReceiver : e2e::KeyReceiver {
    WineReceiver()
        : KeyReceiver(
              [](QProcess& process, const QString& output) {
                  wine::start(process, wine::windowsBuild() + "/tests/e2e/orvane-keyreceiver.exe",
                              {wine::windowsPath(output)});
              },
              60000) {}
};

class WineProgram : public ::testing::Test {
protected:
    void SetUp() override {
        if (!wine::available())
            GTEST_SKIP() << "no Windows build and Wine prefix (scripts/test-windows runs these)";
        ASSERT_EQ(QProcess::execute("cp", {"-r", wine::windowsBuild() + "/package/.", dir_.path()}),
                  0);
        // COM5 of the prefix is the program's end of the pair.
        const QString com5 = wine::prefix() + "/dosdevices/com5";
        QFile::remove(com5);
        ASSERT_TRUE(QFile::link(pair_.port(), com5));
        testsupport::runSql(database(),
                            "INSERT INTO tblCodelink VALUES ('0012345', 'Größe ½ Ω', 'Pipe', 12);"
                            "UPDATE tblSettings SET autostart = 1, ACK = 1, ComPort = '5', "
                            "append = '<RetVal><TAB><UoM><F2><CTRL>s<RET>'");
        windows_ = std::make_unique<testsupport::TopLevelWindows>(qEnvironmentVariable("DISPLAY"));
    }
    void TearDown() override { wine::endAll(); }

    QString database() const { return dir_.filePath("dbscan.mdb"); }
    QString program() const { return dir_.filePath("orvane-translator.exe"); }

    void startProgram(QProcess& process) {
        wine::start(process, program(), {});
        ASSERT_TRUE(e2e::pumpUntil([&] { return windows_->shown(kMain); }, 60000))
            << "the main window did not appear";
    }

    // Scans through the far end; what the receiving window got for it, up to the Enter.
    QString scan(const WineReceiver& receiver, const QByteArray& bytes) {
        const qsizetype from = receiver.received().size();
        pair_.writeToPeer(bytes);
        return receiver.waitForEnd(from, "{ENTER}", 20000);
    }

    // A scan sent now is neither typed nor acknowledged.
    void expectRefused(const WineReceiver& receiver) {
        const QString before = receiver.received();
        pair_.writeToPeer("0012345\r\n");
        EXPECT_TRUE(pair_.readFromPeer(1, std::chrono::milliseconds(1500)).isEmpty())
            << "a refused scan is not acknowledged";
        EXPECT_EQ(receiver.received(), before);
    }

    QTemporaryDir dir_;
    testsupport::SocatPair pair_;
    std::unique_ptr<testsupport::TopLevelWindows> windows_;
};

TEST_F(WineProgram, ScansAreTypedThroughSendInputAcknowledgedAndNeverIntoItsOwnWindow) {
    WineReceiver receiver;
    QProcess first;
    startProgram(first);
    // The main window is the foreground window as the program starts: a scan now is refused
    // (its note is a tray balloon, which Wine's shell shows without a window of its own).
    ASSERT_TRUE(windows_->focus(kMain));
    expectRefused(receiver);
    // While Wine's shell shows the note's balloon (4 s), keys sent with SendInput do not reach
    // the window that has the X focus: the scans go on once it is gone.
    e2e::pumpUntil([] { return false; }, 5000);

    ASSERT_TRUE(windows_->focus(kReceiver));
    EXPECT_EQ(scan(receiver, "0012345\r\n"), "Größe ½ Ω{TAB}12{F2}^s");
    EXPECT_EQ(scan(receiver, "999\r\n"), "999{TAB}1{F2}^s");
    EXPECT_EQ(pair_.readFromPeer(3, std::chrono::milliseconds(2000)), QByteArray(2, '\x06'))
        << "one acknowledgement per typed scan";

    // A second start hands over to the first copy and ends.
    QElapsedTimer elapsed;
    elapsed.start();
    const wine::Result second = wine::run(program(), {});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_LT(elapsed.elapsed(), 15000) << "ms until the second copy ended";
    EXPECT_EQ(first.state(), QProcess::Running);
    // The first copy's window came to the front (Wine moves no X focus without a window
    // manager): the system's foreground window is the program's own again.
    expectRefused(receiver);
}

TEST_F(WineProgram, QuietLineFramingEndsAScanAfterTenQuietTicks) {
    testsupport::runSql(database(), "UPDATE tblSettings SET CRLF = 0");
    WineReceiver receiver;
    QProcess program;
    startProgram(program);
    ASSERT_TRUE(windows_->focus(kReceiver));
    EXPECT_EQ(scan(receiver, "0012345"), "Größe ½ Ω{TAB}12{F2}^s");
    EXPECT_EQ(pair_.readFromPeer(1, std::chrono::milliseconds(2000)), QByteArray(1, '\x06'));
}

TEST_F(WineProgram, CommandsPrintInTheConsoleAndGiveTheirExitStatus) {
    // cmd.exe runs "orvane-translator" as the console companion (.com before .exe) and waits.
    const auto inFolder = [&](const QString& command) {
        return wine::run("cmd",
                         {"/c", "cd /d " + wine::windowsPath(dir_.path()) + " && " + command});
    };
    const wine::Result help = inFolder("orvane-translator --help");
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.output.contains("lookup CODE")) << help.output.toStdString();
    const wine::Result found = inFolder("orvane-translator lookup 0012345");
    EXPECT_EQ(found.exitCode, 0);
    EXPECT_EQ(found.output.trimmed(), "Größe ½ Ω\t12");
    const wine::Result unknown = inFolder("orvane-translator frobnicate");
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_TRUE(unknown.error.contains("unknown command")) << unknown.error.toStdString();
    // The window program itself, with its output redirected as a scheduled task's log is.
    const wine::Result logged = inFolder("orvane-translator.exe lookup 999 > log.txt");
    QFile log(dir_.filePath("log.txt"));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_EQ(log.readAll().trimmed(), "999\t1");
}

} // namespace
