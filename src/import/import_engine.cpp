#include "import/import_engine.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "db/db_path.h"
#include "import/accounting.h"
#include "import/import_field.h"
#include "import/table_writers.h"
#include "import/text_lines.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/jet_sql.h"

#include <QDir>
#include <QHash>
#include <QLocale>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <tuple>

namespace import {

namespace {

constexpr QChar kTab = u'\t';
const QString kBlankMarker = QStringLiteral("##blank##");
const QString kBlank = QStringLiteral(" ");
// A quoted value may run over this many lines; a quote left open longer is taken as text.
constexpr int kMaxJoinedLines = 20;

std::int16_t column(int position) {
    return static_cast<std::int16_t>(
        std::clamp(position, 0, int(std::numeric_limits<std::int16_t>::max())));
}

bool hasText(const QString& value) {
    return !trimBlanks(value).isEmpty();
}

QString nativePath(const QString& path) {
    return QDir::toNativeSeparators(path.trimmed());
}

// --- reading -----------------------------------------------------------------------------------

// The item lines of a file cut into fields. A line that ends inside a quoted value (a value with
// a line break, as spreadsheets and accounting programs write it) goes on in the next lines; the
// line break reads as a blank. When the quote is still open after kMaxJoinedLines lines or at the
// end of the file, it is taken as text and the lines after it are read on their own.
class ItemLines {
public:
    // joins: which lines may go on in the next (IIF headings never do).
    ItemLines(TextLines& lines, QChar delimiter, bool (*joins)(const QString& line) = nullptr)
        : lines_(lines)
        , delimiter_(delimiter)
        , joins_(joins) {}

    // The next line, cut into fields (which refer to text); false at the end of the file.
    bool next(QString& text, LineFields& fields) {
        if (!take(text, firstLine_))
            return false;
        fields.cut(text, delimiter_, false);
        if (!fields.open())
            return true; // cut as text already: no quote is left open
        if (joins_ && !joins_(text))
            return cutAsText(text, fields);
        std::vector<std::pair<qint64, QString>> joined;
        QString record = text;
        while (int(joined.size()) < kMaxJoinedLines) {
            std::pair<qint64, QString> line;
            if (!take(line.second, line.first))
                break;
            record += u' ' + line.second;
            joined.push_back(std::move(line));
            fields.cut(record, delimiter_, false);
            if (!fields.open()) {
                text = std::move(record);
                return cutAsText(text, fields);
            }
        }
        for (auto line = joined.rbegin(); line != joined.rend(); ++line)
            pending_.push_front(std::move(*line));
        return cutAsText(text, fields);
    }
    // The line of the file that the last line read starts on, counted from 1.
    qint64 firstLine() const { return firstLine_; }

private:
    bool take(QString& line, qint64& number) {
        if (!pending_.empty()) {
            std::tie(number, line) = std::move(pending_.front());
            pending_.pop_front();
            return true;
        }
        if (!lines_.next(line))
            return false;
        number = lines_.linesRead();
        return true;
    }
    bool cutAsText(const QString& text, LineFields& fields) const {
        fields.cut(text, delimiter_);
        return true;
    }

