#include "platform/comm_settings.h"
#include "platform/serial_comm_control.h"
#include "platform/serial_text.h"
#include "support/checks.h"
#include "support/socat_pair.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>
#include <vector>

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

TEST(CommSettingsText, ReadsEveryAllowedFormAndRefusesBadTextsNamingTheWrongPart) {
    const std::pair<const char*, CommSettings> allowed[] = {
        {"9600,N,8,1", {9600, Parity::None, 8, StopBits::One}},
        {"4800,e,7,2", {4800, Parity::Even, 7, StopBits::Two}},
        {"110,O,5,1.5", {110, Parity::Odd, 5, StopBits::OneAndHalf}},
        {"115200,m,6,1", {115200, Parity::Mark, 6, StopBits::One}},
        {" 19200 , S , 8 , 2 ", {19200, Parity::Space, 8, StopBits::Two}}};
    for (const auto& [text, expected] : allowed)
        EXPECT_EQ(platform::parseCommSettings(text), expected) << text;

    const std::pair<const char*, std::vector<const char*>> refused[] = {
        {"baud,parity", {"", "9600,N,8", "9600,N,8,1,1"}},
        {"baud rate", {"0,N,8,1", "-9600,N,8,1", "96OO,N,8,1", "99999999999,N,8,1"}},
        {"parity", {"9600,X,8,1", "9600,NO,8,1", "9600,,8,1"}},
        {"data bits", {"9600,N,9,1", "9600,N,4,1", "9600,N,08,1"}},
        {"stop bits", {"9600,N,8,3", "9600,N,8,1.0"}}};
    for (const auto& [part, texts] : refused) {
        for (const char* text : texts) {
            const auto error = errorOf([&] { platform::parseCommSettings(text); });
            EXPECT_EQ(error.number, err::InvalidPropertyValue) << text;
            EXPECT_TRUE(error.description.startsWith("Invalid property value"));
            EXPECT_TRUE(error.description.contains(part)) << error.description.toStdString();
        }
    }
    SerialCommControl port;
    port.setSettings("4800,e,7,1.5");
    EXPECT_EQ(errorOf([&] { port.setSettings("9600,Q,8,1"); }).number, err::InvalidPropertyValue);
    EXPECT_EQ(port.settings(), "4800,E,7,1.5") << "in canonical form, and kept after a refusal";
}

