#pragma once

#include <QString>
#include <QStringList>

namespace platform {
class Database;
}

namespace db {

// The translation database to open right now: the shared file while sharing is on and the file
// can be reached, else the program folder's dbScan.mdb. While the shared file cannot be reached
// the user is asked to Retry or Cancel; Cancel turns sharing off until the settings are loaded
// again (the stored setting is left alone).
QString GetDbPath();

// The tables of the translation database that may be shared.
inline const QStringList kSharedTables{QStringLiteral("tblAppendStr"),
                                       QStringLiteral("tblImportErrors"),
                                       QStringLiteral("tblManual"), QStringLiteral("tblCodelink")};

// For a file: true when a listing of exactly this path yields a name; any failure gives false.
// For a server URI: true when a connection can be made within a few seconds.
bool SharedDbReachable(const QString& path);

// Checks a file or server chosen as shared database and brings it up to date: a file's name must
// end in ".mdb" (in any case); it must be a database of this program holding tblAppendStr,
// tblImportErrors, tblManual and tblCodelink, and on a server the account must be allowed to read
// and write them. Then a missing Unit field is added to tblCodelink
// and tblImportErrors, and "<RetVal>" is put in front of append strings that lack it. Nothing is
// written into a file that fails. A failing file is reported to the user as the path, "Is Not a
// Valid Shared Database" and a line saying what is wrong with it, and gives false.
bool CheckSharedDatabase(const QString& path);

// What keeps a file from serving as the shared database, in one line for the user; empty when it
// can serve, in which case it has been brought up to date as CheckSharedDatabase says.
QString PrepareSharedDatabase(const QString& path);

// On a server: whether the account may read and write the shared tables (always true for a
// file, whose permissions the file system checks).
bool MayWriteSharedTables(platform::Database& database);

} // namespace db
