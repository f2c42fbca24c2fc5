#include "platform/comm_settings.h"
#include "platform/serial_comm_control.h"
#include "platform/serial_text.h"
#include "support/errors.h"
#include "support/fake_comm_control.h"
#include "support/socat_pair.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using platform::CommSettings;
using platform::Parity;
using platform::SerialCommControl;
using platform::StopBits;
using testsupport::errorOf;
using testsupport::SocatPair;
namespace err = platform::err;
using namespace std::chrono_literals;

namespace {

constexpr int kWaitMs = 5000;

bool waitForWaiting(const SerialCommControl& port, int count) {
    return QTest::qWaitFor([&] { return port.inBufferCount() == count; }, kWaitMs);
}

} // namespace

TEST(CommSettingsText, ReadsEveryAllowedForm) {
    const std::pair<const char*, CommSettings> cases[] = {
        {"9600,N,8,1", {9600, Parity::None, 8, StopBits::One}},
        {"4800,e,7,2", {4800, Parity::Even, 7, StopBits::Two}},
        {"110,O,5,1.5", {110, Parity::Odd, 5, StopBits::OneAndHalf}},
        {"115200,m,6,1", {115200, Parity::Mark, 6, StopBits::One}},
        {" 19200 , S , 8 , 2 ", {19200, Parity::Space, 8, StopBits::Two}},
    };
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(platform::parseCommSettings(text), expected);
    }
    EXPECT_EQ(platform::parseCommSettings("4800,e,7,1.5").text(), "4800,E,7,1.5");
}

TEST(CommSettingsText, RefusesBadTextsNamingTheWrongPart) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "baud,parity"},
        {"9600,N,8", "baud,parity"},
        {"9600,N,8,1,1", "baud,parity"},
        {"0,N,8,1", "baud rate"},
        {"-9600,N,8,1", "baud rate"},
        {"96OO,N,8,1", "baud rate"},
        {"99999999999,N,8,1", "baud rate"},
        {"9600,X,8,1", "parity"},
        {"9600,NO,8,1", "parity"},
        {"9600,,8,1", "parity"},
        {"9600,N,9,1", "data bits"},
        {"9600,N,4,1", "data bits"},
        {"9600,N,08,1", "data bits"},
        {"9600,N,8,3", "stop bits"},
        {"9600,N,8,1.0", "stop bits"},
    };
    for (const auto& [text, part] : cases) {
        SCOPED_TRACE(text);
        const auto error = errorOf([&] { platform::parseCommSettings(text); });
        EXPECT_EQ(error.number, err::InvalidPropertyValue);
        EXPECT_TRUE(error.description.startsWith("Invalid property value"));
        EXPECT_TRUE(error.description.contains(part)) << error.description.toStdString();
    }
    SerialCommControl port;
    port.setSettings("4800,E,7,2");
    EXPECT_EQ(errorOf([&] { port.setSettings("9600,Q,8,1"); }).number, err::InvalidPropertyValue);
    EXPECT_EQ(port.settings(), "4800,E,7,2");
}

TEST(SerialTextDecoding, ACharacterCutAnywhereComesOutWhole) {
    const QByteArray line = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";
    for (qsizetype cut = 0; cut <= line.size(); ++cut) {
        SCOPED_TRACE(cut);
        platform::SerialTextDecoder decoder;
        QString text = decoder.decode(line.first(cut));
        text += decoder.decode(line.sliced(cut));
        EXPECT_EQ(text, QString::fromUtf8(line));
        EXPECT_EQ(decoder.heldBytes(), 0);
    }
}

