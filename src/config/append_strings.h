#pragma once

#include "core/append_choice.h"

#include <QString>
#include <QVector>

#include <cstdint>
#include <optional>

class QComboBox;

// The named return patterns of tblAppendStr and the rules of the pattern editor.
namespace config {

// Fills names with the names of tblAppendStr in table order (emptying it first) and selects the
// entry whose String equals pattern; the last such entry wins.
void UpdateNames(QComboBox& names, const QString& pattern);

// Plain text made into stored token form that never forms a token: ">" becomes ">>", "<" becomes
// "<<", a blank "<SP>" (in this order), so "a <b>" gives "a<SP><<b>>".
QString PlainTextToStored(const QString& text);

// Where the units of a pattern end: a list that starts with 0, holds the end of every unit ("<<"
// and ">>" are units of two characters, "<...>" up to the next ">" or the end of the text is
// one, any other character is one) and ends with -1. "<<A<SHIFT>b" gives 0, 2, 3, 10, 11, -1.
QVector<std::int16_t> TokenBoundaries(const QString& pattern);

// The index of the first boundary greater than caret; 0 when the first already is, or when the
// list is empty. The -1 at the end is not a boundary.
int BoundaryIndexAfter(const QVector<std::int16_t>& boundaries, int caret);

// The unit boundaries next to a caret: the last one before it and the first one after it
// (the caret itself when it is at the start or end).
int PreviousBoundary(const QVector<std::int16_t>& boundaries, int caret);
int NextBoundary(const QVector<std::int16_t>& boundaries, int caret);

// A pattern as it is saved: with "<RetVal>" put in front when it lacks it (every pattern types
// the return value), in canonical spelling (a round trip through the send-key form).
QString NormalizeAppendString(const QString& pattern);

// Saves the normalised pattern under name in tblAppendStr (in the translation database of
// GetDbPath). An existing name is replaced only after "<name> Already Exists Do You Want to
// Replace It?" is answered Yes. Gives the normalised pattern, saved or not.
QString SaveAppendString(const QString& name, const QString& pattern);

// Deletes the pattern stored under name, without a question; a name that is not stored changes
// nothing.
void RemoveAppendString(const QString& name);

// The stored pattern of a name, without touching its rank; empty when there is none.
std::optional<core::AppendString> FindAppendString(const QString& name);

} // namespace config
