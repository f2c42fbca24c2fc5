// The real program, run from a temporary copy of its program folder on a private Xvfb display,
// scanning on a socat serial pair into the receiving window and driven by keys typed through
// XTest, as a user would.
#include "core/settings.h"
#include "db/db_test_support.h"
#include "db/frm_data_entry.h"
#include "db/shared_server.h"
#include "platform/send_keys.h"
#include "support/checks.h"
#include "support/pg_server.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"
#include "support/socat_pair.h"
#include "support/x11_windows.h"
#include "x11_session.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <unistd.h>

namespace {

const QString kMain = QStringLiteral("Orvane Translator "); // the trailing blank is the program's
const QString kReceiver = QStringLiteral("Orvane key receiver");

class ProgramEndToEnd : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!e2e::xvfbInstalled())
            return;
        display_ = std::make_unique<e2e::XvfbDisplay>();
        windows_ = std::make_unique<testsupport::TopLevelWindows>(display_->name());
    }
    static void TearDownTestSuite() {
        windows_.reset();
        display_.reset();
    }

    void SetUp() override {
        if (!display_)
            GTEST_SKIP() << "Xvfb is not installed";
        testsupport::copyShippedFiles(dir_.path());
        ASSERT_TRUE(QFile::copy(ORVANE_EXECUTABLE, program()));
        testsupport::runSql(database(),
                            "INSERT INTO tblCodelink VALUES ('0012345', 'WIDGET-7', 'Widget', 12);"
                            "UPDATE tblSettings SET autostart = 1, append = "
                            "'<RetVal><TAB><UoM><RET>', ComPort = '" +
                                pair_.port() + "'");
        qputenv("DISPLAY", display_->name().toLocal8Bit());
        typer_ = platform::createSystemTyper();
    }

    QString program() const { return dir_.filePath("orvane-translator"); }
    QString database() const { return dir_.filePath("dbscan.mdb"); }

    // Starts the program and waits for a main window (the first copy's, for a second copy).
    void startProgram(QProcess& process) const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DISPLAY", display_->name());
        env.insert("QT_QPA_PLATFORM", "xcb");
        // The one-copy lock and socket of these runs must not meet those of a copy the developer
        // has running: the runtime and temporary folder are the private program folder.
        env.insert("XDG_RUNTIME_DIR", dir_.path());
        env.insert("TMPDIR", dir_.path());
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(program(), {});
        ASSERT_TRUE(process.waitForStarted(5000));
        ASSERT_TRUE(e2e::pumpUntil([&] { return windows_->shown(kMain); }, 20000))
            << "the main window did not appear";
    }

    // Runs a command of the executable as a scheduled task would (no display), beside the copy
    // that startProgram started: its status (-1 for a crash) and what it said on standard error.
    std::pair<int, QString> command(const QString& executable, const QStringList& arguments) {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("DISPLAY");
        env.insert("XDG_RUNTIME_DIR", dir_.path());
        env.insert("TMPDIR", dir_.path());
        process.setProcessEnvironment(env);
        process.start(executable, arguments);
        e2e::pumpUntil([&] { return process.state() == QProcess::NotRunning; }, 60000);
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromLocal8Bit(process.readAllStandardError())};
    }

    // Types keys (send-key syntax) into the window with this caption, or wherever the focus is
    // for none, and gives the program settleMs to take them.
    void type(const QString& caption, const QString& keys, int settleMs = 300) {
        if (!caption.isEmpty()) {
            ASSERT_TRUE(e2e::pumpUntil([&] { return windows_->focus(caption); }, 10000))
                << "no window \"" << caption.toStdString() << "\" to type into";
        }
        typer_->type(platform::ParseSendKeys(keys));
        e2e::pumpUntil([] { return false; }, settleMs);
    }

    // Ends the program through keys typed into a window: it must be gone within 200 ms of them.
    void expectQuickExit(QProcess& program, const QString& caption, const QString& keys) {
        ASSERT_EQ(program.state(), QProcess::Running);
        type(caption, keys, 0);
        QElapsedTimer elapsed;
        elapsed.start();
        e2e::pumpUntil([&] { return program.state() == QProcess::NotRunning; }, 10000);
        EXPECT_LT(elapsed.elapsed(), 200) << "ms from " << keys.toStdString() << " to the end";
    }

    // Scans through the far end; what the receiving window got for it, up to the Enter.
    QString scan(const e2e::KeyReceiver& receiver, const QByteArray& code) {
        const qsizetype from = receiver.received().size();
        pair_.writeToPeer(code + "\r\n");
        return receiver.waitForEnd(from, "{ENTER}", 20000);
    }

    // The notes of a scanner that went away and came back (windows, as Xvfb has no tray).
    static QString lostNote(const QString& device) {
        return "Scanner disconnected from " + device + " \u2014 waiting for it";
    }
    static QString backNote(const QString& device) {
        return "Scanner connected again on " + device;
    }

    // Unplugs the scanner (socat ends), and waits for the program's note that it waits.
    void unplug(const QString& device) {
        pair_.killPeer();
        ASSERT_TRUE(e2e::pumpUntil([&] { return windows_->shown(lostNote(device)); }, 5000))
            << "no note";
    }

    // The scanner is back: within 1.5 s the program says so, and the next 20 scans arrive as keys
    // and are acknowledged.
    void expectScanningResumes(const e2e::KeyReceiver& receiver, const QString& device) {
        QElapsedTimer elapsed;
        elapsed.start();
        EXPECT_TRUE(e2e::pumpUntil([&] { return windows_->shown(backNote(device)); }, 1500))
            << "not scanning again after " << elapsed.elapsed() << " ms";
        for (int i = 0; i < 20; ++i)
            ASSERT_EQ(scan(receiver, "0012345"), "WIDGET-7{TAB}12") << "scan " << i;
        EXPECT_EQ(pair_.readFromPeer(21, std::chrono::milliseconds(500)), QByteArray(20, '\x06'));
    }

    static inline std::unique_ptr<e2e::XvfbDisplay> display_;
    QTemporaryDir dir_;
    testsupport::SocatPair pair_;
    std::unique_ptr<platform::KeyTyper> typer_;
    static inline std::unique_ptr<testsupport::TopLevelWindows> windows_;
};

