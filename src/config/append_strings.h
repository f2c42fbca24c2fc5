#pragma once

#include <QString>

class QComboBox;

namespace config {

// Fills names with the names of tblAppendStr in table order (emptying it first) and selects the
// entry whose String equals pattern; the last such entry wins.
void UpdateNames(QComboBox& names, const QString& pattern);

} // namespace config
