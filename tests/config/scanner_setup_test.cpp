// The scanner setup window: what it offers and saves, and the live test over a real serial pair.
#include "config/frm_setup_scanner.h"
#include "config_test_support.h"
#include "core/shared_state.h"
#include "platform/serial_comm_control.h"
#include "platform/serial_device.h"
#ifndef Q_OS_WIN
#include "support/socat_pair.h"
#endif

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace {

QStringList items(QComboBox* combo) {
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}

using ScannerSetup = configtest::SetupWindowTest<config::frmSetupScanner>;

} // namespace

TEST_F(ScannerSetup, ShowsTheStoredRowSavesItAsTypedAndAsksOnCloseOnlyAfterAChange) {
    folder.sql("dbscan.mdb", "UPDATE tblSettings SET ComPort = '/dev/ttyACM0', PortSetting = "
                             "'4800,N,8,2', CRLF = 0, ACK = 1, RetAsScan = 1");
    window.Load();
    auto* ports = control<QComboBox>("cmbComPort");
    EXPECT_EQ(items(ports).mid(0, 4), QStringList({" 1", " 2", " 3", " 4"}));
    EXPECT_EQ(ports->currentText(), "/dev/ttyACM0");
    EXPECT_EQ(items(control<QComboBox>("cmbPortSettings")),
              QStringList({"9600,E,7,1", "9600,N,7,2", "9600,N,8,1", "4800,N,8,2"}));
    EXPECT_EQ(control<QComboBox>("cmbPortSettings")->currentText(), "4800,N,8,2");
    EXPECT_FALSE(control<QCheckBox>("chkCRLF")->isChecked());
    EXPECT_TRUE(control<QCheckBox>("ChAck")->isChecked());
    EXPECT_TRUE(control<QCheckBox>("ChRetAsScan")->isChecked());
    EXPECT_EQ(core::shared().ComPort, "/dev/ttyACM0") << "the shared record is refreshed";
    EXPECT_TRUE(core::shared().RetAsScan);
    EXPECT_TRUE(control<QLineEdit>("txtScan")->isHidden());
    EXPECT_TRUE(window.saved());
    window.close(); // nothing changed: no question
    EXPECT_TRUE(dialogs.messages().empty());
    EXPECT_EQ(main.returns, 1) << "a close hands back to the main window";
}

TEST_F(ScannerSetup, ChangesStayUnsavedAcrossActivationUntilSaveOrCancel) {
    window.Load();
    const auto change = [this] {
        control<QComboBox>("cmbComPort")->setEditText(" 7");
        control<QComboBox>("cmbPortSettings")->setEditText("19200,N,8,1");
        for (const char* box : {"ChRetAsScan", "chkCRLF", "ChAck"})
            control<QCheckBox>(box)->click();
    };
    change();
    ASSERT_TRUE(testsupport::leaveAndReturn(window));
    configtest::expectCloseAsksAndCancelStays(window, dialogs);

    control<QPushButton>("cmdCancel")->click();
    EXPECT_EQ(control<QComboBox>("cmbComPort")->currentText(), "1") << "the stored settings";
    EXPECT_EQ(control<QComboBox>("cmbPortSettings")->currentText(), "9600,N,8,1");
    EXPECT_TRUE(control<QCheckBox>("chkCRLF")->isChecked());
    EXPECT_TRUE(window.saved());

    change();
    dialogs.answer(platform::Answer::Yes);
    window.close();
    EXPECT_EQ(stored("ComPort, PortSetting, RetAsScan, CRLF, ACK"), " 7|19200,N,8,1|1|0|1");
    EXPECT_TRUE(core::shared().ACK);
}

// The tests below need socat's serial pairs (Linux); the Windows program's COM port is tested
// whole under Wine.
#ifndef Q_OS_WIN

// Two devices made for the test (pseudo terminals) with stable names as udev makes them: the
// scanner with an id link and a socket link, the other with a socket link only. Each device is
// offered once, under its most stable name, labelled with the device the name points at now.
TEST_F(ScannerSetup, OffersEachDeviceOnceUnderItsStableNameAndEnterAddsNoEntry) {
    testsupport::SocatPair scanner;
    testsupport::SocatPair other;
    QTemporaryDir links;
    const auto link = [&](const testsupport::SocatPair& device, const QString& name) {
        QDir(links.path()).mkpath(QFileInfo(name).path());
        EXPECT_TRUE(QFile::link(device.port(), links.filePath(name)));
        return links.filePath(name);
    };
    const QString byId = link(scanner, "by-id/usb-Orvane_Test_Scanner_0042-if00");
    const QString scannerSocket = link(scanner, "by-path/pci-0000:00:14.0-usb-0:1:1.0");
    const QString otherSocket = link(other, "by-path/pci-0000:00:14.0-usb-0:2:1.0");
    platform::setSerialLinksFolderOverride(links.path());
    const auto restore = qScopeGuard([] { platform::setSerialLinksFolderOverride(std::nullopt); });
    window.Load();

    auto* ports = control<QComboBox>("cmbComPort");
    EXPECT_EQ(items(ports).mid(4, 2), QStringList({byId, otherSocket}));
    EXPECT_FALSE(items(ports).contains(scannerSocket));
    EXPECT_EQ(ports->itemData(4, Qt::ToolTipRole).toString(),
              "(" + QFileInfo(scanner.port()).canonicalFilePath() + ")");

    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QWidget* focus = QApplication::focusWidget();
    ASSERT_TRUE(focus == ports || ports->isAncestorOf(focus)) << "the port box has the focus";
    const int count = ports->count();
    QTest::keyClick(focus, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(focus, "/dev/ttyUSB7");
    QTest::keyClick(focus, Qt::Key_Return);
    EXPECT_EQ(ports->currentText(), "/dev/ttyUSB7");
    EXPECT_EQ(ports->count(), count);
}

// --- the live test over a socat pair ---------------------------------------------------------

namespace {

struct LiveTest : ScannerSetup {
    void SetUp() override {
        folder.sql("dbscan.mdb", "INSERT INTO tblCodelink VALUES ('0012345', 'WIDGET-7', 'W', 12)");
        folder.writeIni("Timeout=20\r\n");
        window.Load();
        control<QComboBox>("cmbComPort")->setEditText(pair.port());
    }
    void scan(const QByteArray& bytes, const QString& expected) {
        pair.writeToPeer(bytes);
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return control<QLineEdit>("txtScan")->text() == expected; }, 5000))
            << "txtScan shows " << control<QLineEdit>("txtScan")->text().toStdString();
    }
    QString box(const char* name) { return control<QLineEdit>(name)->text(); }

    testsupport::SocatPair pair;
};

} // namespace

