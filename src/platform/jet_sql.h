#pragma once

#include <QString>

namespace platform {

// Rewrites a statement written in the Jet (Access) dialect, as the program and its users' saved
// queries spell them, into SQLite's dialect:
//   "DELETE * FROM t"      -> "DELETE FROM t"
//   a & b                  -> a || b          (text concatenation)
//   chr(124)               -> char(124)
//   "text" and 'text'      -> 'text'          (Jet takes both quotes for text literals)
//   [Field Name]           -> "Field Name"    (bracketed identifiers)
//   Keys.Index, default    -> Keys."Index", "default" (field names that SQLite reserves)
//   UCase LCase Len Mid    -> upper lower length substr
// Text inside literals is never touched.
QString jetToSqlite(const QString& jetSql);

// The same for a PostgreSQL server, where the program's tables and fields were created with
// unquoted names and so are kept in lower case: bracketed names become lower-case quoted
// identifiers, and chr() stays chr(); the rest is as for SQLite.
QString jetToPostgres(const QString& jetSql);

// The text to put between single quotes in an SQL literal of the Jet dialect: "'" doubled, and
// "|" spliced in as "' & chr(124) & '" (a bare bar in a literal is not accepted by Jet); the
// dialect's translation makes the splice work on SQLite and the server too.
QString SqlQuote(const QString& value);

} // namespace platform
