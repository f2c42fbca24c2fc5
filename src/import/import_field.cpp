#include "import/import_field.h"

namespace import {

namespace {

QStringView dropOne(QStringView text, QChar first, QChar last) {
    if (text.startsWith(first))
        text = text.mid(1);
    if (text.endsWith(last))
        text.chop(1);
    return text;
}

QStringView dropQuoteOrApostrophe(QStringView text) {
    if (text.startsWith(u'"') || text.startsWith(u'\''))
        text = text.mid(1);
    if (text.endsWith(u'"') || text.endsWith(u'\''))
        text.chop(1);
    return text;
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

QString GetImportField(QString& line, std::int16_t fieldNumber, int delimiterCode) {
    line = trimBlanks(line).toString();
    if (fieldNumber <= 0)
        return {};
    const QChar delimiter(delimiterCode);
    const QChar closing[2] = {u'"', delimiter};
    const QStringView quoteThenDelimiter(closing, 2);

    QStringView rest(line);
    for (int field = 1;; ++field) {
        // Where the field ends: the character that ends it (the closing quote of a quoted field,
        // else the delimiter), which belongs to the field, and where the next field's text
        // starts (at the delimiter, which is dropped there).
        qsizetype endsAt = -1;
        qsizetype nextAt = -1;
        if (rest.startsWith(u'"')) {
            endsAt = rest.indexOf(quoteThenDelimiter);
            nextAt = endsAt < 0 ? -1 : endsAt + 1; // the closing quote stays with the field
        } else {
            endsAt = rest.indexOf(delimiter);
            nextAt = endsAt;
        }
        if (field == fieldNumber) {
            QStringView value = trimBlanks(endsAt < 0 ? rest : rest.left(endsAt + 1));
            const QChar endPair[2] = {delimiter, u'"'};
            if (value.endsWith(QStringView(endPair, 2)))
                value.chop(2);
            if (value.startsWith(quoteThenDelimiter))
                value = value.mid(2);
            value = dropOne(value, delimiter, delimiter);
            value = dropQuoteOrApostrophe(value);
            return trimBlanks(value).toString();
        }
        rest = nextAt < 0 ? QStringView() : trimBlanks(rest.mid(nextAt));
        if (rest.startsWith(delimiter))
            rest = rest.mid(1);
    }
}

} // namespace import
