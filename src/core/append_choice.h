#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace core {

// The most characters a pattern's name may have: what tblAppendStr.Name holds.
inline constexpr int kAppendNameLength = 50;

struct AppendString {
    QString name;
    QString string; // stored token form
};

// Chooses the named append string as the main window's selector and the tray menu do: reads it
// from tblAppendStr and keeps the most-recently-used ranks. A string ranked below 6 becomes 6 and
// every other ranked string moves down one place (a rank that reaches 0 leaves the list); a string
// already at 6 changes nothing. Empty when no row has that name.
std::optional<AppendString> ChooseAppendString(const QString& name);

// Names of the ranked append strings, most recently used first (the tray menu's list).
QStringList RecentAppendNames();

} // namespace core
