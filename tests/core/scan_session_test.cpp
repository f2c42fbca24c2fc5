#include "core/scan_session.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "platform/app_error.h"
#include "platform/send_keys.h"
#include "support/checks.h"
#include "support/fake_comm_control.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QTest>

#include <gtest/gtest.h>

using core::ScanSession;
using core::shared;
using testsupport::FakeCommControl;

namespace {

// Records typed keys, and how many acknowledgements the port had sent when they were typed.
struct AckCheckingTyper : platform::RecordingTyper {
    explicit AckCheckingTyper(const FakeCommControl& port)
        : port(port) {}
    void type(const platform::KeyActions& actions) override {
        acksBeforeTyping.push_back(port.written().count('\x06'));
        RecordingTyper::type(actions);
    }
    void setRemapSettle(std::chrono::milliseconds settle) override { remapSettle = settle; }
    const FakeCommControl& port;
    std::vector<qsizetype> acksBeforeTyping;
    std::chrono::milliseconds remapSettle{-1};
};

// A session on the shipped settings (line mode, no acknowledgement, Timeout=10) with a few
// translations, typing the template "{RetVal}{TAB}{UoM}~".
class ScanSessionTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('123', 'ABC (1)', 'Widget', 12);"
                                 "INSERT INTO tblCodelink VALUES ('777', 'Seven', NULL, 2.5);"
                                 "INSERT INTO tblCodelink VALUES ('NULLRET', NULL, NULL, 1);"
                                 "INSERT INTO tblCodelink VALUES ('NULLUNIT', 'x', NULL, NULL);"
                                 "INSERT INTO tblCodelink VALUES ('BRACE', 'A{B', NULL, 1);");
        core::LoadSettings();
        shared().append = "{RetVal}{TAB}{UoM}~";
        platform::setKeyTyper(&typer);
    }
    void TearDown() override { platform::setKeyTyper(nullptr); }

    std::vector<QString> typed() const { return typer.described(); }
    void startQuiet(const QByteArray& ini) {
        shared().CRLF = false;
        folder.writeIni(ini);
        session.start();
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    FakeCommControl port;
    AckCheckingTyper typer{port};
    ScanSession session{port};
};

} // namespace

TEST_F(ScanSessionTest, StartConfiguresThePortInOrderStopUndoesItAndAFailedStartStaysOff) {
    const auto startError = [&] { return testsupport::errorOf([&] { session.start(); }).number; };
    port.failOpenWith(platform::AppError(platform::err::CommPortAlreadyOpen, "Port already open"));
    EXPECT_EQ(startError(), platform::err::CommPortAlreadyOpen);
    EXPECT_FALSE(session.isOn());

    port.failOpenWith(std::nullopt);
    shared().PortSetting = "9600,X,8,1";
    EXPECT_EQ(startError(), platform::err::InvalidPropertyValue);
    shared().PortSetting = "9600,N,8,1";
    shared().ComPort = "";
    EXPECT_EQ(startError(), platform::err::CommInvalidPort) << "an empty port is port 0";
    shared().ComPort = "1";
    shared().strScanBuffer = "stale";
    shared().blnTesting = true;
    port.clearRecord();
    session.start();
    EXPECT_TRUE(session.isOn());
    EXPECT_EQ(port.calls(),
              QStringList({"setSettings(9600,N,8,1)", "setCommPort(1)", "setInBufferSize(512)",
                           "setRThreshold(1)", "setPortOpen(true)"}));
    EXPECT_EQ(shared().strScanBuffer, "");
    EXPECT_FALSE(shared().blnTesting);
    EXPECT_EQ(typer.remapSettle, platform::KeyTyper::kDefaultRemapSettle) << "none in the ini";

    folder.writeIni("Timeout=40000\r\n");
    port.clearRecord();
    session.stop();
    EXPECT_FALSE(session.isOn());
    EXPECT_EQ(port.calls(), QStringList({"setPortOpen(false)", "setRThreshold(0)"}));
    EXPECT_EQ(startError(), platform::err::Overflow);
    EXPECT_FALSE(session.isOn());
}

