#pragma once

#include <QString>

namespace db {

// The translation database to open right now: the shared file while sharing is on and the file
// can be reached, else the program folder's dbScan.mdb. While the shared file cannot be reached
// the user is asked to Retry or Cancel; Cancel turns sharing off until the settings are loaded
// again (the stored setting is left alone).
QString GetDbPath();

// True when a listing of exactly this path yields a name; any failure gives false.
bool SharedDbReachable(const QString& path);

// The text to put between single quotes in an SQL literal: "'" doubled, and "|" spliced in as
// "' & chr(124) & '".
QString SqlQuote(const QString& value);

// Checks a file chosen as shared database and brings it up to date: it must hold tblAppendStr,
// tblImportErrors, tblManual and tblCodelink. A missing Unit field is added to tblCodelink and
// tblImportErrors, and "<RetVal>" is put in front of append strings that lack it. An invalid file
// is reported to the user and gives false.
bool CheckSharedDatabase(const QString& path);

} // namespace db
