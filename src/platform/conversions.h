#pragma once

#include <QString>
#include <QVariant>

#include <cstdint>

// The value conversions the program relies on, with the semantics its stored data was written
// for: numbers read leniently from text, 16-bit whole numbers that overflow loudly, and a Null
// that is an error wherever a real value is needed.
namespace platform {

// Reads the number at the start of text: blanks, tabs and line feeds are ignored, reading
// stops at the first character that cannot continue a number, and no number gives 0.
// "&H1F" and "&O17" are read as hexadecimal and octal. "20\r" gives 20.
double val(const QString& text);

// Rounds to the nearest whole number (halves to even) and checks the 16-bit range;
// outside it the error is Overflow (6).
std::int16_t toInt16(double value);

// Text form of a number: whole numbers without a decimal point, others with up to 15
// significant digits and "." as the decimal point (1 gives "1", 2.5 gives "2.5").
QString numberToText(double value);

// Field value conversions. A Null gives InvalidUseOfNull (94); a value that does not convert
// gives TypeMismatch (13).
QString toText(const QVariant& value);
double toDouble(const QVariant& value);
bool toBool(const QVariant& value);

bool isNull(const QVariant& value);

} // namespace platform