// Line mode frames scans on CR LF, one delivery a receive event; with OneScanPerLine each line of
// a burst is a scan of its own. Either way each scan is acknowledged after its own keys.
TEST_F(ScanSessionTest, LineModesFrameOnCrLfAndAcknowledgeEachScanAfterItsKeys) {
    shared().ACK = true;
    session.start();
    port.pushText("12");
    EXPECT_TRUE(typed().empty()) << "a partial scan waits in the buffer";
    EXPECT_EQ(shared().strScanBuffer, "12");
    port.pushText("3\r\n");
    port.pushText("A\r\nB\r\n"); // two scans in one chunk: one delivery, inner CR LF kept
    port.pushText("X\t");        // a Tab ending is not a line end
    EXPECT_EQ(typed().size(), 2u);
    port.pushText("\r\n");

    session.stop();
    folder.writeIni("Timeout=10\r\nOneScanPerLine=1\r\nRemapSettle=75\r\n");
    session.start();
    EXPECT_EQ(typer.remapSettle, std::chrono::milliseconds(75));
    port.pushText("123\r\n777\r\nNEW\r\n12"); // a batch upload, its last scan cut
    EXPECT_EQ(typed().size(), 6u);
    port.pushText("3\r\n");
    EXPECT_EQ(typed(), std::vector<QString>({"ABC {(}1{)}{TAB}12{ENTER}", "A{ENTER}B{TAB}1{ENTER}",
                                             "X{TAB}{TAB}1{ENTER}", "ABC {(}1{)}{TAB}12{ENTER}",
                                             "Seven{TAB}2.5{ENTER}", "NEW{TAB}1{ENTER}",
                                             "ABC {(}1{)}{TAB}12{ENTER}"}));
    EXPECT_EQ(typer.acksBeforeTyping, std::vector<qsizetype>({0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(port.written(), QByteArray(7, '\x06'));
}

TEST_F(ScanSessionTest, QuietModeWaitsTenTicksAfterTheLastChunk) {
    startQuiet("Timeout=40\r\n");
    port.pushText("7");
    QTest::qWait(60);
    port.pushText("77");
    EXPECT_TRUE(typed().empty()) << "a tick or two is not quiet enough";
    EXPECT_EQ(session.timerInterval(), 40);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !typed().empty(); }, 2000));
    EXPECT_EQ(typed(), std::vector<QString>({"Seven{TAB}2.5{ENTER}"}));
    EXPECT_EQ(session.timerInterval(), 0);
    EXPECT_EQ(shared().strScanBuffer, "");

    port.pushText("123\t"); // the Tab after a longer code stays in the scan
    EXPECT_TRUE(QTest::qWaitFor([&] { return typed().size() == 2; }, 2000));
    EXPECT_EQ(typed()[1], "123{TAB}{TAB}1{ENTER}");

    session.stop(); // without a quiet time every receive event completes a scan
    startQuiet("");
    port.pushText("77");
    port.pushText("7\r\n");
    port.pushText("\t"); // a lone Tab is dropped
    EXPECT_EQ(typed().size(), 4u);
    EXPECT_EQ(typed()[2], "77{TAB}1{ENTER}");
    EXPECT_EQ(typed()[3], "7{TAB}1{ENTER}");
}

// Then the templates, and the keyboard wedge mode.
TEST_F(ScanSessionTest, AFailedScanIsReportedAndTheNextIsDeliveredInEveryTemplateAndMode) {
    shared().ACK = true;
    session.start();
    for (const char* bad : {"NULLRET\r\n", "NULLUNIT\r\n", "BRACE\r\n"}) {
        port.pushText(bad);
        port.pushText("777\r\n");
    }
    ASSERT_EQ(dialogs.messages().size(), 3u);
    EXPECT_TRUE(dialogs.messages()[0].text.contains("Invalid use of Null"));
    EXPECT_TRUE(dialogs.messages()[2].text.contains("Invalid procedure call"));
    EXPECT_EQ(dialogs.messages()[2].icon, platform::Icon::Critical);
    EXPECT_EQ(typed(), std::vector<QString>(3, "Seven{TAB}2.5{ENTER}"));
    EXPECT_EQ(port.written(), QByteArray(3, '\x06')) << "failed scans are not acknowledged";
    EXPECT_TRUE(session.isOn());

    typer.clear();
    shared().append = "{retval}|{UOM}"; // placeholders match without regard to case
    port.pushText("777\r\n");
    shared().append = "{TAB}"; // a template without the return value types only its keys
    port.pushText("777\r\n");
    shared().append = "";
    port.pushText("777\r\n");
    shared().append = "{RetVal}~";
    shared().RetAsScan = true; // keyboard wedge: no lookup
    port.pushText("123\r\n");
    port.pushText("Größe (2)+1\r\n");
    EXPECT_EQ(typed(), std::vector<QString>(
                           {"Seven|2.5", "{TAB}", "", "123{ENTER}", "Größe {(}2{)}{+}1{ENTER}"}));
}