// The CPU time (user and system) a process has used so far, from /proc.
std::chrono::milliseconds cpuTime(qint64 pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray line = stat.readAll();
    // After the command name in parentheses: the state, ten fields, then utime and stime in ticks.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    const long ticks = fields.value(11).toLong() + fields.value(12).toLong();
    return std::chrono::milliseconds(ticks * 1000 / ::sysconf(_SC_CLK_TCK));
}

} // namespace

TEST_F(ProgramEndToEnd, ScansReachOnlyOtherApplicationsOneCopyRunsAndExitIsImmediate) {
    testsupport::runSql(
        database(), "UPDATE tblSettings SET ACK = 1;"
                    "INSERT INTO tblCodelink VALUES ('SPECIAL', 'A+B (50%) ~x^ Größe', NULL, 1)");
    const QString keymap = e2e::keymapText(display_->name());
    QProcess first;
    startProgram(first);
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    EXPECT_EQ(scan(receiver, "0012345"), "WIDGET-7{TAB}12");
    EXPECT_EQ(scan(receiver, "999"), "999{TAB}1");
    EXPECT_EQ(scan(receiver, "SPECIAL"), "A{+}B {(}50{%}{)} {~}x{^} Größe{TAB}1");
    EXPECT_EQ(pair_.readFromPeer(4, std::chrono::milliseconds(500)), QByteArray(3, '\x06'))
        << "one acknowledgement per delivered scan";

    QProcess second;
    QElapsedTimer elapsed;
    elapsed.start();
    startProgram(second);
    ASSERT_TRUE(second.waitForFinished(5000));
    EXPECT_LT(elapsed.elapsed(), 1000) << "a second start ends within a second";
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_TRUE(e2e::pumpUntil([&] { return windows_->focusedCaption() == kMain; }, 3000))
        << "the first copy comes to the front; the focus is on "
        << windows_->focusedCaption().toStdString();
    // A scan now would go into the program's own window: it is refused, and the user told.
    e2e::pumpUntil([] { return false; }, 300);
    pair_.writeToPeer("0012345\r\n");
    EXPECT_TRUE(e2e::pumpUntil(
        [&] {
            return windows_->shown("Click into the application that should receive the scans.");
        },
        5000))
        << "no note shown";
    EXPECT_TRUE(pair_.readFromPeer(1, std::chrono::milliseconds(500)).isEmpty())
        << "not acknowledged: the scanner signals the failure";
    EXPECT_EQ(receiver.received().count("{ENTER}"), 3);
    ASSERT_TRUE(windows_->focus(kReceiver, 0));
    EXPECT_EQ(scan(receiver, "0012345"), "WIDGET-7{TAB}12")
        << "a scan right after the user clicks into an application goes there";

    expectQuickExit(first, kMain, "%fx"); // File > Exit
    EXPECT_EQ(e2e::keymapText(display_->name()), keymap)
        << "the keys lent to ö and ß given back: the keymap as before the program started";
    startProgram(first); // and from the tray menu, which a right click opens too
    ASSERT_TRUE(e2e::pumpUntil([&] { return windows_->focus(kMain); }, 10000));
    windows_->rightClick(100, 60);
    e2e::pumpUntil([] { return false; }, 500);
    expectQuickExit(first, QString(), "x"); // E&xit in the open menu
}

