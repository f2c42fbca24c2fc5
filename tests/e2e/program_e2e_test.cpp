// The real program, run from a temporary copy of its program folder on a private Xvfb display:
// it starts scanning by itself, scans on a socat serial pair arrive as keys in a window started
// after it, and a second start hands over to the first copy and ends. A user's keys (typed
// through XTest) set the scanner's port in its setup window, and scanning uses it at once. Two
// workstations share a translation table on a PostgreSQL server.
#include "core/settings.h"
#include "db/codelink_model.h"
#include "db/frm_data_entry.h"
#include "db/shared_server.h"
#include "platform/database.h"
#include "platform/send_keys.h"
#include "support/pg_server.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"
#include "support/socat_pair.h"
#include "x11_session.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Last: Xlib defines macros (None, Bool, Status) that other headers use as names.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace {

class ProgramEndToEnd : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // A window may close between listing it and reading its name; Xlib's own handler
        // would end the test run on that error.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        if (e2e::xvfbInstalled())
            display_ = std::make_unique<e2e::XvfbDisplay>();
    }
    static void TearDownTestSuite() { display_.reset(); }

    void SetUp() override {
        if (!display_)
            GTEST_SKIP() << "Xvfb is not installed";
        // A private runtime and temporary folder: the one-copy lock and socket of these runs
        // must not meet those of a copy the developer has running.
        ASSERT_TRUE(QDir(dir_.path()).mkpath("run") && QDir(dir_.path()).mkpath("tmp") &&
                    QDir(dir_.path()).mkpath("program"));
        QFile::setPermissions(dir_.filePath("run"),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        testsupport::copyShippedFiles(programFolder());
        ASSERT_TRUE(QFile::copy(ORVANE_EXECUTABLE, program()));
        testsupport::runSql(
            programFolder() + "/dbscan.mdb",
            "INSERT INTO tblCodelink VALUES ('0012345', 'WIDGET-7', 'Widget', 12);"
            "UPDATE tblSettings SET autostart = 1, append = '<RetVal><TAB><UoM><RET>', "
            "ComPort = '" +
                pair_.port() + "'");
    }

    QString programFolder() const { return dir_.filePath("program"); }
    QString program() const { return programFolder() + "/orvane-translator"; }

    void startProgram(QProcess& process) const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DISPLAY", display_->name());
        env.insert("QT_QPA_PLATFORM", "xcb");
        env.insert("XDG_RUNTIME_DIR", dir_.filePath("run"));
        env.insert("TMPDIR", dir_.filePath("tmp"));
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(program(), {});
        ASSERT_TRUE(process.waitForStarted(5000));
    }

    // The main window is up once its caption carries the trailing blank.
    bool mainWindowShown() const { return windowExists(QStringLiteral("Orvane Translator ")); }

    // The caption of the top-level window that has the keyboard focus.
    QString focusedCaption() const {
        Display* x = XOpenDisplay(display_->name().toLocal8Bit().constData());
        if (!x)
            return {};
        Window focus = 0;
        int revert = 0;
        XGetInputFocus(x, &focus, &revert);
        QString caption;
        // The focus may sit on a child of the top-level window: walk up to a named one.
        while (focus > PointerRoot && caption.isEmpty()) {
            char* name = nullptr;
            if (XFetchName(x, focus, &name) && name)
                caption = QString::fromUtf8(name);
            if (name)
                XFree(name);
            Window root = 0;
            Window parent = 0;
            Window* children = nullptr;
            unsigned count = 0;
            if (!XQueryTree(x, focus, &root, &parent, &children, &count))
                break;
            if (children)
                XFree(children);
            focus = parent == root ? 0 : parent;
        }
        XCloseDisplay(x);
        return caption;
    }

    static inline const QString kFocusNote =
        QStringLiteral("Click into the application that should receive the scans.");

    // Whether a top-level window with this caption is shown.
    bool windowExists(const QString& caption) const {
        QProcess list;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DISPLAY", display_->name());
        list.setProcessEnvironment(env);
        list.start("xwininfo", {"-root", "-tree"});
        list.waitForFinished(5000);
        return QString::fromUtf8(list.readAllStandardOutput()).contains('"' + caption + '"');
    }

    // Gives the keyboard focus to the top-level window with this caption, as a click would.
    bool focusWindow(const QString& caption) const {
        Display* x = XOpenDisplay(display_->name().toLocal8Bit().constData());
        if (!x)
            return false;
        Window root = 0;
        Window parent = 0;
        Window* children = nullptr;
        unsigned count = 0;
        bool found = false;
        if (XQueryTree(x, DefaultRootWindow(x), &root, &parent, &children, &count)) {
            for (unsigned i = 0; i < count && !found; ++i) {
                char* name = nullptr;
                if (XFetchName(x, children[i], &name) && name) {
                    found = QString::fromUtf8(name) == caption;
                    if (found) {
                        XRaiseWindow(x, children[i]);
                        XSetInputFocus(x, children[i], RevertToParent, CurrentTime);
                    }
                    XFree(name);
                }
            }
            if (children)
                XFree(children);
        }
        XCloseDisplay(x);
        return found && e2e::pumpUntil([&] { return focusedCaption() == caption; }, 3000);
    }

    // Types keys (send-key syntax) into the window with this caption, as a user would, and lets
    // the program take them.
    void typeInto(const QString& caption, const QString& keys) {
        typeNow(caption, keys);
        e2e::pumpUntil([] { return false; }, 300);
    }

    // Types keys into the window with this caption (or wherever the focus is, for none); returns
    // as soon as they are sent.
    void typeNow(const QString& caption, const QString& keys) {
        if (!caption.isEmpty()) {
            ASSERT_TRUE(e2e::pumpUntil([&] { return focusWindow(caption); }, 10000))
                << "no window \"" << caption.toStdString() << "\" to type into";
        }
        if (!typer_) {
            qputenv("DISPLAY", display_->name().toLocal8Bit());
            typer_ = platform::createSystemTyper();
        }
        typer_->type(platform::ParseSendKeys(keys));
    }

    // A right click at a point of the screen (the main window opens the tray menu on it).
    void rightClick(int x, int y) const {
        Display* xDisplay = XOpenDisplay(display_->name().toLocal8Bit().constData());
        XTestFakeMotionEvent(xDisplay, -1, x, y, CurrentTime);
        XTestFakeButtonEvent(xDisplay, 3, True, CurrentTime);
        XTestFakeButtonEvent(xDisplay, 3, False, CurrentTime);
        XSync(xDisplay, False);
        XCloseDisplay(xDisplay);
    }

    // Ends the program through keys typed into a window and gives how long the process took to
    // end after the keys went out.
    qint64 exitTime(QProcess& program, const QString& caption, const QString& keys) {
        typeNow(caption, keys);
        QElapsedTimer elapsed;
        elapsed.start();
        if (!e2e::pumpUntil([&] { return program.state() == QProcess::NotRunning; }, 10000))
            return -1;
        return elapsed.elapsed();
    }

    static void stop(QProcess& process) {
        process.terminate();
        if (!process.waitForFinished(5000))
            process.kill();
        process.waitForFinished(2000);
    }

    static inline std::unique_ptr<e2e::XvfbDisplay> display_;
    QTemporaryDir dir_;
    testsupport::SocatPair pair_;
    std::unique_ptr<platform::KeyTyper> typer_;
};

} // namespace

