#include "platform/send_keys.h"
#include "support/checks.h"

#include <algorithm>
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

TEST(ParseSendKeys, CharactersModifiersAndGroups) {
    // Brackets are plain characters; a character outside the BMP is one key, not two halves.
    EXPECT_EQ(parse(u"a [ö€]😀"),
              (KeyActions{ch('a'), ch(' '), ch('['), ch(U'ö'), ch(U'€'), ch(']'), ch(U'😀')}));
    EXPECT_TRUE(parse(u"").empty());
    // A modifier holds for the next key only.
    EXPECT_EQ(parse(u"+ab^+c%{F4}+~"),
              (KeyActions{ch('a', ShiftModifier), ch('b'), ch('c', ShiftModifier | ControlModifier),
                          key(NamedKey::F4, AltModifier), key(NamedKey::Enter, ShiftModifier)}));
    // Groups nest; the inner modifiers add to the outer ones and end with their group.
    EXPECT_EQ(parse(u"^(a+(b)c)d(ef)"),
              (KeyActions{ch('a', ControlModifier), ch('b', ControlModifier | ShiftModifier),
                          ch('c', ControlModifier), ch('d'), ch('e'), ch('f')}));
}

TEST(ParseSendKeys, KnowsEveryKeyNameWithoutRegardToCase) {
    // In the order of NamedKey, with the other names of a key after its first.
    const QString names = "{BACKSPACE}{bs}{Bksp}{BREAK}{CAPSLOCK}{DELETE}{del}{DOWN}{END}{enter}~"
                          "{ESC}{HELP}{HOME}{INSERT}{ins}{LEFT}{NUMLOCK}{PGDN}{PgUp}{PRTSC}{RIGHT}"
                          "{SCROLLLOCK}{Tab}{UP}{f1}{F2}{F3}{F4}{F5}{F6}{F7}{F8}{F9}{F10}{F11}{F12}"
                          "{F13}{F14}{F15}{f16}{ADD}{SUBTRACT}{multiply}{DIVIDE}";
    const NamedKey secondNames[] = {NamedKey::Backspace, NamedKey::Backspace, NamedKey::Delete,
                                    NamedKey::Enter, NamedKey::Insert};
    KeyActions expected;
    for (int k = 0; k <= int(NamedKey::Divide); ++k)
        expected.insert(expected.end(), 1 + std::ranges::count(secondNames, NamedKey(k)),
                        key(NamedKey(k)));
    EXPECT_EQ(ParseSendKeys(names), expected) << DescribeKeys(ParseSendKeys(names)).toStdString();
}

// (A brace around a special character makes it literal: see DescribeKeys below.)
TEST(ParseSendKeys, BracesRepeatKeys) {
    EXPECT_EQ(parse(u"{TAB 3}"), KeyActions(3, key(NamedKey::Tab)));
    EXPECT_EQ(parse(u"{x 2}y"), (KeyActions{ch('x'), ch('x'), ch('y')}));
    EXPECT_EQ(parse(u"+{a 3}"), KeyActions(3, ch('a', ShiftModifier)));
    EXPECT_EQ(parse(u"{} 2}"), KeyActions(2, ch('}')));
    EXPECT_EQ(parse(u"{  2}"), KeyActions(2, ch(' ')));
    EXPECT_EQ(parse(u"{ }"), KeyActions{ch(' ')});
    EXPECT_EQ(parse(u"{😀 2}"), KeyActions(2, ch(U'😀')));
    EXPECT_TRUE(parse(u"{LEFT 0}").empty());
    EXPECT_EQ(parse(u"{a 9999}").size(), 9999u);
}

TEST(ParseSendKeys, LineEndsTabsAndControlCharactersBecomeKeys) {
    // CR LF, LF and CR are one Enter each, LF CR two; 0x1D is the group separator of GS1 codes.
    const KeyAction enter = key(NamedKey::Enter);
    EXPECT_EQ(
        parse(u"a\r\nb\nc\rd\n\r\t\x08\x1b\x7f\x1d\x01"),
        (KeyActions{ch('a'), enter, ch('b'), enter, ch('c'), enter, ch('d'), enter, enter,
                    key(NamedKey::Tab), key(NamedKey::Backspace), key(NamedKey::Escape),
                    key(NamedKey::Delete), ch(']', ControlModifier), ch('a', ControlModifier)}));
    EXPECT_EQ(parse(u"+\r\n"), KeyActions{key(NamedKey::Enter, ShiftModifier)});
    EXPECT_EQ(ParseSendKeys(QString(QChar(0))), KeyActions{ch('@', ControlModifier)});
}

TEST(ParseSendKeys, RefusesMalformedTextWithItsPlace) {
    const std::pair<QString, const char*> malformed[] = {
        {"ab{TAB", "unbalanced brace at position 3"},
        {"{}", "unbalanced brace at position 1"},
        {"a}b", "unbalanced brace at position 2"},
        {"{FOO}", "unknown key name \"FOO\" at position 2"},
        {"{ 3}", "unknown key name \"\""},
        {"{TAB x}", "bad repeat count \"x\""},
        {"{a 10000}", "bad repeat count"},
        {"{TAB 1 2}", "bad repeat count"},
        {"ab+", "modifier with nothing after it at position 3"},
        {"^%", "modifier with nothing after it at position 1"},
        {"(a+)", "modifier with nothing after it at position 3"},
        {"x+()", "modifier with an empty group at position 3"},
        {"+(ab", "unbalanced parenthesis at position 2"},
        {"ab)", "unbalanced parenthesis at position 3"},
        {QString("a") + QChar(0xD800) + "b", "lone UTF-16 surrogate) at position 2"},
        {QString("{a 9999}").repeated(11), "more than 100000 keys"}};
    for (const auto& [text, problem] : malformed) {
        const auto error = errorOf([&] { ParseSendKeys(text); });
        EXPECT_EQ(error.number, kInvalidProcedureCall) << problem;
        EXPECT_TRUE(error.description.startsWith("Invalid procedure call or argument"))
            << error.description.toStdString();
        EXPECT_TRUE(error.description.contains(problem)) << error.description.toStdString();
    }
}

// The canonical text parses back to the same keys: the send-key fuzz target checks that.
TEST(DescribeKeys, WritesCanonicalText) {
    EXPECT_EQ(DescribeKeys(parse(u"^+a{bs}~[é]%{f12}{ADD}")),
              "+^a{BACKSPACE}{ENTER}{[}é{]}%{F12}{ADD}");
    // Also a U+FEFF, which some conversions take for a byte-order mark and drop.
    EXPECT_EQ(DescribeKeys(parse(u"{+}{^}{%}{~}{(}{)}{{}{}}\uFEFF😀")),
              QStringLiteral("{+}{^}{%}{~}{(}{)}{{}{}}\uFEFF😀"));
}
