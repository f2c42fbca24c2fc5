#pragma once

#include "import/accounting.h"
#include "import/import_engine.h"
#include "import/qbxml.h"

#include <QString>
#include <QStringList>

// Items and custom-field names read live from a QuickBooks company file, over qbXML through
// QuickBooks' request processor. The accounting system's UseQBSDK7 flag chooses the SDK variant:
// clear, requests are written for qbXML 5.0; set, for the highest version the running QuickBooks
// supports (7.0 at least), which also offers the manufacturer's part number and, from 12.0, the
// item's barcode as scan fields.
namespace import {

// The marker of a field an item does not have (also the value of every field of an item whose
// kind is excluded).
inline const QString kNoSuchField = QStringLiteral("##Error##");
inline const QString kBlankField = QStringLiteral("##blank##");

// The seven kinds of item the import knows, with their codes in tblExclude, in the order they
// are tried.
struct ItemKind {
    const char* element;
    const char* code;
};
const std::array<ItemKind, 7>& ItemKinds();

// Fills the exclusion flags of the seven kinds from tblExclude for the accounting system; a kind
// without a row keeps the flag it had.
void LoadExclusions(const QString& accounting);

// The value of a field of an item: "product code" (its name), "fullname" (its full name, else its
// name), "desc" (the first description it has, cut to 250 characters; " " when it has none),
// "manufacturerpartnumber", "barcodevalue", or a custom field by name. kNoSuchField for a field
// the item does not have and for every field of an item of an excluded or unknown kind.
QString GetItemValue(const qbxml::Item& item, const QString& fieldName);

// The names of the custom fields defined for items in the company file (the second variant's
// list starts with "ManufacturerPartNumber", and "BarCodeValue" from qbXML 12.0); the user is
// told why when they cannot be read, and the list is then that start alone.
QStringList GetCustomFieldNames(const QString& companyFile, const AccountingFlags& flags);

// Reads every item of the company file into tblCodelink (updateMode; items without the scan
// field become error rows "Custom Field is not Found") or into tblPreview of the program folder's
// database (items that cannot be imported are kept there with no unit). False, after telling the
// user why, when the items cannot be read; rows written before a failure stay. The counts of an
// update go to result when one is given (each item counts as a line).
bool ReadItems(bool updateMode, const QString& scanField, const QString& companyFile,
               const AccountingFlags& flags, const QString& accounting, ImportProgress& progress,
               ImportResult* result = nullptr);

} // namespace import
