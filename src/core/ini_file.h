#pragma once

#include <QString>

#include <cstdint>

namespace core {

// One value of transltr.ini in the program folder: the first line that starts with key (exact,
// no sections, no trimming) gives everything after its first "=". A missing file or key gives "".
// "Timeout2=5" answers the key "Timeout" too: only the start of the line is compared.
QString GetIniValue(const QString& key);

// The value of key read as a number and converted to a 16-bit whole number ("Timeout=10" gives
// 10; a missing key 0). A value beyond the 16-bit range is an Overflow error.
std::int16_t GetIniNumber(const QString& key);

} // namespace core