    TextLines& lines_;
    QChar delimiter_;
    bool (*joins_)(const QString& line);
    std::deque<std::pair<qint64, QString>> pending_;
    qint64 firstLine_ = 0;
};

bool isItemRow(const QString& line) {
    return line.startsWith(QStringLiteral("INVITEM"));
}

// "!ENDGRP" ends the item section of an IIF file.
bool endsItems(const QString& line) {
    return line.startsWith(QStringLiteral("!ENDGRP"));
}

// Refuses a file that is not text or holds nothing, before anything is written.
void requireText(const TextLines& lines, const QString& path) {
    if (lines.binary())
        throw ImportRefused(
            QStringLiteral("%1 is not a text file: it holds bytes that no item list has, as a "
                           "program, an archive or a spreadsheet workbook does. Nothing was "
                           "imported. Export the item list as text (an IIF export, a "
                           "tab-delimited .txt or a comma-separated .csv list) and import that.")
                .arg(nativePath(path)));
    if (lines.empty())
        throw ImportRefused(QStringLiteral("%1 is empty. Nothing was imported. Export the item "
                                           "list again and import the new file.")
                                .arg(nativePath(path)));
}

[[noreturn]] void refuseWithoutItems(const QString& path, const QString& what) {
    throw ImportRefused(QStringLiteral("%1 holds no item lines (%2). Nothing was imported. Check "
                                       "that it is the item list you meant to import.")
                            .arg(nativePath(path), what));
}

// A failure in the middle of a file says where the import stopped; the rows before it stay.
[[noreturn]] void stoppedAt(const platform::AppError& error, qint64 line) {
    throw platform::AppError(error.number(),
                             error.description() +
                                 QStringLiteral("\r\nThe import stopped at line %1; the rows "
                                                "before it were kept.")
                                     .arg(line));
}

// --- units of measure --------------------------------------------------------------------------

// One barcode of a scan field and its unit; badUnit holds a unit that is not a positive number.
struct Barcode {
    QString scan;
    double unit = 1;
    QString badUnit;
};

// A unit as written: a positive number ("6", "0.5"); empty is one.
std::optional<double> unitOf(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return 1.0;
    bool ok = false;
    const double unit = QLocale::c().toDouble(trimmed, &ok);
    if (!ok || !std::isfinite(unit) || unit <= 0)
        return std::nullopt;
    return unit;
}

Barcode barcodeWithUnit(const QString& scan, const QString& unitText) {
    const std::optional<double> unit = unitOf(unitText);
    return {scan, unit.value_or(1), unit ? QString() : unitText.trimmed()};
}

// The barcodes of a scan field: the field itself with the line's unit, or, with units of
// measure, each record of the field with its own (the line's when it has none).
QList<Barcode> barcodesOf(const QString& scan, const std::optional<UnitFormat>& units,
                          const QString& lineUnit = QString()) {
    if (!units || !hasText(scan))
        return {barcodeWithUnit(scan, lineUnit)};
    QList<Barcode> barcodes;
    for (const QString& record : scan.split(units->afterUnit)) {
        if (!hasText(record))
            continue;
        const qsizetype split = record.indexOf(units->afterBarcode);
        const QString barcode = trimBlanks(record.left(split)).toString();
        barcodes << barcodeWithUnit(barcode, split < 0 ? lineUnit : record.mid(split + 1));
    }
    if (barcodes.isEmpty()) // separators only: a line without a scan value, not no line at all
        barcodes << barcodeWithUnit(QString(), lineUnit);
    return barcodes;
}

QString badUnitText(const QString& unit) {
    return QStringLiteral("Unit of measure \"%1\" is not a positive number").arg(unit);
}

// --- delimited lists -----------------------------------------------------------------------------

// One line of a delimited list: return value, scan value, description, each cut to its size,
// and the text of a unit column.
struct DelimitedItem {
    QString returnValue;
    QString scan;
    QString description;
    QString unit;
    qint64 line = 0;     // where it starts in the file
    bool header = false; // the line of column names
    bool blank() const {
        return !hasText(returnValue) && !hasText(scan) && !hasText(description) && !hasText(unit);
    }
};

// Whether a scan column's text reads like the name of the column rather than a code: letters
// only, made of the words lists name their columns with ("UPC", "Bar Code", "Item #", "SKU",
// "Scan Value", "UPC / SKU", "Product Code" ...).
bool looksLikeColumnName(const QString& text) {
    static const QRegularExpression digit(QStringLiteral("\\d"));
    static const QRegularExpression notLetters(QStringLiteral("[^a-z]+"));
    static const QStringList words{
        "upc",       "ean",   "gtin",    "isbn",   "sku",  "plu",         "barcode",
        "barcodes",  "bar",   "code",    "codes",  "item", "items",       "scan",
        "value",     "id",    "name",    "number", "no",   "num",         "nr",
        "product",   "part",  "article", "lookup", "key",  "alu",         "ref",
        "reference", "style", "model",   "vendor", "mfr",  "manufacturer"};
    if (!hasText(text) || text.contains(digit))
        return false;
    const QStringList parts = text.toLower().split(notLetters, Qt::SkipEmptyParts);
    return !parts.isEmpty() && std::all_of(parts.begin(), parts.end(), [](const QString& part) {
        return words.contains(part);
    });
}

// Whether a column name names the unit of measure.
bool namesUnit(const QString& text) {
    static const QStringList names{"unit", "units", "uom", "unit of measure", "u/m", "um"};
    return names.contains(text.trimmed().toLower());
}

const QString kExportReturn = QStringLiteral("Return Value");
const QString kExportScan = QStringLiteral("Scan Value");

// The line of column names that the export writes, whatever follows it.
bool isExportHeader(const DelimitedItem& item) {
    return item.returnValue.compare(kExportReturn, Qt::CaseInsensitive) == 0 &&
           item.scan.compare(kExportScan, Qt::CaseInsensitive) == 0;
}

// The lines of a delimited list as items, with the line of column names told apart: the first
// line when the user says so, or when its scan column reads like a column name and the second
// line's does not. A header line whose fourth column names the unit makes that column the unit.
class DelimitedReader {
public:
    DelimitedReader(TextLines& lines, QChar delimiter, bool header)
        : lines_(lines, delimiter)
        , header_(header) {}

