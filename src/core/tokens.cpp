#include "core/tokens.h"

#include "platform/app_error.h"

#include <array>
#include <utility>

namespace core {

namespace {

using Step = std::pair<const char16_t*, const char16_t*>;

// 1-based position of find in s from the 1-based start, 0 when absent; positions are 16-bit.
qsizetype findFrom(const QString& s, const QString& find, qsizetype start, int compare) {
    const Qt::CaseSensitivity sensitivity =
        compare == kCompareText ? Qt::CaseInsensitive : Qt::CaseSensitive;
    const qsizetype index = s.indexOf(find, start - 1, sensitivity);
    const qsizetype position = index < 0 ? 0 : index + 1;
    if (position > 32767)
        throw platform::AppError(platform::err::Overflow, QStringLiteral("Overflow"));
    return position;
}

template <std::size_t N>
QString applySteps(QString text, const std::array<Step, N>& steps) {
    for (const auto& [find, replacement] : steps)
        text = ReplaceAll(text, QString::fromUtf16(find), QString::fromUtf16(replacement));
    return text;
}

constexpr std::array<Step, 6> kEscapeSteps{{
    {u"(", u"{(}"},
    {u")", u"{)}"},
    {u"+", u"{+}"},
    {u"~", u"{~}"},
    {u"%", u"{%}"},
    {u"^", u"{^}"},
}};

constexpr std::array<Step, 11> kStoredToSendKeysSteps{{
    {u"<SHIFT>", u"+"},
    {u"<ALT>", u"%"},
    {u"<CTRL>", u"^"},
    {u"<RET>", u"~"},
    {u"<SP>", u" "},
    {u"<{(}>", u"("}, // a stored "<(>" once escaped
    {u"<{)}>", u")"}, // a stored "<)>" once escaped
    {u"<", u"{"},
    {u">", u"}"},
    {u"{{", u"<"},
    {u"}}", u">"},
}};

// Steps 3 to 8 park the escaped specials under lower-case work words so that steps 9 to 15 leave
// them alone; steps 18 to 23 turn the work words into the literal characters.
constexpr std::array<Step, 23> kSendKeysToStoredSteps{{
    {u"<", u"<<"},       {u">", u">>"},       {u"{(}", u"<lper>"}, {u"{)}", u"<rper>"},
    {u"{+}", u"<plus>"}, {u"{~}", u"<tild>"}, {u"{%}", u"<pers>"}, {u"{^}", u"<carr>"},
    {u"+", u"<SHIFT>"},  {u"%", u"<ALT>"},    {u"^", u"<CTRL>"},   {u"~", u"<RET>"},
    {u" ", u"<SP>"},     {u"(", u"<(>"},      {u")", u"<)>"},      {u"{", u"<"},
    {u"}", u">"},        {u"<plus>", u"+"},   {u"<tild>", u"~"},   {u"<pers>", u"%"},
    {u"<carr>", u"^"},   {u"<lper>", u"("},   {u"<rper>", u")"},
}};

} // namespace

std::optional<QString> ReplaceAll(const std::optional<QString>& source, const QString& find,
                                  const QString& replacement, int compare) {
    if (!source)
        return std::nullopt;
    if (find.isEmpty())
        return source;
    QString s = *source;
    qsizetype pos = findFrom(s, find, 1, compare);
    while (pos >= 1) {
        s = s.left(pos - 1) + replacement + s.mid(pos - 1 + find.size());
        pos = findFrom(s, find, pos + replacement.size(), compare);
    }
    return s;
}

QString ReplaceAll(const QString& source, const QString& find, const QString& replacement,
                   int compare) {
    return *ReplaceAll(std::optional<QString>(source), find, replacement, compare);
}

QString EscapeSendKeys(const QString& text) {
    return applySteps(text, kEscapeSteps);
}

QString StoredToSendKeys(const QString& stored) {
    return applySteps(EscapeSendKeys(stored), kStoredToSendKeysSteps);
}

QString SendKeysToStored(const QString& sendKeys) {
    return applySteps(sendKeys, kSendKeysToStoredSteps);
}

} // namespace core