// A character cut short by one read is completed by the next.
TEST(SerialTextDecoding, AnyCutGivesTheSameTextAndNonUtf8BytesAreLatin1) {
    const std::pair<QByteArray, QString> cases[] = {
        {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", QStringLiteral("a\u00E9\u20AC\U0001F600z")},
        {"caf\xE9 \xFF\xC3(", QStringLiteral("caf\u00E9 \u00FF\u00C3(")},
        {"\xC0\x80", QStringLiteral("\u00C0\u0080")},                     // overlong NUL
        {"\xE0\x80\xAF", QStringLiteral("\u00E0\u0080\u00AF")},           // overlong slash
        {"\xED\xA0\x80", QStringLiteral("\u00ED\u00A0\u0080")},           // a UTF-16 surrogate
        {"\xF4\x90\x80\x80", QStringLiteral("\u00F4\u0090\u0080\u0080")}, // above U+10FFFF
        {"\xC3\xC3\xA9", QStringLiteral("\u00C3\u00E9")}, // a lead cut short by another
    };
    for (const auto& [bytes, text] : cases) {
        for (qsizetype cut = 0; cut <= bytes.size(); ++cut) {
            platform::SerialTextDecoder decoder;
            QString decoded = decoder.decode(bytes.first(cut));
            decoded += decoder.decode(bytes.sliced(cut));
            EXPECT_EQ(decoded, text) << bytes.toHex().constData() << " cut at " << cut;
            EXPECT_EQ(decoder.heldBytes(), 0);
        }
    }
}

TEST(CommPort, NumbersAreSystemPortsNamesStandAndOnlySerialDevicesOpen) {
    SerialCommControl port;
    const std::pair<const char*, const char*> cases[] = {
        {" 1", "/dev/ttyS0"},          {"4", "/dev/ttyS3"},
        {"255", "/dev/ttyS254"},       {"/dev/ttyUSB0", "/dev/ttyUSB0"},
        {" ttyACM0 ", "/dev/ttyACM0"}, {"/tmp/scan/link", "/tmp/scan/link"}};
    for (const auto& [text, device] : cases) {
        port.setCommPort(text);
        EXPECT_EQ(port.commPort(), QString(text).trimmed());
        EXPECT_EQ(port.deviceName(), device) << text;
    }
    for (const char* bad : {"0", "-1", "256", "99999999999", "  "}) {
        EXPECT_EQ(errorOf([&] { port.setCommPort(bad); }).number, err::CommInvalidPort) << bad;
        EXPECT_EQ(port.commPort(), "/tmp/scan/link");
    }

    QTemporaryDir dir;
    QFile plain(dir.filePath("plain")); // exists, but is no serial device
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    const std::pair<QString, QString> unopenable[] = {
        {dir.filePath("nothing"), dir.filePath("nothing")},
        {plain.fileName(), "not a serial device"}};
    for (const auto& [device, said] : unopenable) {
        port.setCommPort(device);
        const auto error = errorOf([&] { port.setPortOpen(true); });
        EXPECT_EQ(error.number, err::CommInvalidPort);
        EXPECT_TRUE(error.description.contains(said)) << error.description.toStdString();
        EXPECT_FALSE(port.portOpen());
    }
}

// A pseudo terminal keeps 8 data bits and no parity, so only speed and stop bits show there; it
// is still opened with other data bits and parity, as the test pair stands in for real lines.
// (A port held by another object is refused in the scanner setup tests.)
TEST(SerialPortOpen, SettingsApplyToTheOpenPortWhichCannotBeOpenedOrMovedAgain) {
    SocatPair pair;
    SerialCommControl port;
    port.setCommPort(pair.port());
    port.setSettings("4800,E,7,2");
    port.setPortOpen(true);
    EXPECT_EQ(pair.portLineSettings(), (SocatPair::LineSettings{B4800, 2}));
    port.setSettings("19200,N,8,1");
    EXPECT_EQ(pair.portLineSettings(), (SocatPair::LineSettings{B19200, 1}));
    EXPECT_EQ(errorOf([&] { port.setPortOpen(true); }).number, err::CommPortAlreadyOpen);
    EXPECT_EQ(errorOf([&] { port.setCommPort("2"); }).number, err::CommPortAlreadyOpen);
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

TEST_F(OpenSerialPort, ReceivedFromThresholdOneAndInputTakesEverythingWaitingAsText) {
    pair.writeToPeer("caf\xE9 \xC3\xA9\r\n"); // a Latin-1 and a UTF-8 "é"
    ASSERT_TRUE(received.wait(kWaitMs));
    ASSERT_TRUE(waitForWaiting(port, 9));
    EXPECT_EQ(port.input(), QStringLiteral("caf\u00E9 \u00E9\r\n"));
    EXPECT_EQ(port.inBufferCount(), 0);
    EXPECT_EQ(port.input(), "");

    port.setRThreshold(0);
    received.clear();
    pair.writeToPeer("ab");
    ASSERT_TRUE(waitForWaiting(port, 2));
    QTest::qWait(50);
    EXPECT_EQ(received.count(), 0) << "threshold 0 (a stopped session) sends no receive events";
    EXPECT_EQ(port.input(), "ab");
}

TEST_F(OpenSerialPort, AHeldCharacterIsCompletedByTheNextReadOrTurnsLatin1AfterTheWait) {
    port.setIncompleteCharacterWait(60s);
    pair.writeToPeer("Gr\xC3");
    ASSERT_TRUE(waitForWaiting(port, 3));
    EXPECT_EQ(port.input(), "Gr");
    EXPECT_EQ(port.inBufferCount(), 0) << "the held byte is not waiting input";
    pair.writeToPeer("\xBC\xE2\x82");
    ASSERT_TRUE(waitForWaiting(port, 3));
    EXPECT_EQ(port.input(), QString::fromUtf8("\xC3\xBC"));

    port.setIncompleteCharacterWait(30ms);
    pair.writeToPeer("\xAC!\xC9");
    ASSERT_TRUE(waitForWaiting(port, 3));
    EXPECT_EQ(port.input(), QString::fromUtf8("\xE2\x82\xAC!"));
    received.clear();
    ASSERT_TRUE(received.wait(kWaitMs)) << "the given-up byte is announced";
    EXPECT_EQ(port.inBufferCount(), 1);
    EXPECT_EQ(port.input(), QString::fromUtf8("\xC3\x89"));
}

TEST_F(OpenSerialPort, OutputReachesTheFarEndAndFailsOnceThePortIsGone) {
    port.output("\x06");
    port.output("ok\r\n");
    EXPECT_EQ(pair.readFromPeer(5), "\x06ok\r\n");
    pair.killPeer(); // no events run yet: the port has not noticed
    EXPECT_EQ(errorOf([&] { port.output("\x06"); }).number, err::CommReadWriteFailed);
    EXPECT_FALSE(port.portOpen());
    EXPECT_EQ(errorOf([&] { port.output("\x06"); }).number, err::CommPortNotOpen);
    ASSERT_TRUE(lost.wait(kWaitMs)) << "the loss is still reported";
    QTest::qWait(3 * SerialCommControl::kHangUpCheckInterval.count());
    EXPECT_EQ(lost.count(), 1);
}

// A full input buffer stops the port reading: the loss must be noticed without a read.
TEST_F(OpenSerialPort, TheFarEndVanishingClosesThePortOnceAndReopeningWorks) {
    port.setRThreshold(0);
    port.setInBufferSize(4);
    pair.writeToPeer("0123456789");
    ASSERT_TRUE(waitForWaiting(port, 4));
    pair.killPeer();
    ASSERT_TRUE(lost.wait(kWaitMs));
    EXPECT_FALSE(port.portOpen());
    EXPECT_TRUE(lost.at(0).at(0).toString().contains(pair.port()));
    QTest::qWait(3 * SerialCommControl::kHangUpCheckInterval.count());
    EXPECT_EQ(lost.count(), 1);
    EXPECT_EQ(port.inBufferCount(), 0);
    EXPECT_EQ(errorOf([&] { port.setPortOpen(true); }).number, err::CommInvalidPort);

    pair.restart();
    port.setRThreshold(1);
    port.setPortOpen(true);
    pair.writeToPeer("abc");
    ASSERT_TRUE(received.wait(kWaitMs));
    ASSERT_TRUE(waitForWaiting(port, 3));
    EXPECT_EQ(port.input(), "abc");
}