TEST_F(ProgramEndToEnd, ScansArriveInTheFocusedWindowAndOnlyOneCopyRuns) {
    QProcess first;
    startProgram(first);
    ASSERT_TRUE(e2e::pumpUntil([&] { return mainWindowShown(); }, 20000))
        << "the main window with the caption \"Orvane Translator \" did not appear";

    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    ASSERT_NE(focusedCaption(), "Orvane Translator ");
    for (int i = 0; i < 3; ++i) {
        const qsizetype from = receiver.received().size();
        pair_.writeToPeer(i == 1 ? "999\r\n" : "0012345\r\n");
        EXPECT_EQ(receiver.waitForEnd(from, "{ENTER}", 20000).toStdString(),
                  i == 1 ? "999{TAB}1" : "WIDGET-7{TAB}12");
    }

    QProcess second;
    QElapsedTimer elapsed;
    elapsed.start();
    startProgram(second);
    ASSERT_TRUE(second.waitForFinished(5000));
    EXPECT_LT(elapsed.elapsed(), 1000) << "a second start ends within a second";
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_EQ(first.state(), QProcess::Running) << "the first copy keeps running";
    EXPECT_TRUE(mainWindowShown());
    EXPECT_TRUE(e2e::pumpUntil([&] { return focusedCaption() == "Orvane Translator "; }, 3000))
        << "the first copy's main window comes to the front; the focus is on \""
        << focusedCaption().toStdString() << "\"";

    stop(first);
}

