#pragma once

#include "platform/app_error.h"

#include <QString>

#include <cstdint>
#include <optional>

// The import engine: item export files into the translation table tblCodelink, with the rows
// that cannot be taken recorded in tblImportErrors, and the same files into tblPreview for the
// preview. The item map window and the command line run the very same routines.
//
// Files are read as a stream (never held whole) and written through prepared statements in
// transactions of a few thousand rows. Rows already written stay when a later row or the file
// fails, or when the user stops the import: what was done is committed before the failure is
// reported.
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
    // Whether the user asked to stop; the import then ends after the line it is at.
    virtual bool stopRequested() const { return false; }
};

// Progress that goes nowhere.
class NoProgress : public ImportProgress {
public:
    void caption(const QString&) override {}
    void range(qint64) override {}
    void advance(qint64) override {}
};

// An import refused before anything was written, for a reason the user can put right: a file
// that is no item list (not text at all, empty, or without a single item line), a field name
// the accounting system does not have.
class ImportRefused : public platform::AppError {
public:
    explicit ImportRefused(const QString& description)
        : AppError(platform::err::UnrecognizedFormat, description) {}
};

// The barcode record format: with units of measure, a scan field holds records separated by
// afterUnit, each a barcode and its unit separated by afterBarcode ("111111,6;222222,12;333333").
struct UnitFormat {
    QChar afterBarcode = u',';
    QChar afterUnit = u';';
};

// How a delimited list is read besides its delimiter.
struct ListOptions {
    bool header = false;             // the first line holds column names
    std::optional<UnitFormat> units; // scan fields hold barcodes with their units
};

struct ImportResult {
    qint64 lines = 0;    // lines read (a quoted value with a line break counts its lines as one)
    qint64 barcodes = 0; // with units of measure: the barcodes the item lines held
    qint64 added = 0;    // rows of tblCodelink added
    qint64 replaced = 0; // rows of tblCodelink that were there and were overwritten
    qint64 removed = 0;  // rows of tblCodelink removed (self-translating codes)
    qint64 errors = 0;   // rows of tblImportErrors
    qint64 skipped = 0;  // lines that changed nothing: blank, heading or non-item lines,
                         // items passed over
    bool headerSkipped = false; // the first line was taken as column names
    bool stopped = false;       // the user stopped the import; the rows before were kept
    QString errorTable;         // where the error rows are

    qint64 written() const { return added + replaced; }
    // What written, removed, errors and skipped add up to: the lines, where each barcode of an
    // item line with units of measure counts as a line of its own.
    qint64 items() const { return written() + removed + errors + skipped; }
};

// The counts of an import in one line: "lines read 7, rows written 3 (2 new, 1 replaced), ...".
QString ImportSummary(const ImportResult& result);

// An IIF import: the file and the names of the fields that hold the scan value, the return
// value and the description, looked up in tblImport for the accounting system. A field may be
// named as the accounting system names it ("Custom Field 1"), by the label the file's
// !CUSTITEMDICT lines give it ("UPC"), or both ("Custom Field 1 (UPC)").
struct IifImport {
    QString source;
    QString accounting;
    QString scanField;
    QString returnField;
    QString descriptionField;
    std::optional<UnitFormat> units;
};

// The 1-based columns of an IIF item row.
struct IifColumns {
    std::int16_t scan = 0;
    std::int16_t returnValue = 0;
    std::int16_t description = 0;
};
// Refuses (ImportRefused) a field that is not one of the accounting system's, naming the choices.
IifColumns FindIifColumns(const IifImport& request);

// IIF item rows ("INVITEM") up to "!ENDGRP" into tblCodelink of the translation database. An
// existing scan value is always overwritten; a new one needs both a scan and a return value,
// else an error row ("Return Code is blank"). An empty source is refused with "Please provide an
// item source file", and nothing is written.
ImportResult ImportIifFile(const IifImport& request, ImportProgress& progress);

// A tab-delimited or comma-separated list (return value, scan value, description; with a header
// line that names a fourth column "Unit", the unit) into tblCodelink. A code that would translate
// to itself is removed from the table; a line without a scan or return value gives an error row
// ("No Scan Value", "No Return Value").
ImportResult ImportDelimitedFile(const QString& source, QChar delimiter, ImportProgress& progress,
                                 const ListOptions& options = {});

// The rows a delimited list would write, into tblPreview of the program folder's database.
ImportResult BuildDelimitedPreview(const QString& source, QChar delimiter, ImportProgress& progress,
                                   const ListOptions& options = {});

// The IIF item rows that would be imported, into tblPreview of the program folder's database:
// rows with a scan value whose item type (the column tblExcludeLocation names) is not excluded
// in tblExclude.
ImportResult BuildIifPreview(const IifImport& request, ImportProgress& progress);

// Writes tblCodelink of the translation database as a tab-delimited list that the delimited
// import reads back to the same pairs: a line of column names, then return value, scan value,
// description and unit, quoted where a value needs it (a line break in a value is written as a
// blank); UTF-8 with CR LF line ends. The file is replaced in one step. Gives the number of pairs
// written.
qint64 ExportCodelink(const QString& target);

} // namespace import