TEST_F(ProgramEndToEnd, APortTypedIntoTheScannerSetupIsUsedAndKept) {
    testsupport::runSql(database(), "UPDATE tblSettings SET autostart = 0, ComPort = '4'");
    QProcess program;
    startProgram(program);
    type(kMain, "%e"); // Settings
    type(kMain, "c");  // Scanner: the port box has the focus
    type("Orvane Scanner Setup", "^a" + pair_.port() + "%s%o"); // Save, Close
    ASSERT_TRUE(e2e::pumpUntil([&] { return !windows_->shown("Orvane Scanner Setup"); }, 10000));
    type(kMain, "%s"); // Start
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    ASSERT_TRUE(windows_->focus(kReceiver));
    EXPECT_EQ(scan(receiver, "0012345"), "WIDGET-7{TAB}12");
    e2e::stop(program);
    EXPECT_EQ(testsupport::rows(database(), "SELECT ComPort FROM tblSettings"),
              QStringList{pair_.port()});
}

TEST_F(ProgramEndToEnd, ScanningRestartsOnlyOnReturnFromItsOwnWindowsWithTheComposedPattern) {
    QProcess program;
    startProgram(program);
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    type(kMain, "%s"); // Stop
    ASSERT_TRUE(windows_->focus(kReceiver));
    ASSERT_TRUE(windows_->focus(kMain)); // back from another application
    ASSERT_TRUE(windows_->focus(kReceiver));
    pair_.writeToPeer("0012345\r\n");
    e2e::pumpUntil([] { return false; }, 1000);
    EXPECT_EQ(receiver.received(), "") << "scanning stayed off";

    type(kMain, "%e"); // Settings
    type(kMain, "y");  // System: the pattern box has the focus
    // Empty the pattern, "Add <RetVal>" (reached with Tab), then the Tab token typed by hand.
    // (In Command Keys every key, Space included, picks a key: its Send is clicked.)
    type("Orvane System Setup", "^a{BS}{TAB 4} <TAB>");
    // Then "ok" through "Add This >", a name, "Save/Add to List".
    type("Orvane System Setup", "{TAB 2}ok{TAB} +{TAB 3}^aE2E Tab OK{TAB} ");
    type("Orvane System Setup", "%s%o"); // Save, Close: back in the main window
    ASSERT_TRUE(e2e::pumpUntil([&] { return !windows_->shown("Orvane System Setup"); }, 10000));
    ASSERT_TRUE(windows_->focus(kReceiver));
    pair_.writeToPeer("0012345\r\n");
    EXPECT_EQ(receiver.waitForEnd(0, "ok", 20000), "WIDGET-7{TAB}")
        << "scanning started again by itself, with the new pattern";
    e2e::stop(program);
    EXPECT_EQ(testsupport::rows(database(), "SELECT p.String, s.append FROM tblAppendStr p, "
                                            "tblSettings s WHERE p.Name = 'E2E Tab OK'"),
              QStringList{"<RetVal><TAB>ok|<RetVal><TAB>ok"})
        << "the named pattern and the one in use are saved";
}

