#pragma once

#include <QString>

namespace db {

// Makes the shared translation tables (tblCodelink, tblManual, tblAppendStr, tblImportErrors) in
// an empty PostgreSQL database named by uri: text compares without regard to case, as
// in the program's files; scan values are unique keys; every row has an id. The starter return
// patterns are stored, or, with fromLocal, the rows of the program folder's translation tables
// are copied instead. A database that already holds one of the tables is refused. Gives the SQL
// that grants workstation accounts what they need.
QString InitSharedServer(const QString& uri, bool fromLocal);

// The GRANT statements that let the role read and write the shared tables, and nothing more.
QString SharedServerGrants(const QString& role);

} // namespace db