TEST(SerialTextDecoding, ForbiddenUtf8FormsAreLatin1) {
    const std::pair<QByteArray, QString> cases[] = {
        {"\xC0\x80", QStringLiteral("\u00C0\u0080")},                     // overlong NUL
        {"\xE0\x80\xAF", QStringLiteral("\u00E0\u0080\u00AF")},           // overlong slash
        {"\xED\xA0\x80", QStringLiteral("\u00ED\u00A0\u0080")},           // a UTF-16 surrogate
        {"\xF4\x90\x80\x80", QStringLiteral("\u00F4\u0090\u0080\u0080")}, // above U+10FFFF
        {"\xC3\xC3\xA9", QStringLiteral("\u00C3\u00E9")}, // a lead cut short by another
    };
    for (const auto& [bytes, text] : cases) {
        platform::SerialTextDecoder decoder;
        QString decoded = decoder.decode(bytes);
        decoded += decoder.flush();
        EXPECT_EQ(decoded, text) << bytes.toHex().constData();
    }
}

TEST(CommPortNaming, NumbersAreSystemPortsAndNamesStandAsTheyAre) {
    SerialCommControl port;
    const std::pair<const char*, const char*> cases[] = {
        {" 1", "/dev/ttyS0"},          {"4", "/dev/ttyS3"},
        {"255", "/dev/ttyS254"},       {"/dev/ttyUSB0", "/dev/ttyUSB0"},
        {" ttyACM0 ", "/dev/ttyACM0"}, {"/tmp/scan/link", "/tmp/scan/link"},
    };
    for (const auto& [text, device] : cases) {
        SCOPED_TRACE(text);
        port.setCommPort(text);
        EXPECT_EQ(port.commPort(), QString(text).trimmed());
        EXPECT_EQ(port.deviceName(), device);
    }
    for (const char* bad : {"0", "-1", "256", "99999999999", "  "}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(errorOf([&] { port.setCommPort(bad); }).number, err::CommInvalidPort);
        EXPECT_EQ(port.commPort(), "/tmp/scan/link");
    }
}

TEST(SerialPortOpen, NoSuchDeviceOrNotASerialDeviceIsAnInvalidPort) {
    QTemporaryDir dir;
    SerialCommControl port;
    port.setCommPort(dir.filePath("nothing"));
    auto error = errorOf([&] { port.setPortOpen(true); });
    EXPECT_EQ(error.number, err::CommInvalidPort);
    EXPECT_TRUE(error.description.contains(dir.filePath("nothing")));

    QFile plain(dir.filePath("plain"));
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    port.setCommPort(plain.fileName()); // exists, but is no serial device
    error = errorOf([&] { port.setPortOpen(true); });
    EXPECT_EQ(error.number, err::CommInvalidPort);
    EXPECT_TRUE(error.description.contains("not a serial device"));
    EXPECT_FALSE(port.portOpen());
}

TEST(SerialPortOpen, APortHeldElsewhereIsAlreadyOpenUntilReleased) {
    SocatPair pair;
    SerialCommControl first;
    SerialCommControl second;
    first.setCommPort(pair.port());
    second.setCommPort(pair.port());
    first.setPortOpen(true);
    EXPECT_EQ(errorOf([&] { second.setPortOpen(true); }).number, err::CommPortAlreadyOpen);
    EXPECT_EQ(errorOf([&] { first.setPortOpen(true); }).number, err::CommPortAlreadyOpen);
    EXPECT_EQ(errorOf([&] { first.setCommPort("2"); }).number, err::CommPortAlreadyOpen);
    EXPECT_FALSE(second.portOpen());
    first.setPortOpen(false);
    second.setPortOpen(true);
    EXPECT_TRUE(second.portOpen());
}

// A pseudo terminal keeps 8 data bits and no parity, so only speed and stop bits show there; it
// is still opened with other data bits and parity, as the test pair stands in for real lines.
TEST(SerialPortOpen, SettingsApplyOnOpenAndToTheOpenPort) {
    SocatPair pair;
    SerialCommControl port;
    port.setCommPort(pair.port());
    port.setSettings("4800,E,7,2");
    port.setPortOpen(true);
    EXPECT_EQ(pair.portLineSettings().baudRate, 4800);
    EXPECT_EQ(pair.portLineSettings().stopBits, 2);
    port.setSettings("19200,N,8,1");
    EXPECT_EQ(pair.portLineSettings().baudRate, 19200);
    EXPECT_EQ(pair.portLineSettings().stopBits, 1);
    EXPECT_EQ(port.settings(), "19200,N,8,1");
}

