// The real program, run from a temporary copy of its program folder on a private Xvfb display,
// scanning on a socat serial pair into the receiving window and driven by keys typed through
// XTest, as a user would.
#include "core/settings.h"
#include "db/frm_data_entry.h"
#include "db/shared_server.h"
#include "platform/send_keys.h"
#include "support/checks.h"
#include "support/pg_server.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"
#include "support/socat_pair.h"
#include "x11_session.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <memory>

// Last: Xlib defines macros (None, Bool, Status) that other headers use as names.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace {

const QString kMain = QStringLiteral("Orvane Translator "); // the trailing blank is the program's
const QString kReceiver = QStringLiteral("Orvane key receiver");

class ProgramEndToEnd : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // A window may close between listing it and reading its name; Xlib's own handler
        // would end the test run on that error.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        if (!e2e::xvfbInstalled())
            return;
        display_ = std::make_unique<e2e::XvfbDisplay>();
        x_ = XOpenDisplay(display_->name().toLocal8Bit().constData());
    }
    static void TearDownTestSuite() {
        if (x_)
            XCloseDisplay(x_);
        display_.reset();
    }

    void SetUp() override {
        if (!display_)
            GTEST_SKIP() << "Xvfb is not installed";
        ASSERT_TRUE(x_);
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
        ASSERT_TRUE(e2e::pumpUntil([&] { return shown(kMain); }, 20000))
            << "the main window did not appear";
    }

    QString captionOf(Window window) const {
        char* name = nullptr;
        XFetchName(x_, window, &name);
        const QString caption = QString::fromUtf8(name); // empty for none
        XFree(name);
        return caption;
    }

    // The shown top-level window with this caption (without a window manager, a child of the
    // root window), or 0.
    Window topLevel(const QString& caption) const {
        Window root = 0;
        Window parent = 0;
        Window* windows = nullptr;
        unsigned count = 0;
        Window found = 0;
        if (XQueryTree(x_, DefaultRootWindow(x_), &root, &parent, &windows, &count))
            for (unsigned i = 0; i < count && !found; ++i) {
                XWindowAttributes attributes{};
                if (XGetWindowAttributes(x_, windows[i], &attributes) &&
                    attributes.map_state == IsViewable && captionOf(windows[i]) == caption)
                    found = windows[i];
            }
        if (windows)
            XFree(windows);
        return found;
    }

    bool shown(const QString& caption) const { return topLevel(caption) != 0; }

    // The caption of the window that has the keyboard focus (Qt gives it to its top-level ones).
    QString focusedCaption() const {
        Window focus = 0;
        int revert = 0;
        XGetInputFocus(x_, &focus, &revert);
        return focus > PointerRoot ? captionOf(focus) : QString();
    }

    // Gives the keyboard focus to the top-level window with this caption, as a click would, and
    // lets the programs take the change for settleMs (Qt tells a window that it lost the focus
    // 100 ms late).
    bool focusWindow(const QString& caption, int settleMs = 300) const {
        const Window window = topLevel(caption);
        if (!window)
            return false;
        XRaiseWindow(x_, window);
        XSetInputFocus(x_, window, RevertToParent, CurrentTime);
        XFlush(x_);
        if (!e2e::pumpUntil([&] { return focusedCaption() == caption; }, 3000))
            return false;
        e2e::pumpUntil([] { return false; }, settleMs);
        return true;
    }

    // Types keys (send-key syntax) into the window with this caption, or wherever the focus is
    // for none, and gives the program settleMs to take them.
    void type(const QString& caption, const QString& keys, int settleMs = 300) {
        if (!caption.isEmpty()) {
            ASSERT_TRUE(e2e::pumpUntil([&] { return focusWindow(caption); }, 10000))
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

    static inline std::unique_ptr<e2e::XvfbDisplay> display_;
    QTemporaryDir dir_;
    testsupport::SocatPair pair_;
    std::unique_ptr<platform::KeyTyper> typer_;
    static inline Display* x_ = nullptr; // for finding, focusing and clicking windows
};

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
    EXPECT_TRUE(e2e::pumpUntil([&] { return focusedCaption() == kMain; }, 3000))
        << "the first copy comes to the front; the focus is on " << focusedCaption().toStdString();
    // A scan now would go into the program's own window: it is refused, and the user told.
    e2e::pumpUntil([] { return false; }, 300);
    pair_.writeToPeer("0012345\r\n");
    EXPECT_TRUE(e2e::pumpUntil(
        [&] { return shown("Click into the application that should receive the scans."); }, 5000))
        << "no note shown";
    EXPECT_TRUE(pair_.readFromPeer(1, std::chrono::milliseconds(500)).isEmpty())
        << "not acknowledged: the scanner signals the failure";
    EXPECT_EQ(receiver.received().count("{ENTER}"), 3);
    ASSERT_TRUE(focusWindow(kReceiver, 0));
    EXPECT_EQ(scan(receiver, "0012345"), "WIDGET-7{TAB}12")
        << "a scan right after the user clicks into an application goes there";

    expectQuickExit(first, kMain, "%fx"); // File > Exit
    EXPECT_EQ(e2e::keymapText(display_->name()), keymap)
        << "the keys lent to ö and ß given back: the keymap as before the program started";
    startProgram(first); // and from the tray menu, which a right click opens too
    ASSERT_TRUE(e2e::pumpUntil([&] { return focusWindow(kMain); }, 10000));
    XTestFakeMotionEvent(x_, -1, 100, 60, CurrentTime);
    XTestFakeButtonEvent(x_, 3, True, CurrentTime);
    XTestFakeButtonEvent(x_, 3, False, CurrentTime);
    XFlush(x_);
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
    ASSERT_TRUE(e2e::pumpUntil([&] { return !shown("Orvane Scanner Setup"); }, 10000));
    type(kMain, "%s"); // Start
    e2e::KeyReceiver receiver(ORVANE_KEYRECEIVER, display_->name());
    ASSERT_TRUE(focusWindow(kReceiver));
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
    ASSERT_TRUE(focusWindow(kReceiver));
    ASSERT_TRUE(focusWindow(kMain)); // back from another application
    ASSERT_TRUE(focusWindow(kReceiver));
    pair_.writeToPeer("0012345\r\n");
    e2e::pumpUntil([] { return false; }, 1000);
    EXPECT_EQ(receiver.received(), "") << "scanning stayed off";

    type(kMain, "%e"); // Settings
    type(kMain, "y");  // System: the pattern box has the focus
    // Empty the pattern, then "Add <RetVal>" and "Commands Codes", reached with Tab.
    type("Orvane System Setup", "^a{BS}{TAB 4} {TAB 6} ");
    type("Command Keys", "{TAB} "); // the Tab key, then Send
    // Back in the setup window: "ok" through "Add This >", a name, "Save/Add to List".
    type("Orvane System Setup", "{TAB 2}ok{TAB} +{TAB 3}^aE2E Tab OK{TAB} ");
    type("Orvane System Setup", "%s%o"); // Save, Close: back in the main window
    ASSERT_TRUE(e2e::pumpUntil([&] { return !shown("Orvane System Setup"); }, 10000));
    ASSERT_TRUE(focusWindow(kReceiver));
    pair_.writeToPeer("0012345\r\n");
    EXPECT_EQ(receiver.waitForEnd(0, "ok", 20000), "WIDGET-7{TAB}")
        << "scanning started again by itself, with the new pattern";
    e2e::stop(program);
    EXPECT_EQ(testsupport::rows(database(), "SELECT p.String, s.append FROM tblAppendStr p, "
                                            "tblSettings s WHERE p.Name = 'E2E Tab OK'"),
              QStringList{"<RetVal><TAB>ok|<RetVal><TAB>ok"})
        << "the named pattern and the one in use are saved";
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
