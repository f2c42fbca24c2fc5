#pragma once

#include <QString>

namespace core {

// One value of transltr.ini in the program folder: the first line that starts with key (exact,
// no sections, no trimming) gives everything after its first "=". A missing file or key gives "".
// "Timeout2=5" answers the key "Timeout" too: only the start of the line is compared.
QString GetIniValue(const QString& key);

} // namespace core
