#include "core/tokens.h"
#include "platform/app_error.h"
#include "support/checks.h"

#include <gtest/gtest.h>

using namespace core;

namespace {

struct Example {
    const char16_t* stored;
    const char16_t* sendKeys;
    const char16_t* backToStored;
};

// The conversions must keep these pairs exactly; each one exercises a different step order.
const Example kExamples[] = {
    {u"<RetVal><RET>", u"{RetVal}~", u"<RetVal><RET>"},
    {u"<RetVal><TAB><UoM><RET>", u"{RetVal}{TAB}{UoM}~", u"<RetVal><TAB><UoM><RET>"},
    {u"<CTRL>s", u"^s", u"<CTRL>s"},
    {u"<ALT>x<F2>", u"%x{F2}", u"<ALT>x<F2>"},
    {u"<SHIFT><(>ab<)>", u"+(ab)", u"<SHIFT><(>ab<)>"},
    {u"a(b)+c", u"a{(}b{)}{+}c", u"a(b)+c"},
    {u"x<<y", u"x<y", u"x<<y"},
    {u"a b", u"a b", u"a<SP>b"},
    {u"a<SP>b", u"a b", u"a<SP>b"},
    {u"50%", u"50{%}", u"50%"},
};

} // namespace

TEST(TokenConversions, WorkedExamplesConvertBothWays) {
    for (const Example& example : kExamples) {
        const QString stored = QString::fromUtf16(example.stored);
        SCOPED_TRACE(stored.toStdString());
        EXPECT_EQ(StoredToSendKeys(stored), QString::fromUtf16(example.sendKeys));
        EXPECT_EQ(SendKeysToStored(QString::fromUtf16(example.sendKeys)),
                  QString::fromUtf16(example.backToStored));
    }
}

TEST(TokenConversions, AcceptedLossesUncheckedInputAndEscaping) {
    // A literal brace in send-key form does not survive the round trip.
    EXPECT_EQ(SendKeysToStored("{{}"), "<<>");
    EXPECT_EQ(StoredToSendKeys("<<>"), "<}");
    // A lone "<" is passed on as a lone "{"; nothing checks it.
    EXPECT_EQ(StoredToSendKeys("a<b"), "a{b");
    // Token names are case-sensitive.
    EXPECT_EQ(StoredToSendKeys("<ret>"), "{ret}");
    // The work words are not protected: text that happens to spell one is converted with them.
    EXPECT_EQ(SendKeysToStored("{~}<plus>"), "~<+>");
    // Escaping makes only the six specials literal.
    EXPECT_EQ(EscapeSendKeys("ABC (1)"), "ABC {(}1{)}");
    EXPECT_EQ(EscapeSendKeys("+~%^"), "{+}{~}{%}{^}");
    EXPECT_EQ(EscapeSendKeys("{x}[y]"), "{x}[y]");
}

TEST(ReplaceAllTest, NullCompareModesRescanningAndSixteenBitPositions) {
    EXPECT_FALSE(ReplaceAll(std::optional<QString>(), "a", "b", kCompareBinary).has_value());
    EXPECT_EQ(ReplaceAll(QString("{retval}~{RetVal}"), "{RetVal}", "X", kCompareText), "X~X");
    EXPECT_EQ(ReplaceAll(QString("{retval}~{RetVal}"), "{RetVal}", "X", kCompareBinary),
              "{retval}~X");
    // Inserted text is never searched again.
    EXPECT_EQ(ReplaceAll(QString("a<b<"), "<", "<<"), "a<<b<<");
    EXPECT_EQ(ReplaceAll(QString("aaa"), "a", "aa"), "aaaaaa");
    EXPECT_EQ(ReplaceAll(QString("xyz"), "q", "r"), "xyz");
    EXPECT_EQ(ReplaceAll(QString("abcabc"), "abc", ""), "");
    // A match at position 32767 is the last one a 16-bit position can hold.
    EXPECT_EQ(ReplaceAll(QString(32766, u'x') + "a", "a", "b"), QString(32766, u'x') + "b");
    EXPECT_EQ(testsupport::errorOf([] { ReplaceAll(QString(32767, u'x') + "a", "a", "b"); }).number,
              platform::err::Overflow);
}