TEST_F(LiveTest, ScansShowWithTheirEndingsInLineAndQuietModeAndAreAcknowledgedOnlyWhenAsked) {
    auto* test = control<QPushButton>("cmdTest");
    test->click();
    ASSERT_EQ(test->text(), "S&top") << dialogs.messageTexts().join('|').toStdString();
    EXPECT_FALSE(control<QLineEdit>("txtScan")->isHidden());

    pair.writeToPeer("00123"); // the rest of the scan comes later
    QTest::qWait(100);
    EXPECT_EQ(box("txtScan"), "");
    scan("45\r\n", "0012345");
    EXPECT_EQ(box("txtReturn"), "WIDGET-7");
    EXPECT_EQ(box("TxtUnit"), "12");
    EXPECT_EQ(box("txtAppend"), "<Ret>");
    EXPECT_TRUE(pair.readFromPeer(1, std::chrono::milliseconds(200)).isEmpty()) << "no ACK";

    control<QCheckBox>("ChAck")->click(); // does not stop the test
    EXPECT_EQ(test->text(), "S&top");
    scan("999\r\n", "999");
    EXPECT_EQ(box("txtReturn"), "999") << "an unknown code shows itself";
    EXPECT_EQ(box("TxtUnit"), "1");
    scan("0012345\r\n", "0012345");
    EXPECT_EQ(pair.readFromPeer(3, std::chrono::milliseconds(500)), QByteArray("\x06\x06"));

    control<QCheckBox>("chkCRLF")->click(); // stops the test
    EXPECT_EQ(test->text(), "&Test");
    EXPECT_FALSE(window.port().portOpen());
    EXPECT_TRUE(control<QLineEdit>("TxtUnit")->isHidden());

    // Without CR/LF a scan ends when the line goes quiet.
    control<QCheckBox>("ChAck")->click();
    test->click();
    scan("0012345\r\n", "0012345");
    EXPECT_EQ(box("txtAppend"), "<Ret>");
    pair.writeToPeer("\t"); // a lone Tab: shown as the ending, nothing else
    EXPECT_TRUE(QTest::qWaitFor([&] { return box("txtAppend") == "<Tab>"; }, 5000));
    QTest::qWait(300); // past the quiet time
    EXPECT_EQ(box("txtScan"), "0012345");
    pair.writeToPeer("AB");
    scan("C", "ABC");
    EXPECT_EQ(box("txtAppend"), "Nothing");
    EXPECT_EQ(box("txtReturn"), "ABC");

    // With a shared table set, the test looks up there, as scanning does.
    test->click();
    ASSERT_TRUE(QFile::copy(db(), folder.file("shared.mdb")));
    folder.sql("shared.mdb", "UPDATE tblCodelink SET ReturnValue = 'SHARED-7'");
    core::shared().IsDBShared = true;
    core::shared().SharedDataBase = folder.file("shared.mdb");
    test->click();
    scan("0012345", "0012345");
    EXPECT_EQ(box("txtReturn"), "SHARED-7");
}

TEST_F(LiveTest, PortErrorsAreToldWithThePortAsTyped) {
    {
        platform::SerialCommControl holder;
        holder.setCommPort(pair.port());
        holder.setPortOpen(true);
        control<QPushButton>("cmdTest")->click();
    }
    control<QComboBox>("cmbComPort")->setEditText(" 300");
    control<QPushButton>("cmdTest")->click();
    control<QComboBox>("cmbComPort")->setEditText(folder.file("ttyACM9")); // unplugged
    control<QPushButton>("cmdTest")->click();
    control<QComboBox>("cmbComPort")->setEditText(pair.port());
    control<QComboBox>("cmbPortSettings")->setEditText("9600,X,8,1");
    control<QPushButton>("cmdTest")->click();

    ASSERT_EQ(dialogs.messages().size(), 4u);
    EXPECT_EQ(dialogs.messages()[0].text, "Com Port#" + pair.port() + " is already open");
    EXPECT_EQ(dialogs.messages()[0].icon, platform::Icon::Critical);
    EXPECT_EQ(dialogs.messages()[1].text, "Com Port# 300 is not a valid port number");
    EXPECT_TRUE(dialogs.messages()[2].text.startsWith("There is no serial device " +
                                                      folder.file("ttyACM9") + " ("))
        << dialogs.messages()[2].text.toStdString();
    EXPECT_TRUE(dialogs.messages()[3].text.startsWith("Error # 380\r\n"));
    EXPECT_EQ(control<QPushButton>("cmdTest")->text(), "&Test");
    EXPECT_FALSE(window.port().portOpen());
}

#endif