TEST_F(ProgramEndToEnd, APortChosenInTheScannerSetupIsUsedByTheNextStart) {
    testsupport::runSql(programFolder() + "/dbscan.mdb",
                        "UPDATE tblSettings SET autostart = 0, ComPort = '4'");
    QProcess program;
    startProgram(program);
    ASSERT_TRUE(e2e::pumpUntil([&] { return mainWindowShown(); }, 20000));

    typeInto("Orvane Translator ", "%e"); // Settings
    typeInto("Orvane Translator ", "c");  // Scanner
    // The port box has the focus: the user types the device and saves.
    typeInto("Orvane Scanner Setup", "^a" + pair_.port() + "%s%o");
    ASSERT_TRUE(e2e::pumpUntil([&] { return !focusWindow("Orvane Scanner Setup"); }, 10000))
        << "the scanner setup window did not close";
    typeInto("Orvane Translator ", "%s"); // Start

    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    pair_.writeToPeer("0012345\r\n");
    EXPECT_EQ(receiver.waitForEnd(0, "{ENTER}", 20000).toStdString(), "WIDGET-7{TAB}12");
    typer_.reset();
    stop(program);
    platform::Database db = platform::Database::open(programFolder() + "/dbscan.mdb");
    EXPECT_EQ(db.openRecordset("tblSettings").value("ComPort").toString(), pair_.port());
}

TEST_F(ProgramEndToEnd, APatternComposedInTheEditorIsTypedForEachScan) {
    testsupport::runSql(programFolder() + "/dbscan.mdb", "UPDATE tblSettings SET autostart = 0");
    QProcess program;
    startProgram(program);
    ASSERT_TRUE(e2e::pumpUntil([&] { return mainWindowShown(); }, 20000));

    typeInto("Orvane Translator ", "%e"); // Settings
    typeInto("Orvane Translator ", "y");  // System: the pattern box has the focus
    // Empty the pattern, then "Add <RetVal>" and "Commands Codes", reached with Tab.
    typeInto("Orvane System Setup", "^a{BS}{TAB 4} {TAB 6} ");
    typeInto("Command Keys", "{TAB} "); // the Tab key, then Send
    // Back in the setup window: "ok" through "Add This >", a name, "Save/Add to List".
    typeInto("Orvane System Setup", "{TAB 2}ok{TAB} +{TAB 3}^aE2E Tab OK{TAB} ");
    typeInto("Orvane System Setup", "%s%o"); // Save, Close
    ASSERT_TRUE(e2e::pumpUntil([&] { return !focusWindow("Orvane System Setup"); }, 10000));
    typeInto("Orvane Translator ", "%s"); // Start

    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    pair_.writeToPeer("0012345\r\n");
    EXPECT_EQ(receiver.waitForEnd(0, "ok", 20000).toStdString(), "WIDGET-7{TAB}");
    typer_.reset();
    stop(program);
    platform::Database db = platform::Database::open(programFolder() + "/dbscan.mdb");
    EXPECT_EQ(db.openRecordset("SELECT String FROM tblAppendStr WHERE Name = 'E2E Tab OK'")
                  .value("String")
                  .toString(),
              "<RetVal><TAB>ok");
    EXPECT_EQ(db.openRecordset("tblSettings").value("append").toString(), "<RetVal><TAB>ok");
}

TEST_F(ProgramEndToEnd, ExitEndsTheProgramAtOnce) {
    QProcess program;
    startProgram(program);
    ASSERT_TRUE(e2e::pumpUntil([&] { return mainWindowShown(); }, 20000));
    {
        e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
        pair_.writeToPeer("0012345\r\n"); // a scan typed, as before most exits
        EXPECT_EQ(receiver.waitForEnd(0, "{ENTER}", 20000).toStdString(), "WIDGET-7{TAB}12");
    }
    const qint64 fromMenu = exitTime(program, "Orvane Translator ", "%fx"); // File > Exit
    EXPECT_GE(fromMenu, 0);
    EXPECT_LT(fromMenu, 200) << "the process ends within 200 ms of Exit";

    startProgram(program); // and from the tray menu, which a right click opens too
    ASSERT_TRUE(e2e::pumpUntil(
        [&] { return mainWindowShown() && focusWindow("Orvane Translator "); }, 20000));
    rightClick(100, 60);
    e2e::pumpUntil([] { return false; }, 500);
    const qint64 fromTray = exitTime(program, QString(), "x"); // E&xit in the open menu
    EXPECT_GE(fromTray, 0);
    EXPECT_LT(fromTray, 200);
    typer_.reset();
}

