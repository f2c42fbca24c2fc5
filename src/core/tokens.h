#pragma once

#include <QString>

#include <optional>

// Keystroke patterns are stored and shown in a token form ("<RetVal><TAB><UoM><RET>") and typed
// in send-key syntax ("{RetVal}{TAB}{UoM}~"). Each conversion is a fixed sequence of whole-text
// replacements whose order matters: later steps rely on what earlier ones produced.
namespace core {

inline constexpr int kCompareBinary = 0; // exact comparison
inline constexpr int kCompareText = 1;   // without regard to case

// Replaces every occurrence of find in source. Text produced by a replacement is never searched
// again. A Null source gives Null. Positions are 16-bit: a match beyond position 32767 is an
// Overflow error (6). An empty find changes nothing.
std::optional<QString> ReplaceAll(const std::optional<QString>& source, const QString& find,
                                  const QString& replacement, int compare);
QString ReplaceAll(const QString& source, const QString& find, const QString& replacement,
                   int compare = kCompareBinary);

// Makes the send-key specials ( ) + ~ % ^ literal. Braces and square brackets stay as they are.
QString EscapeSendKeys(const QString& text);

// Stored token form to send-key form: "<CTRL>s" gives "^s", "a(b)" gives "a{(}b{)}".
QString StoredToSendKeys(const QString& stored);

// Send-key form to stored token form: "^s" gives "<CTRL>s", "a b" gives "a<SP>b".
QString SendKeysToStored(const QString& sendKeys);

} // namespace core
