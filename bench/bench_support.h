#pragma once

#include <QString>

#include <string>

namespace bench {

// The scan code of row i of a generated translation table: twelve digits, like a UPC-A code.
std::string scanCode(long long i);

// Makes a copy of the shipped program folder in folder and fills its tblCodelink with rows
// generated pairs (scanCode(i) -> "ITEM-<i>", a description, unit 1..12), in one transaction.
void makeProgramFolder(const QString& folder, long long rows);

// A memory figure of this process from /proc/self/status ("VmRSS:", or "VmHWM:" for the peak),
// in megabytes; 0 where the system has no such file.
double statusMegabytes(const char* field);

} // namespace bench
