#pragma once

#include <QString>

#include <cstdint>

// The import engine: item export files into the translation table tblCodelink, with the rows
// that cannot be taken recorded in tblImportErrors, and the same files into tblPreview for the
// preview. The item map window and the command line run the very same routines.
//
// Files are read as a stream (never held whole) and written through prepared statements in
// transactions of a few thousand rows. Rows already written stay when a later row or the file
// fails: what was done is committed before the failure is reported.
namespace import {

// Where the import tells how far it has come: the item map window's label and progress bar, or
// a terminal.
class ImportProgress {
public:
    virtual ~ImportProgress() = default;
    // The label's text (lblProgress).
    virtual void caption(const QString& text) = 0;
    virtual void range(qint64 maximum) = 0;
    // Called for every line; implementations show it now and then, not every time.
    virtual void advance(qint64 value) = 0;
};

// Progress that goes nowhere.
class NoProgress : public ImportProgress {
public:
    void caption(const QString&) override {}
    void range(qint64) override {}
    void advance(qint64) override {}
};

struct ImportResult {
    qint64 lines = 0;   // lines read
    qint64 written = 0; // rows of tblCodelink added or overwritten
    qint64 removed = 0; // rows of tblCodelink removed (self-translating codes)
    qint64 errors = 0;  // rows of tblImportErrors
};

// An IIF import: the file and the names of the fields that hold the scan value, the return
// value and the description, looked up in tblImport for the accounting system.
struct IifImport {
    QString source;
    QString accounting;
    QString scanField;
    QString returnField;
    QString descriptionField;
};

// The 1-based columns of an IIF item row; 0 when a field name has no tblImport row (column 0
// reads as the empty text).
struct IifColumns {
    std::int16_t scan = 0;
    std::int16_t returnValue = 0;
    std::int16_t description = 0;
};
IifColumns FindIifColumns(const IifImport& request);

// IIF item rows ("INVITEM") up to "!ENDGRP" into tblCodelink of the translation database. An
// existing scan value is always overwritten; a new one needs both a scan and a return value,
// else an error row ("Scan Code is blank", "Return Code is blank"). An empty source is refused
// with "Please provide an item source file", and nothing is written.
ImportResult ImportIifFile(const IifImport& request, ImportProgress& progress);

// A tab-delimited or comma-separated list (return value, scan value, description, no quoting)
// into tblCodelink. A code that would translate to itself is removed from the table; a line
// without a scan or return value gives an error row ("No Scan Value", "No Return Value").
ImportResult ImportDelimitedFile(const QString& source, QChar delimiter, ImportProgress& progress);

// The rows a delimited list would write, into tblPreview of the program folder's database.
ImportResult BuildDelimitedPreview(const QString& source, QChar delimiter,
                                   ImportProgress& progress);

// The IIF item rows that would be imported, into tblPreview of the program folder's database:
// rows with a scan value whose item type (the column tblExcludeLocation names) is not excluded
// in tblExclude.
ImportResult BuildIifPreview(const IifImport& request, ImportProgress& progress);

// Writes tblCodelink of the translation database as a tab-delimited list in the delimited
// import's column order (return value, scan value, description), UTF-8 with CR LF line ends, so
// that importing the file gives the same pairs. The file is replaced in one step. Gives the
// number of pairs written.
qint64 ExportCodelink(const QString& target);

} // namespace import
