#include "platform/send_keys.h"
#include "support/errors.h"

#include <gtest/gtest.h>

using namespace platform;
using testsupport::errorOf;

namespace {

constexpr int kInvalidProcedureCall = 5;

KeyAction ch(char32_t character, unsigned modifiers = NoModifier) {
    return KeyAction::Character(character, modifiers);
}

KeyAction key(NamedKey named, unsigned modifiers = NoModifier) {
    return KeyAction::Named(named, modifiers);
}

KeyActions parse(const char16_t* text) {
    return ParseSendKeys(QString::fromUtf16(text));
}

} // namespace

TEST(ParseSendKeys, TypesOrdinaryCharactersAsThemselves) {
    EXPECT_EQ(parse(u"aZ 9"), (KeyActions{ch('a'), ch('Z'), ch(' '), ch('9')}));
    EXPECT_EQ(parse(u"Größe Ω€"), (KeyActions{ch(U'G'), ch(U'r'), ch(U'ö'), ch(U'ß'), ch(U'e'),
                                              ch(U' '), ch(U'Ω'), ch(U'€')}));
    EXPECT_EQ(parse(u"[x]"), (KeyActions{ch('['), ch('x'), ch(']')}));
    // A character outside the BMP is one key, not two halves.
    EXPECT_EQ(parse(u"😀"), KeyActions{ch(U'😀')});
    EXPECT_TRUE(parse(u"").empty());
}

TEST(ParseSendKeys, ModifiersHoldForTheNextKeyOrGroup) {
    EXPECT_EQ(parse(u"+ab"), (KeyActions{ch('a', ShiftModifier), ch('b')}));
    EXPECT_EQ(parse(u"^+a"), KeyActions{ch('a', ShiftModifier | ControlModifier)});
    EXPECT_EQ(parse(u"%{F4}"), KeyActions{key(NamedKey::F4, AltModifier)});
    EXPECT_EQ(parse(u"+~"), KeyActions{key(NamedKey::Enter, ShiftModifier)});
    EXPECT_EQ(parse(u"+(ab)c"),
              (KeyActions{ch('a', ShiftModifier), ch('b', ShiftModifier), ch('c')}));
    // Groups nest; the inner modifiers add to the outer ones and end with their group.
    EXPECT_EQ(parse(u"^(a+(b)c)d"),
              (KeyActions{ch('a', ControlModifier), ch('b', ControlModifier | ShiftModifier),
                          ch('c', ControlModifier), ch('d')}));
    EXPECT_EQ(parse(u"(ab)"), (KeyActions{ch('a'), ch('b')}));
    EXPECT_EQ(parse(u"+{a 3}"), KeyActions(3, ch('a', ShiftModifier)));
}

TEST(ParseSendKeys, KnowsEveryKeyNameWithoutRegardToCase) {
    const std::pair<const char16_t*, NamedKey> names[] = {
        {u"{BACKSPACE}", NamedKey::Backspace},
        {u"{bs}", NamedKey::Backspace},
        {u"{Bksp}", NamedKey::Backspace},
        {u"{BREAK}", NamedKey::Break},
        {u"{CAPSLOCK}", NamedKey::CapsLock},
        {u"{DELETE}", NamedKey::Delete},
        {u"{del}", NamedKey::Delete},
        {u"{DOWN}", NamedKey::Down},
        {u"{END}", NamedKey::End},
        {u"{enter}", NamedKey::Enter},
        {u"~", NamedKey::Enter},
        {u"{ESC}", NamedKey::Escape},
        {u"{HELP}", NamedKey::Help},
        {u"{HOME}", NamedKey::Home},
        {u"{INSERT}", NamedKey::Insert},
        {u"{ins}", NamedKey::Insert},
        {u"{LEFT}", NamedKey::Left},
        {u"{NUMLOCK}", NamedKey::NumLock},
        {u"{PGDN}", NamedKey::PageDown},
        {u"{PgUp}", NamedKey::PageUp},
        {u"{PRTSC}", NamedKey::PrintScreen},
        {u"{RIGHT}", NamedKey::Right},
        {u"{SCROLLLOCK}", NamedKey::ScrollLock},
        {u"{Tab}", NamedKey::Tab},
        {u"{UP}", NamedKey::Up},
        {u"{ADD}", NamedKey::Add},
        {u"{SUBTRACT}", NamedKey::Subtract},
        {u"{multiply}", NamedKey::Multiply},
        {u"{DIVIDE}", NamedKey::Divide},
    };
    for (const auto& [text, named] : names)
        EXPECT_EQ(parse(text), KeyActions{key(named)}) << QString::fromUtf16(text).toStdString();
    for (int n = 1; n <= 16; ++n)
        EXPECT_EQ(ParseSendKeys(QStringLiteral("{f%1}").arg(n)),
                  KeyActions{key(NamedKey(int(NamedKey::F1) + n - 1))})
            << n;
}

