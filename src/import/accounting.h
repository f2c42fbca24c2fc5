#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

// What each accounting system can deliver and where its exports keep each item attribute: the
// definitions of accsys.mdb, which the import only reads.
namespace import {

// Where items come from, by the source file's extension.
enum SourceKind : int {
    kNotValid = -1,
    kCompanyFile = 0, // ".qbw", read live through QuickBooks
    kIif = 1,         // ".iif" item export
    kTabDelimited = 2,
    kCommaSeparated = 3,
};

struct AccountingFlags {
    bool UseQBSDK = false;
    bool UseIFF = false;
    bool UseTDF = false;
    bool UseCSV = false;
    QString Country;        // "" for Null
    bool UseQBSDK7 = false; // the second SDK variant
};

// The flags of an accounting system; all clear when it has no row.
AccountingFlags ReadAccountingFlags(const QString& accounting);
// Only the four source flags, as the file dialog reads them.
AccountingFlags ReadSourceFlags(const QString& accounting);

// The kind of a source path: its last four characters, in lower case, name an enabled kind, or
// it is not valid.
int SourceKindOf(const QString& path, const AccountingFlags& flags);

// The file dialog's filter for the enabled kinds ("All Files (*.*)|*.*|IIF File(*.iif)|*.IIF"...).
QString SourceFileFilter(const AccountingFlags& flags);

// Whether a file is an IIF item export: its third line begins with "!CUSTITEMDICT" (a file of
// fewer than three lines passes). Peachtree's exports are not tested.
bool IsIifItemExport(const QString& path, const QString& accounting);

// The field names an accounting system offers for a choice list ("cmbItemScan0" for the scan
// value, "cmbItemDescrip" for the description), and which of them is the default.
struct FieldChoices {
    QStringList fields;
    QString defaultField;
};
FieldChoices ReadFieldChoices(const QString& accounting, const QString& control);

// The fields an accounting system's exports have, for the return value (which may be any of
// them): the scan fields, then the description fields.
QStringList ReadReturnFields(const QString& accounting);

// The labels that an IIF export's !CUSTITEMDICT/CUSTITEMDICT lines give the items' custom fields,
// by the fields' names ("Custom Field 1" -> "UPC"; the dictionary's index 0 is custom field 1).
// Empty for a file without them or one that cannot be read.
using FieldLabels = QMap<QString, QString>;
FieldLabels ReadCustomFieldLabels(const QString& path);

// A field as the lists show it: "Custom Field 1 (UPC)" when the file labels it, else its name.
QString FieldDisplayName(const QString& field, const FieldLabels& labels);

// The field among fields that text names, without regard to case: by its name, as the lists show
// it, or by its label. Empty when it names none of them.
QString ResolveField(const QString& text, const QStringList& fields, const FieldLabels& labels);

// The column of a field chosen in a choice list, or of a field named for the return value (any
// list); 0 when there is no such field.
int FieldPosition(const QString& accounting, const QString& control, const QString& field);
int ReturnFieldPosition(const QString& accounting, const QString& field);

} // namespace import
