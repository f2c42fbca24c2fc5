#pragma once

#include <QString>

#include <cstdint>

namespace import {

// The text without the blanks at its ends. Only blanks: in an item file a Tab is a delimiter,
// not a blank.
QStringView trimBlanks(QStringView text);

// Field fieldNumber (counted from 1) of an item line whose fields are separated by the character
// with code delimiterCode. The line comes back trimmed of blanks. Field 0 is the empty text.
//
// A field that begins with a double quote runs to the first double quote followed by the
// delimiter, so it may hold the delimiter itself; quotes inside it are kept as they are. Any
// other field runs to the next delimiter; a field without an end runs to the end of the line.
// The field found is trimmed, loses a closing delimiter-and-quote and an opening
// quote-and-delimiter, one delimiter at each end, then one double quote or apostrophe at each
// end, and is trimmed again. A line with fewer fields gives the empty text.
QString GetImportField(QString& line, std::int16_t fieldNumber, int delimiterCode);

} // namespace import