TEST(ParseSendKeys, RepeatsKeysAndCharacters) {
    EXPECT_EQ(parse(u"{TAB 3}"), KeyActions(3, key(NamedKey::Tab)));
    EXPECT_EQ(parse(u"{x 2}y"), (KeyActions{ch('x'), ch('x'), ch('y')}));
    EXPECT_EQ(parse(u"{} 2}"), KeyActions(2, ch('}')));
    EXPECT_EQ(parse(u"{+ 2}"), KeyActions(2, ch('+')));
    EXPECT_EQ(parse(u"{  2}"), KeyActions(2, ch(' ')));
    EXPECT_EQ(parse(u"{ }"), KeyActions{ch(' ')});
    EXPECT_EQ(parse(u"{é 2}"), KeyActions(2, ch(U'é')));
    EXPECT_TRUE(parse(u"{LEFT 0}").empty());
    EXPECT_EQ(parse(u"{a 9999}").size(), 9999u);
}

TEST(ParseSendKeys, BracedSpecialsAreLiteralCharacters) {
    for (const char16_t special : u"+^%~(){}[]") {
        if (special == 0)
            break;
        const QString text = QStringLiteral("{%1}").arg(QChar(special));
        EXPECT_EQ(ParseSendKeys(text), KeyActions{ch(special)}) << text.toStdString();
    }
    EXPECT_EQ(parse(u"ABC {(}1{)}~"), (KeyActions{ch('A'), ch('B'), ch('C'), ch(' '), ch('('),
                                                  ch('1'), ch(')'), key(NamedKey::Enter)}));
}

TEST(ParseSendKeys, LineEndsTabsAndControlCharactersBecomeKeys) {
    const KeyActions aEnterB{ch('a'), key(NamedKey::Enter), ch('b')};
    EXPECT_EQ(parse(u"a\r\nb"), aEnterB);
    EXPECT_EQ(parse(u"a\nb"), aEnterB);
    EXPECT_EQ(parse(u"a\rb"), aEnterB);
    EXPECT_EQ(parse(u"\n\r"), KeyActions(2, key(NamedKey::Enter)));
    EXPECT_EQ(parse(u"+\r\n"), KeyActions{key(NamedKey::Enter, ShiftModifier)});
    EXPECT_EQ(parse(u"\t"), KeyActions{key(NamedKey::Tab)});
    EXPECT_EQ(parse(u"\x08\x1b\x7f"),
              (KeyActions{key(NamedKey::Backspace), key(NamedKey::Escape), key(NamedKey::Delete)}));
    // The group separator of GS1 codes, as wedge scanners type it.
    EXPECT_EQ(parse(u"1\x1d"), (KeyActions{ch('1'), ch(']', ControlModifier)}));
    EXPECT_EQ(parse(u"\x01"), KeyActions{ch('a', ControlModifier)});
    EXPECT_EQ(ParseSendKeys(QString(QChar(0))), KeyActions{ch('@', ControlModifier)});
}

