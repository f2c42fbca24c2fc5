// The real X11 typer typing into the real receiving window on a private Xvfb display.
#include "platform/app_error.h"
#include "platform/send_keys.h"
#include "support/checks.h"
#include "x11_session.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>

#include <gtest/gtest.h>
#include <memory>
#include <utility>

using namespace platform;

namespace {

// Ends every typing so the test knows when all before it has arrived.
const QString kEndMarker = QStringLiteral("{F12}");

class X11Typing : public ::testing::Test {
protected:
    static void TearDownTestSuite() {
        typer_.reset();
        receiver_.reset();
        display_.reset();
    }

    void SetUp() override {
        if (!e2e::xvfbInstalled())
            GTEST_SKIP() << "Xvfb is not installed";
        if (!receiver_) { // one display and window for all the tests; a failure fails the test
            display_ = std::make_unique<e2e::XvfbDisplay>();
            qputenv("DISPLAY", display_->name().toLocal8Bit());
            receiver_ = std::make_unique<e2e::KeyReceiver>(ORVANE_KEYRECEIVER, display_->name());
            typer_ = createSystemTyper();
        }
        typer_->setKeyDelay(0);
    }

    // Types send-key text and returns what the window received, in canonical send-key text.
    static QString typeAndReceive(const QString& keys) {
        const qsizetype from = receiver_->received().size();
        typer_->type(ParseSendKeys(keys + kEndMarker));
        return receiver_->waitForEnd(from, kEndMarker);
    }

    static QString canonical(const QString& keys) { return DescribeKeys(ParseSendKeys(keys)); }

    static inline std::unique_ptr<e2e::XvfbDisplay> display_;
    static inline std::unique_ptr<e2e::KeyReceiver> receiver_;
    static inline std::unique_ptr<KeyTyper> typer_;
};

const QString kForeign = QStringLiteral("Größe Ä é ß ø Ω € ÆØÅ æøå Çç Ññ ŁłŻż Ωω Жж 😀");

} // namespace

TEST_F(X11Typing, AsciiSpecialsNamedKeysAndModifiersArriveExactly) {
    const QString ascii = QStringLiteral("Hello, World! 0123456789 abcxyz ABCXYZ [x] <y> "
                                         "@#$&*_=|\\;:'\",./?`-{{}{}}{+}{^}{%}{~}{(}1{)}~");
    // Control characters in scanned text, as wedge scanners send them.
    EXPECT_EQ(typeAndReceive("1\x1d"
                             "2\t3\r\n"),
              "1^{]}2{TAB}3{ENTER}");
    const QString keys =
        ascii +
        QStringLiteral(
            "{TAB}+{TAB}^{F2}%{F5}+{F3}{ESC}{BS}{DEL}{HOME}{END}{PGUP}{PGDN}{UP}{DOWN}{LEFT}{RIGHT}"
            "{INS}{ADD}{SUBTRACT}{MULTIPLY}{DIVIDE}{F1}{F11}{F13}{F16}{HELP}{PRTSC}{BREAK}{ENTER}+~"
            "^a%x^+b%é{CAPSLOCK}{CAPSLOCK}{NUMLOCK}{NUMLOCK}{SCROLLLOCK}{SCROLLLOCK}");
    EXPECT_EQ(typeAndReceive(keys), canonical(keys));
    // "A" needs Shift on its own; "+(ab)" holds it for a group; neither may leak into what
    // follows, on the layout's keys or on lent ones.
    EXPECT_EQ(typeAndReceive("AbC+(ab)c1+1é+éÉe"), "AbCABc1!éÉÉe");
}

TEST_F(X11Typing, ForeignCharactersArriveOnLentKeysInTheirCase) {
    EXPECT_EQ(typeAndReceive(kForeign), kForeign);
    // Again: now on keys still lent from the first time.
    EXPECT_EQ(typeAndReceive(kForeign), kForeign);
    // Far more distinct characters than there are spare keys: keys are lent again and again,
    // each only after its last character has settled.
    QString many;
    for (const auto& [first, last] : {std::pair{U'α', U'ω'}, {U'А', U'Я'}, {U'א', U'ת'}})
        for (char32_t c = first; c <= last; ++c)
            many += QString::fromUcs4(&c, 1);
    many += many.toLower();
    EXPECT_EQ(typeAndReceive(many), many);
    // A long string, mostly on the layout's own keys, with nothing lost.
    const QString alphabet = QStringLiteral(
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .,;:-_/éøΩ€");
    QRandomGenerator random(20240611);
    QString text;
    for (int i = 0; i < 3000; ++i)
        text += alphabet[random.bounded(int(alphabet.size()))];
    EXPECT_EQ(typeAndReceive(text), text);
}

TEST_F(X11Typing, KeysSpacedByTheKeyDelayAllArrive) {
    // With a delay the keys go out one by one from the event loop, each pushed out to X.
    typer_->setKeyDelay(40);
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_EQ(typeAndReceive("abcdef"), "abcdef");
    EXPECT_GE(elapsed.elapsed(), 6 * 40) << "seven keys, six gaps of at least the delay";
}

TEST_F(X11Typing, OtherLayoutsTypeTheSameCharacters) {
    if (QStandardPaths::findExecutable(QStringLiteral("setxkbmap")).isEmpty())
        GTEST_SKIP() << "setxkbmap (x11-xkb-utils) is not installed";
    // On "de" y and z trade places, ö ä ü ß are keys of their own and @ € need AltGr, which
    // the typer does not use: those go through lent keys.
    const QString text = QStringLiteral("yz YZ @ ") + kForeign + QStringLiteral(" ^a{(}1{)}");
    for (const char* layout : {"de", "fr", "us"}) {
        ASSERT_EQ(QProcess::execute(QStringLiteral("setxkbmap"), {QString::fromLatin1(layout)}), 0);
        EXPECT_EQ(typeAndReceive(text), canonical(text)) << layout;
    }
}

TEST(X11TyperErrors, NoDisplayIsAClearErrorNotACrash) {
    const QByteArray saved = qgetenv("DISPLAY");
    qputenv("DISPLAY", ":4095");
    const auto typer = createSystemTyper();
    const auto error = testsupport::errorOf([&] { typer->type(ParseSendKeys("a")); });
    qputenv("DISPLAY", saved);
    EXPECT_EQ(error.number, 70);
    EXPECT_TRUE(error.description.contains("cannot open the X display \":4095\""))
        << error.description.toStdString();
}
