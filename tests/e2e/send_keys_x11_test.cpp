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

// Last: Xlib defines macros (None, Bool, Status) that other headers use as names.
#include <X11/XKBlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

using namespace platform;

namespace {

// Ends every typing so the test knows when all before it has arrived.
const QString kEndMarker = QStringLiteral("{F12}");

class X11Typing : public ::testing::Test {
protected:
    static void TearDownTestSuite() {
        typer_.reset();
        receiver_.reset();
        if (x_)
            XCloseDisplay(x_);
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
            // The test's own connection, as the user's keyboard and other applications have.
            int opcode = 0;
            int error = 0;
            int major = XkbMajorVersion;
            int minor = XkbMinorVersion;
            x_ = XkbOpenDisplay(display_->name().toLocal8Bit().data(), &xkbEvent_, &error, &major,
                                &minor, &opcode);
            ASSERT_TRUE(x_);
            XkbSelectEvents(x_, XkbUseCoreKbd, XkbMapNotifyMask, XkbMapNotifyMask);
        }
        typer_->setKeyDelay(0);
    }

    // Types send-key text and returns what the window received, in canonical send-key text.
    static QString typeAndReceive(const QString& keys, const e2e::KeyReceiver& receiver) {
        const qsizetype from = receiver.received().size();
        typer_->type(ParseSendKeys(keys + kEndMarker));
        return receiver.waitForEnd(from, kEndMarker);
    }
    static QString typeAndReceive(const QString& keys) { return typeAndReceive(keys, *receiver_); }

    // How often the keyboard mapping changed since the last call.
    static int mappingChanges() {
        XSync(x_, False);
        int changes = 0;
        while (XPending(x_)) {
            XEvent event;
            XNextEvent(x_, &event);
            changes += event.type == xkbEvent_ &&
                       reinterpret_cast<XkbEvent&>(event).any.xkb_type == XkbMapNotify;
        }
        return changes;
    }

    static void holdShift(bool down) {
        XTestFakeKeyEvent(x_, XKeysymToKeycode(x_, XK_Shift_L), down, CurrentTime);
        XSync(x_, False);
    }

    static void lockCaps(bool on) {
        XkbLockModifiers(x_, XkbUseCoreKbd, LockMask, on ? LockMask : 0);
        XSync(x_, False);
    }
    static bool capsLocked() {
        XkbStateRec state{};
        XkbGetState(x_, XkbUseCoreKbd, &state);
        return (state.locked_mods & LockMask) != 0;
    }

    static QString canonical(const QString& keys) { return DescribeKeys(ParseSendKeys(keys)); }

    static inline std::unique_ptr<e2e::XvfbDisplay> display_;
    static inline std::unique_ptr<e2e::KeyReceiver> receiver_;
    static inline std::unique_ptr<KeyTyper> typer_;
    static inline Display* x_ = nullptr;
    static inline int xkbEvent_ = 0;
};

// Greek, Cyrillic and Hebrew letters in both cases: far more distinct characters than there
// are spare keys.
QString manyForeignLetters() {
    QString many;
    for (const auto& [first, last] : {std::pair{U'α', U'ω'}, {U'А', U'Я'}, {U'א', U'ת'}})
        for (char32_t c = first; c <= last; ++c)
            many += QString::fromUcs4(&c, 1);
    return many + many.toLower();
}

const QString kCapsLockText = QStringLiteral("ß µ ÿ é a A ßÿ Größe Xy z1");

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
    // Signs the layout lacks, with Shift and without, lent in one batch.
    EXPECT_EQ(typeAndReceive("¦+¤§+¶"), "¦¤§¶");
}

