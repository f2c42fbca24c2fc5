#include "platform/conversions.h"

#include "platform/app_error.h"

#include <cmath>

namespace platform {

namespace {

QString withoutBlanks(const QString& text) {
    QString kept;
    kept.reserve(text.size());
    for (QChar c : text) {
        if (c != u' ' && c != u'\t' && c != u'\n')
            kept.append(c);
    }
    return kept;
}

int digitOf(QChar c) {
    const char16_t u = c.toLower().unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'z')
        return 10 + (u - u'a');
    return -1;
}

double radixValue(const QString& digits, int radix) {
    double result = 0;
    for (QChar c : digits) {
        const int digit = digitOf(c);
        if (digit < 0 || digit >= radix)
            break;
        result = result * radix + digit;
    }
    return result;
}

// Length of the longest prefix of s (from start) that is a decimal number.
qsizetype decimalPrefixLength(const QString& s) {
    qsizetype i = 0;
    if (i < s.size() && (s[i] == u'+' || s[i] == u'-'))
        ++i;
    const qsizetype digitsStart = i;
    while (i < s.size() && s[i].isDigit() && s[i].unicode() < 128)
        ++i;
    if (i < s.size() && s[i] == u'.') {
        ++i;
        while (i < s.size() && s[i].isDigit() && s[i].unicode() < 128)
            ++i;
    }
    if (i == digitsStart || (i == digitsStart + 1 && s[digitsStart] == u'.'))
        return 0;
    if (i < s.size() && QStringLiteral("eEdD").contains(s[i])) {
        qsizetype j = i + 1;
        if (j < s.size() && (s[j] == u'+' || s[j] == u'-'))
            ++j;
        const qsizetype expStart = j;
        while (j < s.size() && s[j].isDigit() && s[j].unicode() < 128)
            ++j;
        if (j > expStart)
            i = j;
    }
    return i;
}

} // namespace

double val(const QString& text) {
    const QString s = withoutBlanks(text);
    if (s.startsWith(u"&H", Qt::CaseInsensitive))
        return radixValue(s.mid(2), 16);
    if (s.startsWith(u"&O", Qt::CaseInsensitive))
        return radixValue(s.mid(2), 8);
    const qsizetype length = decimalPrefixLength(s);
    if (length == 0)
        return 0;
    QString number = s.left(length);
    number.replace(u'd', u'e').replace(u'D', u'e');
    return number.toDouble();
}

std::int16_t toInt16(double value) {
    const double rounded = std::nearbyint(value); // the default rounding mode rounds halves to even
    if (!(rounded >= -32768.0 && rounded <= 32767.0))
        throw AppError(err::Overflow, QStringLiteral("Overflow"));
    return static_cast<std::int16_t>(rounded);
}

QString numberToText(double value) {
    if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 1e15)
        return QString::number(static_cast<long long>(value));
    QString text = QString::number(value, 'g', 15);
    text.replace(u'e', u'E');
    return text;
}

bool isNull(const QVariant& value) {
    return !value.isValid() || value.isNull();
}

namespace {

[[noreturn]] void nullError() {
    throw AppError(err::InvalidUseOfNull, QStringLiteral("Invalid use of Null"));
}

[[noreturn]] void mismatchError() {
    throw AppError(err::TypeMismatch, QStringLiteral("Type mismatch"));
}

bool isNumeric(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

} // namespace

QString toText(const QVariant& value) {
    if (isNull(value))
        nullError();
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float)
        return numberToText(value.toDouble());
    return value.toString();
}

double toDouble(const QVariant& value) {
    if (isNull(value))
        nullError();
    if (isNumeric(value) || value.typeId() == QMetaType::Bool)
        return value.typeId() == QMetaType::Bool ? (value.toBool() ? -1.0 : 0.0) : value.toDouble();
    const QString text = value.toString().trimmed();
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (!ok)
        mismatchError();
    return number;
}

bool toBool(const QVariant& value) {
    if (isNull(value))
        nullError();
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (isNumeric(value))
        return value.toDouble() != 0.0;
    const QString text = value.toString().trimmed();
    if (text.compare(u"True", Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(u"False", Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (!ok)
        mismatchError();
    return number != 0.0;
}

} // namespace platform