TEST(ParseSendKeys, RefusesMalformedTextWithItsPlace) {
    const std::pair<const char16_t*, const char*> malformed[] = {
        {u"ab{TAB", "unbalanced brace at position 3"},
        {u"{", "unbalanced brace at position 1"},
        {u"{}", "unbalanced brace at position 1"},
        {u"a}b", "unbalanced brace at position 2"},
        {u"{FOO}", "unknown key name \"FOO\" at position 2"},
        {u"{RetVal}~", "unknown key name \"RetVal\""},
        {u"{ 3}", "unknown key name \"\""},
        {u"{TAB x}", "bad repeat count \"x\""},
        {u"{TAB -1}", "bad repeat count"},
        {u"{TAB }", "bad repeat count"},
        {u"{a 10000}", "bad repeat count"},
        {u"{TAB 1 2}", "bad repeat count"},
        {u"ab+", "modifier with nothing after it at position 3"},
        {u"^%", "modifier with nothing after it at position 1"},
        {u"(a+)", "modifier with nothing after it at position 3"},
        {u"x+()", "modifier with an empty group at position 3"},
        {u"+(ab", "unbalanced parenthesis at position 2"},
        {u"ab)", "unbalanced parenthesis at position 3"},
    };
    for (const auto& [text16, problem] : malformed) {
        const QString text = QString::fromUtf16(text16);
        const auto error = errorOf([&] { ParseSendKeys(text); });
        const std::string description = error.description.toStdString();
        EXPECT_EQ(error.number, kInvalidProcedureCall) << text.toStdString();
        EXPECT_TRUE(error.description.startsWith("Invalid procedure call or argument"))
            << description;
        EXPECT_NE(description.find(problem), std::string::npos) << description;
    }
}

TEST(ParseSendKeys, RefusesBrokenCharactersAndEndlessRepeats) {
    const QString loneSurrogate = QString("a") + QChar(0xD800) + "b";
    EXPECT_EQ(errorOf([&] { ParseSendKeys(loneSurrogate); }).number, kInvalidProcedureCall);
    QString tooMany;
    for (int i = 0; i < 11; ++i)
        tooMany += "{a 9999}";
    const auto error = errorOf([&] { ParseSendKeys(tooMany); });
    EXPECT_EQ(error.number, kInvalidProcedureCall);
    EXPECT_TRUE(error.description.contains("more than 100000 keys"))
        << error.description.toStdString();
}

TEST(DescribeKeys, WritesCanonicalTextThatParsesBack) {
    EXPECT_EQ(DescribeKeys(parse(u"^+a{bs}~{(}[é]%{f12}{ADD}")),
              "+^a{BACKSPACE}{ENTER}{(}{[}é{]}%{F12}{ADD}");
    const char16_t* texts[] = {
        u"ABC {(}1{)}~",        u"+(ab)^(c%d)",   u"{+}{^}{%}{~}{{}{}}{[}{]}", u"{TAB 3}x{y 2}",
        u"Größe Ä é ß ø Ω € 😀", u"a\r\nb\tc\x1d", u"^{F2}+{TAB}%{DEL}",        u"a\uFEFFb\uFFFF",
    };
    for (const char16_t* text : texts) {
        const KeyActions actions = parse(text);
        EXPECT_EQ(ParseSendKeys(DescribeKeys(actions)), actions)
            << DescribeKeys(actions).toStdString();
    }
}

TEST(SendKeys, TypesWithTheInstalledTyperAndNothingOfMalformedText) {
    RecordingTyper recorder;
    setKeyTyper(&recorder);
    SendKeys("ab~");
    SendKeys("+{TAB}");
    const auto error = errorOf([] { SendKeys("xy{NOPE}"); });
    setKeyTyper(nullptr);

    EXPECT_EQ(error.number, kInvalidProcedureCall);
    EXPECT_EQ(recorder.described(), (std::vector<QString>{"ab{ENTER}", "+{TAB}"}));
    EXPECT_NE(&keyTyper(), &recorder) << "nullptr must put the system typer back";
}