    bool next(DelimitedItem& item) {
        if (first_) {
            first_ = false;
            if (!read(item))
                return false;
            DelimitedItem second;
            if (read(second))
                lookahead_ = std::move(second);
            item.header = header_ || isExportHeader(item) ||
                          (looksLikeColumnName(item.scan) &&
                           (!lookahead_ || !looksLikeColumnName(lookahead_->scan)));
            unitColumn_ = item.header && namesUnit(item.unit);
            if (!unitColumn_)
                item.unit.clear();
            return true;
        }
        if (lookahead_) {
            item = std::move(*lookahead_);
            lookahead_.reset();
        } else if (!read(item)) {
            return false;
        }
        if (!unitColumn_)
            item.unit.clear();
        return true;
    }

private:
    bool read(DelimitedItem& item) {
        if (!lines_.next(text_, fields_))
            return false;
        // Into the item's own strings: a million-line list allocates nothing for them.
        fields_.readField(0, item.returnValue);
        item.returnValue.truncate(160);
        fields_.readField(1, item.scan); // cut for each barcode it holds
        fields_.readField(2, item.description);
        item.description.truncate(254);
        fields_.readField(3, item.unit);
        item.line = lines_.firstLine();
        item.header = false;
        return true;
    }

    ItemLines lines_;
    QString text_;
    LineFields fields_;
    bool header_;
    bool first_ = true;
    bool unitColumn_ = false;
    std::optional<DelimitedItem> lookahead_;
};

// Refuses a delimited list without an item line: empty, blank lines, or column names only.
void requireDelimitedItems(TextLines& lines, const QString& path, QChar delimiter, bool header) {
    requireText(lines, path);
    DelimitedReader reader(lines, delimiter, header);
    DelimitedItem item;
    bool found = false;
    while (!found && reader.next(item))
        found = !item.header && !item.blank();
    lines.rewind();
    if (!found)
        refuseWithoutItems(path, QStringLiteral("only blank lines or a line of column names"));
}

// The barcodes of a delimited line, each cut to the size of a scan value.
QList<Barcode> delimitedBarcodes(const DelimitedItem& item,
                                 const std::optional<UnitFormat>& units) {
    QList<Barcode> barcodes = barcodesOf(item.scan, units, item.unit);
    for (Barcode& barcode : barcodes)
        barcode.scan.truncate(100);
    return barcodes;
}

// One barcode of a delimited line: a code that would translate to itself is removed from the
// table, a line without a scan or return value becomes an error row, any other is added or
// overwritten.
void importDelimitedBarcode(const DelimitedItem& item, const Barcode& barcode,
                            CodelinkWriter& writer, ImportResult& result) {
    if (barcode.scan == item.returnValue) {
        const int removed = writer.remove(barcode.scan, item.line);
        result.removed += removed;
        result.skipped += 1 - removed;
    } else if (barcode.scan.isEmpty() || item.returnValue.isEmpty()) {
        if (barcode.scan.isEmpty())
            writer.error(QStringLiteral("No Scan Value"), kBlank, item.returnValue);
        else
            writer.error(QStringLiteral("No Return Value"), barcode.scan, kBlank);
        ++result.errors;
    } else if (!barcode.badUnit.isEmpty()) {
        writer.error(badUnitText(barcode.badUnit), barcode.scan, item.returnValue);
        ++result.errors;
    } else {
        writer.put(barcode.scan, item.returnValue,
                   item.description.isEmpty() ? kBlank : item.description, barcode.unit, item.line);
    }
}

// --- IIF exports -------------------------------------------------------------------------------

// The fields of an IIF item row, as both the import and the preview take them.
struct IifItem {
    QString scan;
    QString returnValue;
    QString description;
};

IifItem cutIifItem(const LineFields& fields, const IifColumns& columns) {
    const auto field = [&](std::int16_t number) { return fields.field(number - 1); };
    IifItem item{field(columns.scan), field(columns.returnValue), field(columns.description)};
    if (item.scan.isEmpty())
        item.scan = kBlankMarker;
    if (item.description.isEmpty())
        item.description = kBlank;
    return item;
}

// Refuses an IIF file without an item row before "!ENDGRP".
void requireIifItems(TextLines& lines, const QString& path) {
    requireText(lines, path);
    bool found = false;
    QString line;
    while (!found && lines.next(line) && !endsItems(line))
        found = isItemRow(line);
    lines.rewind();
    if (!found)
        refuseWithoutItems(path, QStringLiteral("lines that begin with INVITEM before !ENDGRP"));
}

// One barcode of an item row: an existing scan value is always overwritten; a new one needs a
// scan and a return value, else it becomes an error row or is passed over.
void importIifBarcode(const IifItem& item, const Barcode& barcode, qint64 line,
                      CodelinkWriter& writer, ImportResult& result) {
    const QString description = item.description.left(253);
    if (hasText(barcode.scan) && hasText(item.returnValue)) {
        if (barcode.badUnit.isEmpty()) {
            writer.put(barcode.scan, item.returnValue, description, barcode.unit, line);
        } else {
            writer.error(badUnitText(barcode.badUnit), barcode.scan, item.returnValue);
            ++result.errors;
        }
    } else if (writer.overwrite(barcode.scan, item.returnValue, description, barcode.unit, line)) {
        // written even without a return value
    } else if (item.returnValue.isEmpty()) {
        // A blank scan value is " " by now, so a row without one is passed over, unless it
        // lacks its return value too.
        writer.error(QStringLiteral("Return Code is blank"), kBlank, kBlank);
        ++result.errors;
    } else {
        ++result.skipped;
    }
}

void importIifItem(const LineFields& fields, const IifColumns& columns,
                   const std::optional<UnitFormat>& units, qint64 line, CodelinkWriter& writer,
                   ImportResult& result) {
    IifItem item = cutIifItem(fields, columns);
    if (item.scan == kBlankMarker)
        item.scan = kBlank;
    const QList<Barcode> barcodes = barcodesOf(item.scan, units);
    if (units)
        result.barcodes += barcodes.size();
    for (const Barcode& barcode : barcodes)
        importIifBarcode(item, barcode, line, writer, result);
}

// --- writing ---------------------------------------------------------------------------------

// How a preview writes: pairs with their units into tblPreview, in batches.
class PreviewWriter {
public:
    explicit PreviewWriter(platform::Database& db)
        : insert_(db.prepare(QStringLiteral(
              "INSERT INTO tblPreview (PrevScan, PrevReturn, Unit) VALUES (?1, ?2, ?3)")))
        , batches_(db) {}

