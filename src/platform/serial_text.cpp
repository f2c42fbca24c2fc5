#include "platform/serial_text.h"

#include <algorithm>

namespace platform {

namespace {

// How many bytes a sequence with this lead byte has; 0 when the byte cannot lead one (ASCII is
// handled before). C0, C1 and F5..FF never occur in UTF-8.
int sequenceLength(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF)
        return 2;
    if (lead >= 0xE0 && lead <= 0xEF)
        return 3;
    if (lead >= 0xF0 && lead <= 0xF4)
        return 4;
    return 0;
}

// The allowed range of the byte after the lead; narrower for some leads, which rules out
// overlong forms, UTF-16 surrogates and code points above U+10FFFF.
bool fitsAfterLead(unsigned char lead, unsigned char next) {
    switch (lead) {
    case 0xE0:
        return next >= 0xA0 && next <= 0xBF;
    case 0xED:
        return next >= 0x80 && next <= 0x9F;
    case 0xF0:
        return next >= 0x90 && next <= 0xBF;
    case 0xF4:
        return next >= 0x80 && next <= 0x8F;
    default:
        return next >= 0x80 && next <= 0xBF;
    }
}

// How many of the bytes from `at` (at most `length`) form a valid start of a sequence.
qsizetype validPrefix(const unsigned char* at, qsizetype available, int length) {
    const qsizetype limit = std::min<qsizetype>(available, length);
    qsizetype count = 1;
    while (count < limit) {
        const unsigned char next = at[count];
        const bool fits = count == 1 ? fitsAfterLead(at[0], next) : (next >= 0x80 && next <= 0xBF);
        if (!fits)
            break;
        ++count;
    }
    return count;
}

char32_t codePoint(const unsigned char* at, int length) {
    static constexpr unsigned char leadMask[] = {0, 0, 0x1F, 0x0F, 0x07};
    char32_t value = at[0] & leadMask[length];
    for (int i = 1; i < length; ++i)
        value = (value << 6) | (at[i] & 0x3F);
    return value;
}

void appendCodePoint(QString& text, char32_t value) {
    if (QChar::requiresSurrogates(value)) {
        text.append(QChar(QChar::highSurrogate(value)));
        text.append(QChar(QChar::lowSurrogate(value)));
    } else {
        text.append(QChar(static_cast<char16_t>(value)));
    }
}

} // namespace

QString SerialTextDecoder::decode(QByteArrayView bytes) {
    const QByteArray data = held_ + bytes.toByteArray();
    held_.clear();
    const auto* at = reinterpret_cast<const unsigned char*>(data.constData());
    const qsizetype size = data.size();
    QString text;
    text.reserve(size);
    qsizetype i = 0;
    while (i < size) {
        const int length = at[i] < 0x80 ? 1 : sequenceLength(at[i]);
        const qsizetype valid = length > 1 ? validPrefix(at + i, size - i, length) : 1;
        if (length == 1 || length == 0 || (valid < length && i + valid < size)) {
            // ASCII, or a byte that does not start valid UTF-8: one Latin-1 character.
            text.append(QChar(at[i]));
            ++i;
        } else if (valid < length) {
            // A valid start that runs to the end: the rest comes with the next piece.
            held_ = data.mid(i);
            break;
        } else {
            appendCodePoint(text, codePoint(at + i, length));
            i += length;
        }
    }
    return text;
}

QString SerialTextDecoder::flush() {
    QString text = QString::fromLatin1(held_);
    held_.clear();
    return text;
}

} // namespace platform
