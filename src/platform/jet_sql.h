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

} // namespace platform
