// Fuzz target for the send-key parser: whatever the text, parsing either refuses it with the
// parser's own error or yields keys, and the canonical text of those keys parses back to the
// very same keys.
#include "platform/app_error.h"
#include "platform/send_keys.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

// Bytes starting with 0xFF are UTF-16 (which can hold lone surrogates); others are UTF-8.
QString textOf(const std::uint8_t* data, std::size_t size) {
    if (size > 0 && data[0] == 0xFF) {
        QString text;
        for (std::size_t i = 1; i + 1 < size; i += 2)
            text += QChar(char16_t(data[i] | (data[i + 1] << 8)));
        return text;
    }
    return QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString text = textOf(data, size);
    platform::KeyActions actions;
    try {
        actions = platform::ParseSendKeys(text);
    } catch (const platform::AppError& error) {
        if (error.number() != 5 ||
            !error.description().startsWith(QLatin1String("Invalid procedure call or argument")))
            std::abort();
        return 0;
    }
    const QString described = platform::DescribeKeys(actions);
    try {
        if (platform::ParseSendKeys(described) != actions)
            std::abort();
    } catch (const platform::AppError&) {
        std::abort(); // the canonical text of parsed keys must itself parse
    }
    return 0;
}

const std::vector<QByteArray>& FuzzPieces() {
    static const std::vector<QByteArray> pieces{
        "+",     "^",           "%",     "~",     "(",
        ")",     "{",           "}",     "{TAB}", "{a 3}",
        "{F12}", "{} 2}",       "{{}",   "{}}",   "a",
        "Z",     " ",           "\r",    "\n",    "\t",
        "\x1d",  "{BS 2}",      "{+}",   "é",     "\xf0\x9f\x98\x80",
        "{x ",   "{enter}",     "{F17}", "{ 3}",  "[",
        "]",     "{TAB 10000}", "\xff",  "1"};
    return pieces;
}
