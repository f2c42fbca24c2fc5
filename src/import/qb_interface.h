#pragma once

#include "import/accounting.h"

#include <QString>
#include <QStringList>

// Items and custom-field names read live from a QuickBooks company file.
namespace import {

// The names of the custom fields defined for items in the company file; empty (after telling the
// user why) when they cannot be read.
QStringList GetCustomFieldNames(const QString& companyFile, const AccountingFlags& flags);

// Reads every item of the company file into tblCodelink (updateMode) or tblPreview, with the
// scan value taken from scanField. False, after telling the user why, when the items cannot be
// read.
bool ReadItems(bool updateMode, const QString& scanField, const QString& companyFile,
               const AccountingFlags& flags, const QString& accounting);

} // namespace import
