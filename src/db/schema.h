#pragma once

#include <QString>

namespace platform {
class Database;
}

namespace db {

bool TableExists(platform::Database& database, const QString& name);
bool FieldExists(platform::Database& database, const QString& table, const QString& field);
// type 7 adds a double field; type 10 with a size above 0 a text field of that size.
void AddField(platform::Database& database, const QString& table, const QString& field, int type,
              int size);

// Adds a missing "Unit" field (a double) to a table that lacks it.
void EnsureUnitField(platform::Database& database, const QString& table);

// Puts "<RetVal>" in front of every append string of tblAppendStr that lacks it (exact
// comparison), so that every stored pattern types the return value.
void AddRetValToAppendStrings(platform::Database& database);

} // namespace db