TEST_F(ProgramEndToEnd, ANightlyBackupRunsWhileTheProgramScansAndCompactWaitsForIt) {
    testsupport::runSql(database(), dbtest::insertRows(100000, "'S' || i, 'R' || i, 'D' || i, 1"));
    QProcess running;
    startProgram(running);
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    ASSERT_TRUE(windows_->focus(kReceiver));

    const QString nightly = dir_.filePath("nightly.mdb");
    pair_.writeToPeer("0012345\r\n"); // a scan arrives as the backup starts
    const auto [status, error] = command(program(), {"backup", nightly});
    EXPECT_EQ(status, 0) << error.toStdString();
    EXPECT_EQ(dbtest::integrity(nightly), "ok");
    EXPECT_EQ(testsupport::rows(nightly, "SELECT COUNT(*) FROM tblCodelink"),
              QStringList{"100001"});
    EXPECT_EQ(receiver.waitForEnd(0, "{ENTER}", 20000), "WIDGET-7{TAB}12");
    EXPECT_EQ(scan(receiver, "S99999"), "R99999{TAB}1") << "scanning went on";

    const auto [ontoItself, itself] = command(program(), {"backup", database()});
    EXPECT_EQ(ontoItself, 1);
    EXPECT_TRUE(itself.contains("the program's database itself")) << itself.toStdString();
    const auto [compacted, refusal] = command(program(), {"compact"});
    EXPECT_EQ(compacted, 1);
    EXPECT_TRUE(refusal.contains("Orvane Translator is running on " + dir_.path()))
        << refusal.toStdString();

    testsupport::TempProgramFolder other; // a copy of the program in another folder
    ASSERT_TRUE(QFile::copy(ORVANE_EXECUTABLE, other.file("orvane-translator")));
    EXPECT_EQ(command(other.file("orvane-translator"), {"compact"}).first, 0)
        << "the copy running here does not concern another folder";
    e2e::stop(running);
}

TEST_F(ProgramEndToEnd, TwoWorkstationsShareOneTableOnAServer) {
    testsupport::PgServer server;
    const QString uri = server.uri("orvane");
    db::InitSharedServer(uri, false);
    const QString shared = "UPDATE tblSettings SET IsDBShared = 1, SharedDataBase = '" + uri + "'";
    testsupport::runSql(database(), shared);
    QProcess first; // this workstation scans
    startProgram(first);
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());

    // The other workstation adds a pair by hand in its data entry window.
    testsupport::TempProgramFolder other;
    other.sql("dbscan.mdb", shared);
    core::LoadSettings();
    testsupport::ScriptedDialogs dialogs;
    {
        db::frmDataEntry* window = db::frmDataEntry::showWindow();
        window->findChild<QLineEdit*>("txtScan")->setText("NEW-1");
        window->findChild<QLineEdit*>("txtRet")->setText("FROM-OTHER");
        window->findChild<QPushButton*>("cmdAdd")->click();
        window->close();
    }
    EXPECT_EQ(scan(receiver, "new-1"), "FROM-OTHER{TAB}1");

    // And imports a list from its command line while this one scans.
    QByteArray list;
    for (int i = 0; i < 20000; ++i)
        list += "ITEM-" + QByteArray::number(i) + ",C" + QByteArray::number(i) + ",W\r\n";
    ASSERT_TRUE(QFile::copy(ORVANE_EXECUTABLE, other.file("orvane-translator")));
    QProcess import;
    import.start(other.file("orvane-translator"),
                 {"import", testsupport::writeFile(other.file("items.csv"), list)});
    const qsizetype from = receiver.received().size();
    for (int i = 0; i < 40; ++i) {
        pair_.writeToPeer("NEW-1\r\n");
        e2e::pumpUntil([] { return false; }, 25);
    }
    // The scans above ran the event loop, which may already have seen the import end.
    EXPECT_TRUE(e2e::pumpUntil([&] { return import.state() == QProcess::NotRunning; }, 60000));
    EXPECT_EQ(import.exitCode(), 0) << import.readAllStandardError().toStdString();
    EXPECT_TRUE(e2e::pumpUntil(
        [&] { return receiver.received().mid(from).count("FROM-OTHER") == 40; }, 20000))
        << "no scan is lost: " << receiver.received().mid(from).count("FROM-OTHER");
    EXPECT_EQ(scan(receiver, "c19999"), "ITEM-19999{TAB}1");
    e2e::stop(first);
}

