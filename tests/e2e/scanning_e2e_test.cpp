// The scanning path end to end: a scanner at the far end of a real serial pair (socat), the
// program's port, framing, translation and delivery, the real X11 typer, and a real window on a
// private Xvfb display that writes down the keys it gets.
#include "core/scan_session.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "platform/send_keys.h"
#include "platform/serial_comm_control.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"
#include "support/socat_pair.h"
#include "x11_session.h"

#include <gtest/gtest.h>

using core::shared;

static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace {

class ScanningEndToEnd : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!e2e::xvfbInstalled())
            return;
        display_ = std::make_unique<e2e::XvfbDisplay>();
        qputenv("DISPLAY", display_->name().toLocal8Bit());
        receiver_ = std::make_unique<e2e::KeyReceiver>(ORVANE_KEYRECEIVER, display_->name());
        // The suite's own typer: its display connection must end before the display does.
        typer_ = platform::createSystemTyper();
        platform::setKeyTyper(typer_.get());
    }
    static void TearDownTestSuite() {
        platform::setKeyTyper(nullptr);
        typer_.reset();
        receiver_.reset();
        display_.reset();
    }

    void SetUp() override {
        if (!display_)
            GTEST_SKIP() << "Xvfb is not installed";
        folder_ = std::make_unique<testsupport::TempProgramFolder>();
        folder_->sql("dbscan.mdb",
                     "INSERT INTO tblCodelink VALUES ('0012345', 'WIDGET-7', 'Widget', 12);"
                     "INSERT INTO tblCodelink VALUES ('SPECIAL', 'A+B (50%) ~x^ Größe', NULL, 1);"
                     "UPDATE tblSettings SET append = '<RetVal><TAB><UoM><RET>'");
        core::LoadSettings();
        pair_ = std::make_unique<testsupport::SocatPair>();
        shared().ComPort = pair_->port();
        session_ = std::make_unique<core::ScanSession>(port_);
    }
    void TearDown() override {
        session_.reset();
        pair_.reset();
        folder_.reset();
    }

    // Scans through the far end; returns what the window received for them, up to the Enter
    // at the end of the template.
    QString scan(const QByteArray& bytes) {
        const qsizetype from = receiver_->received().size();
        pair_->writeToPeer(bytes);
        return receiver_->waitForEnd(from, "{ENTER}", 20000);
    }

    static inline std::unique_ptr<e2e::XvfbDisplay> display_;
    static inline std::unique_ptr<e2e::KeyReceiver> receiver_;
    static inline std::unique_ptr<platform::KeyTyper> typer_;
    std::unique_ptr<testsupport::TempProgramFolder> folder_;
    std::unique_ptr<testsupport::SocatPair> pair_;
    testsupport::ScriptedDialogs dialogs_;
    platform::SerialCommControl port_;
    std::unique_ptr<core::ScanSession> session_;
};

} // namespace

TEST_F(ScanningEndToEnd, ScansArriveThroughTheTemplateEachAcknowledgedOnce) {
    shared().ACK = true;
    session_->start();
    EXPECT_EQ(scan("0012345\r\n"), "WIDGET-7{TAB}12");
    EXPECT_EQ(scan("SPECIAL\r\n"), "A{+}B {(}50{%}{)} {~}x{^} Größe{TAB}1")
        << "return values arrive literally";
    shared().RetAsScan = true; // keyboard wedge: the scan itself
    EXPECT_EQ(scan("0012345\r\n"), "0012345{TAB}1");
    EXPECT_EQ(scan("é (x)\r\n"), "é {(}x{)}{TAB}1");
    EXPECT_EQ(pair_->readFromPeer(5, std::chrono::milliseconds(500)), QByteArray(4, '\x06'))
        << "exactly one 0x06 per delivered scan";
    EXPECT_TRUE(dialogs_.messages().empty());
}

TEST_F(ScanningEndToEnd, QuietModeTakesItsTimeoutFromTheIniFile) {
    folder_->writeIni("Timeout=40\r\n");
    shared().CRLF = false;
    session_->start();
    EXPECT_EQ(shared().intTimeout, 40);
    // Two chunks 40 ms apart (far under ten ticks of 40 ms) are one scan.
    pair_->writeToPeer("0012");
    e2e::pumpUntil([] { return false; }, 40);
    EXPECT_EQ(scan("345"), "WIDGET-7{TAB}12");
}

TEST_F(ScanningEndToEnd, VanishingPortIsReportedOnceAndScanningCanStartAgain) {
    session_->start();
    EXPECT_EQ(scan("0012345\r\n"), "WIDGET-7{TAB}12");
    pair_->killPeer();
    ASSERT_TRUE(e2e::pumpUntil([&] { return !session_->isOn(); }, 5000));
    e2e::pumpUntil([] { return false; }, 300); // nothing further may be reported
    ASSERT_EQ(dialogs_.messages().size(), 1u);
    EXPECT_TRUE(dialogs_.messages()[0].text.startsWith("Com Port#" + pair_->port()));
    EXPECT_FALSE(port_.portOpen());

    pair_->restart();
    session_->start();
    EXPECT_EQ(scan("0012345\r\n"), "WIDGET-7{TAB}12");
}