TEST_F(X11Typing, ForeignCharactersArriveOnLentKeysInTheirCase) {
    EXPECT_EQ(typeAndReceive(kForeign), kForeign);
    // Again: now on keys still lent from the first time.
    EXPECT_EQ(typeAndReceive(kForeign), kForeign);
    // A long string, mostly on the layout's own keys, with nothing lost.
    const QString alphabet = QStringLiteral(
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .,;:-_/éøΩ€");
    QRandomGenerator random(20240611);
    QString text;
    for (int i = 0; i < 3000; ++i)
        text += alphabet[random.bounded(int(alphabet.size()))];
    EXPECT_EQ(typeAndReceive(text), text);
}

// Keys are lent in batches, each remapped only once the keys typed on them before have
// settled: every toolkit reads each character with the mapping it was typed with.
TEST_F(X11Typing, BatchesLargerThanTheSpareKeysArriveInEveryToolkit) {
    if (QStandardPaths::findExecutable(QStringLiteral("xterm")).isEmpty())
        GTEST_SKIP() << "xterm is not installed";
    const QString many = manyForeignLetters();
    EXPECT_EQ(typeAndReceive(many), many) << "Qt";
    for (const auto& [kind, program] : {std::pair{e2e::KeyReceiver::Kind::Gtk, ORVANE_GTKRECEIVER},
                                        {e2e::KeyReceiver::Kind::Xterm, ORVANE_TTYRECEIVER}}) {
        const e2e::KeyReceiver other(program, display_->name(), kind);
        EXPECT_EQ(typeAndReceive(many, other), many) << program;
        lockCaps(true);
        EXPECT_EQ(typeAndReceive(kCapsLockText, other), kCapsLockText) << program;
        lockCaps(false);
    }
    // The focus back to the receiver of the other tests.
    receiver_ = std::make_unique<e2e::KeyReceiver>(ORVANE_KEYRECEIVER, display_->name());
}

TEST_F(X11Typing, LentKeysStayLentFromOneScanToTheNext) {
    const QString scan = QStringLiteral("Ωμέγα ½ ° µ Жж");
    EXPECT_EQ(typeAndReceive(scan), scan);
    mappingChanges();
    e2e::pumpUntil([] { return false; }, 6000); // the user works on between scans
    EXPECT_EQ(typeAndReceive(scan), scan);
    EXPECT_EQ(mappingChanges(), 0) << "the second scan needs no key lent anew";
}

TEST_F(X11Typing, TypingWaitsWhileTheUserHoldsShift) {
    const auto typedOnceReleased = [] {
        holdShift(true);
        const qsizetype from = receiver_->received().size();
        typer_->type(ParseSendKeys("ab1" + kEndMarker));
        e2e::pumpUntil([] { return false; }, 500);
        EXPECT_EQ(receiver_->received().mid(from), "") << "nothing typed while Shift is down";
        holdShift(false);
        EXPECT_EQ(receiver_->waitForEnd(from, kEndMarker), "ab1");
    };
    typedOnceReleased();

    // Held on and on: typed after a while all the same, rather than never.
    holdShift(true);
    QElapsedTimer held;
    held.start();
    typer_->type(ParseSendKeys("x"));
    EXPECT_EQ(receiver_->waitForEnd(receiver_->received().size(), "X"), "");
    EXPECT_GE(held.elapsed(), 1000);
    holdShift(false);
    // A later scan under a new hold waits again: the long hold before counts for nothing.
    typedOnceReleased();
}

// A Caps Lock the user left on changes no character, also on lent keys (X takes the capitals of
// ß, µ and ÿ for keysyms that do not exist), and stays on; Caps Lock typed as a key toggles it.
// GTK and xterm are checked with the toolkits' batches above.
TEST_F(X11Typing, CapsLockLeftOnChangesNoCharacter) {
    lockCaps(true);
    EXPECT_EQ(typeAndReceive(kCapsLockText), kCapsLockText);
    EXPECT_TRUE(capsLocked());
    EXPECT_EQ(typeAndReceive("{CAPSLOCK}b"), "{CAPSLOCK}b");
    EXPECT_FALSE(capsLocked());
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
    for (const QString layout : {"de", "fr", "us,ru", "us"}) {
        ASSERT_EQ(QProcess::execute(QStringLiteral("setxkbmap"), {layout}), 0);
        if (layout == "us,ru") {
            // A second group has the Cyrillic letters: typed there, no key lent.
            mappingChanges();
            EXPECT_EQ(typeAndReceive("Привет"), "Привет");
            EXPECT_EQ(mappingChanges(), 0);
            // The user switches to the other layout while a slow scan is typed: the rest of
            // it comes out as given all the same, and the layout stays as the user chose.
            typer_->setKeyDelay(20);
            const qsizetype from = receiver_->received().size();
            typer_->type(ParseSendKeys("abcdefgh" + kEndMarker));
            e2e::pumpUntil([] { return false; }, 70);
            XkbLockGroup(x_, XkbUseCoreKbd, 1);
            XSync(x_, False);
            EXPECT_EQ(receiver_->waitForEnd(from, kEndMarker), "abcdefgh");
            XkbStateRec state{};
            XkbGetState(x_, XkbUseCoreKbd, &state);
            EXPECT_EQ(state.locked_group, 1);
            XkbLockGroup(x_, XkbUseCoreKbd, 0);
            typer_->setKeyDelay(0);
        }
        EXPECT_EQ(typeAndReceive(text), canonical(text)) << layout.toStdString();
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