// The scanner unplugged while scanning (socat ends) and plugged back in (socat again under the
// same link names): one note, next to no work while it is gone, and scanning again by itself.
// The port is a stable name, as udev keeps one, so the scanner is found again when it comes back
// as another device (ttyACM1 after ttyACM0). Stop while it is gone ends the wait.
TEST_F(ProgramEndToEnd, AScannerPluggedBackInScansAgainByItselfAndStopEndsTheWait) {
    const QString stable = dir_.filePath("usb-Orvane_Scanner_0042-if00");
    ASSERT_TRUE(QFile::link(pair_.port(), stable));
    testsupport::runSql(database(), "UPDATE tblSettings SET ACK = 1, ComPort = '" + stable + "'");
    QProcess program;
    startProgram(program);
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    EXPECT_EQ(scan(receiver, "0012345"), "WIDGET-7{TAB}12");
    EXPECT_EQ(pair_.readFromPeer(1), QByteArray(1, '\x06'));

    ASSERT_NO_FATAL_FAILURE(unplug(stable));
    std::set<testsupport::TopLevelWindows::Window> notes;
    QElapsedTimer wall;
    wall.start();
    const std::chrono::milliseconds cpuBefore = cpuTime(program.processId());
    for (int i = 0; i < 100; ++i) { // 5 s
        for (const auto note : windows_->all(lostNote(stable)))
            notes.insert(note);
        e2e::pumpUntil([] { return false; }, 50);
    }
    const std::chrono::milliseconds cpu = cpuTime(program.processId()) - cpuBefore;
    EXPECT_LT(cpu.count() * 100, wall.elapsed()) << cpu.count() << " ms of CPU time while gone";
    EXPECT_EQ(notes.size(), 1u) << "one note";
    pair_.restart();
    ASSERT_NO_FATAL_FAILURE(expectScanningResumes(receiver, stable));

    ASSERT_NO_FATAL_FAILURE(unplug(stable));
    pair_.restart("ttyACM1");
    ASSERT_TRUE(QFile::remove(stable) && QFile::link(pair_.port(), stable)); // as udev moves it
    ASSERT_NO_FATAL_FAILURE(expectScanningResumes(receiver, stable));

    ASSERT_NO_FATAL_FAILURE(unplug(stable));
    type(kMain, "%s"); // Stop
    ASSERT_TRUE(windows_->focus(kReceiver));
    pair_.restart("ttyACM1");
    e2e::pumpUntil([&] { return windows_->shown(backNote(stable)); }, 1500);
    EXPECT_FALSE(windows_->shown(backNote(stable))) << "Stop ended the wait";
    const qsizetype typed = receiver.received().size();
    pair_.writeToPeer("0012345\r\n");
    EXPECT_TRUE(pair_.readFromPeer(1, std::chrono::milliseconds(1000)).isEmpty());
    EXPECT_EQ(receiver.received().size(), typed);
    e2e::stop(program);
}
