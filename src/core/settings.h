#pragma once

namespace core {

// Fills the settings fields of the shared record from the first row of tblSettings in the
// program folder's dbscan.mdb (never the shared database). ComPort, PortSetting and
// SharedDataBase have defaults for Null; a Null anywhere else, a missing file, table or column
// is an error for the caller. An empty table leaves the record as it was.
void LoadSettings();

} // namespace core
