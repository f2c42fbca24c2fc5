#pragma once

#include <QString>

namespace core {

// The folder of the program's executable, which holds its databases and transltr.ini. A copy
// of that folder anywhere is a complete installation.
QString programFolder();

// The program folder file with the given name, e.g. programFile("transltr.ini").
QString programFile(const QString& name);

// Points the program at another folder (tests run the program's code on a copy of the folder).
// An empty text goes back to the executable's folder.
void setProgramFolder(const QString& folder);

} // namespace core