TEST_F(ProgramEndToEnd, AScanIsNeverTypedIntoTheProgramsOwnWindow) {
    testsupport::runSql(programFolder() + "/dbscan.mdb", "UPDATE tblSettings SET ACK = 1");
    QProcess program;
    startProgram(program);
    ASSERT_TRUE(e2e::pumpUntil([&] { return mainWindowShown(); }, 20000));
    ASSERT_TRUE(focusWindow("Orvane Translator ")); // as right after a click on Start
    pair_.writeToPeer("0012345\r\n");
    EXPECT_TRUE(e2e::pumpUntil([&] { return windowExists(kFocusNote); }, 5000))
        << "the user is told where to click";
    EXPECT_TRUE(pair_.readFromPeer(1, std::chrono::milliseconds(500)).isEmpty())
        << "not acknowledged: the scanner signals the failure";

    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    pair_.writeToPeer("0012345\r\n");
    EXPECT_EQ(receiver.waitForEnd(0, "{ENTER}", 20000).toStdString(), "WIDGET-7{TAB}12")
        << "the first scan went nowhere, the next one into the application";
    EXPECT_EQ(pair_.readFromPeer(1), QByteArray("\x06"));
    typer_.reset();
    stop(program);
}

TEST_F(ProgramEndToEnd, ScanningStartsByItselfOnlyOnReturnFromTheProgramsOwnWindows) {
    QProcess program;
    startProgram(program);
    ASSERT_TRUE(e2e::pumpUntil([&] { return mainWindowShown(); }, 20000));
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    typeInto("Orvane Translator ", "%s"); // Stop
    ASSERT_TRUE(focusWindow("Orvane key receiver"));
    ASSERT_TRUE(focusWindow("Orvane Translator ")); // back from another application
    ASSERT_TRUE(focusWindow("Orvane key receiver"));
    pair_.writeToPeer("0012345\r\n");
    e2e::pumpUntil([] { return false; }, 1000);
    EXPECT_EQ(receiver.received().toStdString(), "") << "scanning stayed off";

    typeInto("Orvane Translator ", "%e");
    typeInto("Orvane Translator ", "c");
    typeInto("Orvane Scanner Setup", "%o"); // back from a window of the program
    ASSERT_TRUE(e2e::pumpUntil([&] { return !focusWindow("Orvane Scanner Setup"); }, 10000));
    ASSERT_TRUE(focusWindow("Orvane key receiver"));
    pair_.writeToPeer("0012345\r\n");
    EXPECT_EQ(receiver.waitForEnd(0, "{ENTER}", 20000).toStdString(), "WIDGET-7{TAB}12")
        << "autostart starts scanning again on the return";
    typer_.reset();
    stop(program);
}

TEST_F(ProgramEndToEnd, TwoWorkstationsShareOneTableOnAServer) {
    testsupport::PgServer server;
    const QString uri = server.uri("orvane");
    db::InitSharedServer(uri, false);
    const QString shared = "UPDATE tblSettings SET IsDBShared = 1, SharedDataBase = '" + uri + "'";
    testsupport::runSql(programFolder() + "/dbscan.mdb", shared);
    QProcess first; // this workstation scans
    startProgram(first);
    ASSERT_TRUE(e2e::pumpUntil([&] { return mainWindowShown(); }, 20000));
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
    pair_.writeToPeer("new-1\r\n");
    EXPECT_EQ(receiver.waitForEnd(0, "{ENTER}", 20000).toStdString(), "FROM-OTHER{TAB}1");

    // And imports a list from its command line while this one scans.
    QFile list(other.file("items.csv"));
    ASSERT_TRUE(list.open(QIODevice::WriteOnly));
    for (int i = 0; i < 20000; ++i)
        list.write("ITEM-" + QByteArray::number(i) + ",C" + QByteArray::number(i) + ",W\r\n");
    list.close();
    ASSERT_TRUE(QFile::copy(ORVANE_EXECUTABLE, other.file("orvane-translator")));
    QProcess import;
    import.start(other.file("orvane-translator"), {"import", list.fileName()});
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
    const qsizetype imported = receiver.received().size();
    pair_.writeToPeer("c19999\r\n");
    EXPECT_EQ(receiver.waitForEnd(imported, "{ENTER}", 20000).toStdString(), "ITEM-19999{TAB}1");
    db::CodelinkModel grid;
    EXPECT_EQ(grid.fill(uri, db::CodelinkModel::Layout::AllFields), 20001)
        << "the data entry window lists the table whole";
    typer_.reset();
    stop(first);
}