// A port open on one end of a socat pair; the test writes and reads at the other end.
class OpenSerialPort : public ::testing::Test {
protected:
    void SetUp() override {
        port.setCommPort(pair.port());
        port.setRThreshold(1);
        port.setPortOpen(true);
    }

    SocatPair pair;
    SerialCommControl port;
    QSignalSpy received{&port, &platform::CommControl::received};
    QSignalSpy lost{&port, &platform::CommControl::lost};
};

TEST_F(OpenSerialPort, ReceivedAtTheThresholdAndInputTakesEverythingWaiting) {
    pair.writeToPeer("12345\r\n");
    ASSERT_TRUE(received.wait(kWaitMs));
    ASSERT_TRUE(waitForWaiting(port, 7));
    EXPECT_EQ(port.input(), "12345\r\n");
    EXPECT_EQ(port.inBufferCount(), 0);
    EXPECT_EQ(port.input(), "");

    port.setRThreshold(0);
    received.clear();
    pair.writeToPeer("ab");
    ASSERT_TRUE(waitForWaiting(port, 2));
    EXPECT_EQ(received.count(), 0) << "threshold 0 sends no receive events";

    port.setRThreshold(4);
    pair.writeToPeer("c");
    ASSERT_TRUE(waitForWaiting(port, 3));
    QTest::qWait(50);
    EXPECT_EQ(received.count(), 0) << "3 bytes are below a threshold of 4";
    pair.writeToPeer("d");
    ASSERT_TRUE(received.wait(kWaitMs));
    EXPECT_EQ(port.input(), "abcd");
}

TEST_F(OpenSerialPort, ACharacterSplitAcrossReadsIsCompletedByTheNextRead) {
    port.setIncompleteCharacterWait(60s);
    pair.writeToPeer("Gr\xC3");
    ASSERT_TRUE(waitForWaiting(port, 3));
    EXPECT_EQ(port.input(), "Gr");
    EXPECT_EQ(port.inBufferCount(), 0) << "the held byte is not waiting input";
    pair.writeToPeer("\xBC\xE2\x82");
    ASSERT_TRUE(waitForWaiting(port, 3));
    EXPECT_EQ(port.input(), QString::fromUtf8("\xC3\xBC"));
    pair.writeToPeer("\xAC!");
    ASSERT_TRUE(waitForWaiting(port, 2));
    EXPECT_EQ(port.input(), QString::fromUtf8("\xE2\x82\xAC!"));
}

TEST_F(OpenSerialPort, BytesThatAreNotUtf8AreLatin1) {
    pair.writeToPeer("caf\xE9 \xC3\xA9 \xF0\x9F\x98\x80 \xFF\xC3(\xED\xA0\x80\r\n");
    ASSERT_TRUE(waitForWaiting(port, 21));
    EXPECT_EQ(port.input(), QString::fromUtf8("caf\xC3\xA9 \xC3\xA9 \xF0\x9F\x98\x80 "
                                              "\xC3\xBF\xC3\x83(\xC3\xAD\xC2\xA0\xC2\x80\r\n"));
}

TEST_F(OpenSerialPort, AnIncompleteCharacterAtTheEndTurnsLatin1AfterTheWait) {
    port.setIncompleteCharacterWait(30ms);
    pair.writeToPeer("CAF\xC9");
    ASSERT_TRUE(waitForWaiting(port, 4));
    EXPECT_EQ(port.input(), "CAF");
    received.clear();
    ASSERT_TRUE(received.wait(kWaitMs)) << "the given-up byte is announced";
    EXPECT_EQ(port.inBufferCount(), 1);
    EXPECT_EQ(port.input(), QString::fromUtf8("\xC3\x89"));
}