    void put(const QString& scan, const QString& returnValue, double unit) {
        insert_->bindText(1, scan);
        insert_->bindText(2, returnValue);
        insert_->bindNumber(3, unit);
        insert_->run();
        batches_.rowDone();
    }
    void finish() { batches_.finish(); }

private:
    std::unique_ptr<platform::Statement> insert_;
    Batches batches_; // after insert_: the transaction is committed before the statement goes
};

platform::Database openProgramDatabase() {
    return platform::Database::open(core::programFile(QStringLiteral("dbScan")));
}

// An import into the translation table: the error table emptied, the writer and its batches.
class CodelinkImport {
public:
    explicit CodelinkImport(ImportResult& result)
        : db_(platform::Database::open(db::GetDbPath()))
        , result_(result) {
        result_.errorTable =
            QStringLiteral("tblImportErrors of ") + platform::displayLocation(db_.path());
    }
    void begin(const QString& emptyErrors) {
        db_.execute(emptyErrors);
        writer_.emplace(db_);
        batches_.emplace(db_, [this] { writer_->flush(); });
    }
    CodelinkWriter& writer() { return *writer_; }
    void rowDone() { batches_->rowDone(); }
    // Writes what is held and commits; the counts of the writer join the result.
    void finish() {
        writer_->finish();
        batches_->finish();
        result_.added = writer_->added();
        result_.replaced = writer_->replaced();
        result_.errors += writer_->duplicates();
    }

private:
    platform::Database db_;
    ImportResult& result_;
    std::optional<CodelinkWriter> writer_;
    std::optional<Batches> batches_; // after writer_: it commits what writer_ still sends
};

// The item types whose exclusion flag is set, by their code in lower case (codes compare without
// regard to case), and the column of an item row that holds the type.
struct Exclusions {
    std::int16_t location = 0;
    QHash<QString, bool> excluded;
};

Exclusions readExclusions(const QString& accounting) {
    Exclusions result;
    platform::Database accsys =
        platform::Database::open(core::programFile(QStringLiteral("accsys.mdb")));
    platform::Recordset locations = accsys.openRecordset(QStringLiteral("tblExcludeLocation"));
    for (; !locations.eof(); locations.moveNext()) {
        if (locations.value(QStringLiteral("accounting"))
                    .toString()
                    .compare(accounting, Qt::CaseInsensitive) == 0 &&
            locations.value(QStringLiteral("type"))
                    .toString()
                    .compare(QStringLiteral("Products"), Qt::CaseInsensitive) == 0) {
            result.location = column(locations.value(QStringLiteral("location")).toInt());
            break;
        }
    }
    if (result.location == 0)
        return result;
    platform::Recordset codes = accsys.openRecordset(
        QStringLiteral("SELECT * FROM tblExclude WHERE accounting = '") +
        platform::SqlQuote(accounting) + QStringLiteral("' and Type = 'Products'"));
    for (; !codes.eof(); codes.moveNext()) {
        const QString code = platform::toText(codes.value(QStringLiteral("Code"))).toLower();
        if (!result.excluded.contains(code)) // the first row of a code decides, as a search would
            result.excluded.insert(code, platform::toBool(codes.value(QStringLiteral("Exclude"))));
    }
    return result;
}

// A unit as the export writes it: a number in its shortest exact form, anything else as text.
QString unitText(const QVariant& unit) {
    if (unit.typeId() == QMetaType::Double || unit.typeId() == QMetaType::LongLong)
        return QString::number(unit.toDouble(), 'g', QLocale::FloatingPointShortest);
    return QuoteField(unit.toString(), kTab);
}

} // namespace

QString ImportSummary(const ImportResult& result) {
    QString text = QStringLiteral("lines read %1").arg(result.lines);
    if (result.barcodes > 0)
        text += QStringLiteral(" with %1 barcodes").arg(result.barcodes);
    text += QStringLiteral(", rows written %1 (%2 new, %3 replaced), rows removed %4, error rows "
                           "%5, lines skipped %6")
                .arg(result.written())
                .arg(result.added)
                .arg(result.replaced)
                .arg(result.removed)
                .arg(result.errors)
                .arg(result.skipped);
    if (result.headerSkipped)
        text += QStringLiteral(" (the first line holds column names)");
    if (result.errors > 0)
        text += QStringLiteral("; the error rows are in ") + result.errorTable;
    if (result.stopped)
        text += QStringLiteral("; stopped before the end of the file, the rows before were kept");
    return text;
}

IifColumns FindIifColumns(const IifImport& request) {
    const FieldLabels labels = ReadCustomFieldLabels(request.source);
    const auto resolve = [&](const QString& role, const QString& text, const QStringList& fields) {
        const QString field = ResolveField(text, fields, labels);
        if (field.isEmpty()) {
            QStringList shown;
            for (const QString& choice : fields)
                shown << FieldDisplayName(choice, labels);
            throw ImportRefused(
                QStringLiteral("\"%1\" is not a %2 field of %3 item exports; choose one of: %4")
                    .arg(text.trimmed(), role, request.accounting,
                         shown.join(QStringLiteral(", "))));
        }
        return field;
    };
    const QString scan =
        resolve(QStringLiteral("scan"), request.scanField,
                ReadFieldChoices(request.accounting, QStringLiteral("cmbItemScan0")).fields);
    const QString returnField = resolve(QStringLiteral("return"), request.returnField,
                                        ReadReturnFields(request.accounting));
    const QString description =
        resolve(QStringLiteral("description"), request.descriptionField,
                ReadFieldChoices(request.accounting, QStringLiteral("cmbItemDescrip")).fields);
    return {
        column(FieldPosition(request.accounting, QStringLiteral("cmbItemScan0"), scan)),
        column(ReturnFieldPosition(request.accounting, returnField)),
        column(FieldPosition(request.accounting, QStringLiteral("cmbItemDescrip"), description))};
}

ImportResult ImportIifFile(const IifImport& request, ImportProgress& progress) {
    progress.caption(QStringLiteral("Preparing To Import File..."));
    ImportResult result;
    CodelinkImport target(result);
    if (request.source.trimmed().isEmpty()) {
        platform::msgBox(QStringLiteral("Please provide an item source file"),
                         platform::Buttons::Ok, platform::Icon::Information,
                         core::shared().strAppTitle);
        return {};
    }
    TextLines lines(request.source); // the first pass: encoding, line count, text or not
    requireIifItems(lines, request.source);
    const IifColumns columns = FindIifColumns(request);
    progress.range(lines.lineCount());
    target.begin(QStringLiteral("DELETE * from tblImportErrors"));
    progress.caption(QStringLiteral("Importing File..."));

    ItemLines items(lines, kTab, isItemRow);
    QString text;
    LineFields fields;
    try {
        while (items.next(text, fields)) {
            if (progress.stopRequested()) {
                result.stopped = true;
                break;
            }
            ++result.lines;
            if (isItemRow(text)) {
                importIifItem(fields, columns, request.units, items.firstLine(), target.writer(),
                              result);
                target.rowDone();
            } else {
                ++result.skipped; // headings and the other lists of the file
            }
            progress.advance(lines.linesRead());
            if (endsItems(text))
                break;
        }
        target.finish();
    } catch (const platform::AppError& error) {
        stoppedAt(error, lines.linesRead());
    }
    progress.advance(lines.lineCount());
    progress.caption(QStringLiteral("Done!"));
    return result;
}

ImportResult ImportDelimitedFile(const QString& source, QChar delimiter, ImportProgress& progress,
                                 const ListOptions& options) {
    TextLines lines(source.trimmed());
    requireDelimitedItems(lines, source, delimiter, options.header);
    progress.range(lines.size());
    progress.caption(QStringLiteral("Preparing To Import File..."));
    ImportResult result;
    CodelinkImport target(result);
    progress.caption(QStringLiteral("Processing Item List"));
    target.begin(QStringLiteral("Delete From tblImportErrors"));

    DelimitedReader reader(lines, delimiter, options.header);
    DelimitedItem item;
    try {
        while (reader.next(item)) {
            if (progress.stopRequested()) {
                result.stopped = true;
                break;
            }
            ++result.lines;
            if (item.header) {
                result.headerSkipped = true;
                ++result.skipped;
                continue;
            }
            const QList<Barcode> barcodes = delimitedBarcodes(item, options.units);
            if (options.units)
                result.barcodes += barcodes.size();
            for (const Barcode& barcode : barcodes)
                importDelimitedBarcode(item, barcode, target.writer(), result);
            target.rowDone();
            progress.advance(lines.position());
        }
        target.finish();
    } catch (const platform::AppError& error) {
        stoppedAt(error, lines.linesRead());
    }
    progress.advance(lines.size());
    progress.caption(QStringLiteral("Done"));
    return result;
}

ImportResult BuildDelimitedPreview(const QString& source, QChar delimiter, ImportProgress& progress,
                                   const ListOptions& options) {
    TextLines lines(source.trimmed());
    requireDelimitedItems(lines, source, delimiter, options.header);
    progress.range(lines.size());
    progress.caption(QStringLiteral("Preparing To Import File..."));
    platform::Database db = openProgramDatabase();
    progress.caption(QStringLiteral("Processing Item List"));
    db.execute(QStringLiteral("Delete From tblPreview"));
    PreviewWriter preview(db);

    ImportResult result;
    DelimitedReader reader(lines, delimiter, options.header);
    DelimitedItem item;
    while (!progress.stopRequested() && reader.next(item)) {
        ++result.lines;
        if (item.header)
            continue;
        for (const Barcode& barcode : delimitedBarcodes(item, options.units)) {
            if (!barcode.scan.isEmpty() && !item.returnValue.isEmpty() &&
                barcode.scan != item.returnValue && barcode.badUnit.isEmpty()) {
                preview.put(barcode.scan, item.returnValue, barcode.unit);
                ++result.added;
            }
        }
        progress.advance(lines.position());
    }
    preview.finish();
    result.stopped = progress.stopRequested();
    progress.advance(lines.size());
    progress.caption(QStringLiteral("Done"));
    return result;
}

ImportResult BuildIifPreview(const IifImport& request, ImportProgress& progress) {
    platform::Database db = openProgramDatabase();
    TextLines lines(request.source);
    requireIifItems(lines, request.source);
    const IifColumns columns = FindIifColumns(request);
    progress.range(lines.lineCount());
    progress.caption(QStringLiteral("Loading Import File for Preview"));
    db.execute(QStringLiteral("DELETE * from tblPreview"));
    const Exclusions exclusions = readExclusions(request.accounting);
    PreviewWriter preview(db);

    ImportResult result;
    ItemLines items(lines, kTab, isItemRow);
    QString text;
    LineFields fields;
    while (!progress.stopRequested() && items.next(text, fields)) {
        if (endsItems(text))
            break;
        ++result.lines;
        progress.advance(lines.linesRead());
        if (text.startsWith(u'!'))
            continue;
        const IifItem item = cutIifItem(fields, columns);
        const QString type = fields.field(exclusions.location - 1).toLower();
        if (item.scan == kBlankMarker || !hasText(item.scan) ||
            exclusions.excluded.value(type, false))
            continue;
        for (const Barcode& barcode : barcodesOf(item.scan, request.units)) {
            if (!hasText(barcode.scan) || !barcode.badUnit.isEmpty())
                continue;
            preview.put(barcode.scan, item.returnValue.isEmpty() ? kBlank : item.returnValue,
                        barcode.unit);
            ++result.added;
        }
    }
    preview.finish();
    result.stopped = progress.stopRequested();
    progress.advance(lines.lineCount());
    progress.caption(QStringLiteral("Done!"));
    return result;
}

qint64 ExportCodelink(const QString& target) {
    QSaveFile file(target);
    const auto cannotWrite = [&] {
        return platform::AppError(platform::err::ReadOnly,
                                  QStringLiteral("Cannot write '%1': %2")
                                      .arg(QDir::toNativeSeparators(target), file.errorString()));
    };
    platform::Database db = platform::Database::open(db::GetDbPath());
    const auto rows =
        db.prepare(QStringLiteral("SELECT ReturnValue, ScanValue, Descrip, Unit FROM tblCodelink"));
    if (!file.open(QIODevice::WriteOnly))
        throw cannotWrite();
    // The column names make the import read the fourth column as the unit.
    file.write(
        (kExportReturn + kTab + kExportScan + QStringLiteral("\tDescription\tUnit\r\n")).toUtf8());
    qint64 count = 0;
    while (rows->next()) {
        const QString unit = unitText(rows->value(3));
        const QString line = QuoteField(rows->text(0), kTab) + kTab +
                             QuoteField(rows->text(1), kTab) + kTab +
                             QuoteField(rows->text(2), kTab) + kTab + unit + QStringLiteral("\r\n");
        file.write(line.toUtf8());
        ++count;
    }
    if (!file.commit())
        throw cannotWrite();
    return count;
}

} // namespace import
