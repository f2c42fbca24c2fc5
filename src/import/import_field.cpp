#include "import/import_field.h"

#include <algorithm>

namespace import {

namespace {

constexpr QChar kQuote = u'"';

qsizetype skipBlanks(QStringView text, qsizetype at) {
    while (at < text.size() && text[at] == u' ')
        ++at;
    return at;
}

// Where the quoted field that starts at a quote ends: its closing quote (-1 when the line ends
// first) and the delimiter or line end after it; and whether a quote inside it is neither doubled
// nor closing.
struct Quoted {
    qsizetype close = -1;
    qsizetype next = -1;
    bool stray = false;
};

Quoted closeQuote(QStringView line, qsizetype start, QChar delimiter) {
    Quoted quoted;
    const qsizetype size = line.size();
    qsizetype i = start + 1;
    while (i < size) {
        if (line[i] != kQuote) {
            ++i;
        } else if (i + 1 < size && line[i + 1] == kQuote) {
            i += 2; // an escaped quote
        } else {
            const qsizetype after = skipBlanks(line, i + 1);
            if (after == size || line[after] == delimiter) {
                quoted.close = i;
                quoted.next = after;
                return quoted;
            }
            quoted.stray = true;
            ++i;
        }
    }
    return quoted;
}

} // namespace

QStringView trimBlanks(QStringView text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && text[begin] == u' ')
        ++begin;
    while (end > begin && text[end - 1] == u' ')
        --end;
    return text.mid(begin, end - begin);
}

void LineFields::cut(QStringView line, QChar delimiter, bool openQuotesAreText) {
    line_ = line;
    spans_.clear();
    open_ = false;
    const qsizetype size = line.size();
    if (size == 0)
        return;
    qsizetype at = 0;
    for (;;) {
        const qsizetype start = skipBlanks(line, at);
        if (start < size && line[start] == kQuote) {
            const Quoted quoted = closeQuote(line, start, delimiter);
            if (quoted.close >= 0) {
                spans_.append({start + 1, quoted.close - start - 1, true});
                if (quoted.next == size)
                    return;
                at = quoted.next + 1; // past the delimiter
                continue;
            }
            if (!openQuotesAreText && !quoted.stray) {
                open_ = true;
                spans_.append({start + 1, size - start - 1, true});
                return;
            }
        }
        qsizetype end = line.indexOf(delimiter, at);
        if (end < 0)
            end = size;
        const QStringView text = trimBlanks(line.mid(at, end - at));
        spans_.append({text.data() - line.data(), text.size(), false});
        if (end == size)
            return;
        at = end + 1;
    }
}

QString LineFields::field(qsizetype index) const {
    QString value;
    readField(index, value);
    return value;
}

void LineFields::readField(qsizetype index, QString& value) const {
    if (index < 0 || index >= spans_.size()) {
        value.truncate(0);
        return;
    }
    const Span& span = spans_[index];
    const QStringView text = line_.mid(span.start, span.length);
    value.resize(text.size());
    std::copy(text.begin(), text.end(), value.begin());
    if (span.quoted && text.contains(kQuote))
        value.replace(QStringLiteral("\"\""), QStringLiteral("\""));
}

QString GetImportField(QString& line, std::int16_t fieldNumber, int delimiterCode) {
    line = trimBlanks(line).toString();
    if (fieldNumber <= 0)
        return {};
    LineFields fields;
    fields.cut(line, QChar(delimiterCode));
    return fields.field(fieldNumber - 1);
}

QString QuoteField(QStringView value, QChar delimiter) {
    QString text = value.toString();
    text.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    text.replace(u'\r', u' ');
    text.replace(u'\n', u' ');
    const bool plain = !text.contains(delimiter) && !text.contains(kQuote) &&
                       !text.startsWith(u' ') && !text.endsWith(u' ');
    if (plain)
        return text;
    text.replace(QStringLiteral("\""), QStringLiteral("\"\""));
    return kQuote + text + kQuote;
}

} // namespace import