TEST_F(OpenSerialPort, OutputReachesTheFarEnd) {
    port.output("\x06");
    EXPECT_EQ(pair.readFromPeer(1), "\x06");
    port.output("ok\r\n");
    EXPECT_EQ(pair.readFromPeer(4), "ok\r\n");
    port.setPortOpen(false);
    EXPECT_EQ(errorOf([&] { port.output("\x06"); }).number, err::CommPortNotOpen);
}

TEST_F(OpenSerialPort, TheFarEndVanishingClosesThePortOnceAndReopeningWorks) {
    pair.killPeer();
    ASSERT_TRUE(lost.wait(kWaitMs));
    EXPECT_FALSE(port.portOpen());
    EXPECT_TRUE(lost.at(0).at(0).toString().contains(pair.port()));
    QTest::qWait(3 * SerialCommControl::kHangUpCheckInterval.count());
    EXPECT_EQ(lost.count(), 1);
    EXPECT_EQ(port.inBufferCount(), 0);
    EXPECT_EQ(errorOf([&] { port.setPortOpen(true); }).number, err::CommInvalidPort);

    pair.restart();
    port.setPortOpen(true);
    pair.writeToPeer("again");
    ASSERT_TRUE(received.wait(kWaitMs));
    ASSERT_TRUE(waitForWaiting(port, 5));
    EXPECT_EQ(port.input(), "again");
}

TEST_F(OpenSerialPort, AWriteToAVanishedPortFailsAndLossIsStillReportedOnce) {
    pair.killPeer(); // no events run yet: the port has not noticed
    EXPECT_EQ(errorOf([&] { port.output("\x06"); }).number, err::CommReadWriteFailed);
    EXPECT_FALSE(port.portOpen());
    ASSERT_TRUE(lost.wait(kWaitMs));
    QTest::qWait(3 * SerialCommControl::kHangUpCheckInterval.count());
    EXPECT_EQ(lost.count(), 1);
}

TEST_F(OpenSerialPort, LossIsNoticedWhileAFullInputBufferStopsReading) {
    port.setRThreshold(0);
    port.setInBufferSize(4);
    pair.writeToPeer("0123456789");
    ASSERT_TRUE(waitForWaiting(port, 4));
    pair.killPeer();
    ASSERT_TRUE(lost.wait(kWaitMs));
    EXPECT_FALSE(port.portOpen());
}

// The double must refuse and announce as the real port does, or tests of the scanning code built
// on it would pass against behaviour the real port does not have.
TEST(FakeCommControl, RefusesAndAnnouncesLikeTheRealPort) {
    testsupport::FakeCommControl fake;
    QSignalSpy received(&fake, &platform::CommControl::received);
    EXPECT_EQ(errorOf([&] { fake.setSettings("9600,X,8,1"); }).number, err::InvalidPropertyValue);
    EXPECT_EQ(errorOf([&] { fake.setCommPort("0"); }).number, err::CommInvalidPort);
    EXPECT_FALSE(fake.pushText("dropped")) << "a closed port receives nothing";

    fake.failOpenWith(platform::AppError(err::CommPortAlreadyOpen, "Port already open"));
    EXPECT_EQ(errorOf([&] { fake.setPortOpen(true); }).number, err::CommPortAlreadyOpen);
    fake.failOpenWith(std::nullopt);
    fake.setRThreshold(1);
    fake.setPortOpen(true);
    fake.pushBytes("caf\xE9");
    fake.pushText(QStringLiteral("\u20AC"));
    EXPECT_EQ(received.count(), 2);
    EXPECT_EQ(fake.input(), QStringLiteral("caf\u00E9\u20AC"));
    fake.output("\x06");
    EXPECT_EQ(fake.calls(),
              QStringList({"setSettings(9600,X,8,1)", "setCommPort(0)", "setPortOpen(true)",
                           "setRThreshold(1)", "setPortOpen(true)", "output(06)"}));
}
