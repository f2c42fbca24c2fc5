#include "import/import_engine.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "db/db_path.h"
#include "import/accounting.h"
#include "import/import_field.h"
#include "import/table_writers.h"
#include "import/text_lines.h"
#include "platform/app_error.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/dialogs.h"

#include <QDir>
#include <QHash>
#include <QSaveFile>

#include <algorithm>
#include <limits>

namespace import {

namespace {

constexpr int kTab = 9;
const QString kBlankMarker = QStringLiteral("##blank##");
const QString kBlank = QStringLiteral(" ");

std::int16_t column(int position) {
    return static_cast<std::int16_t>(
        std::clamp(position, 0, int(std::numeric_limits<std::int16_t>::max())));
}

bool hasText(const QString& value) {
    return !trimBlanks(value).isEmpty();
}

// One line of a delimited list: return value, scan value, description, each cut to its size.
struct DelimitedItem {
    QString returnValue;
    QString scan;
    QString description;
};

DelimitedItem splitDelimited(const QString& line, QChar delimiter) {
    DelimitedItem item;
    if (line.isEmpty())
        return item; // no pieces at all
    const QList<QStringView> pieces = QStringView(line).split(delimiter);
    const auto piece = [&](qsizetype index, qsizetype size) {
        return index < pieces.size() ? trimBlanks(pieces[index]).toString().left(size) : QString();
    };
    item.returnValue = piece(0, 160);
    item.scan = piece(1, 100);
    item.description = piece(2, 254);
    return item;
}

// One line of a delimited list: a code that would translate to itself is removed from the table,
// a line without a scan or return value becomes an error row, any other is added or overwritten.
void importDelimitedItem(const DelimitedItem& item, CodelinkWriter& writer, ImportResult& result) {
    if (item.scan == item.returnValue) {
        result.removed += writer.execute(
            QStringLiteral("DELETE From tblCodelink WHERE (((tblCodelink.ScanValue)='") +
            db::SqlQuote(item.scan) + QStringLiteral("'));"));
    } else if (item.scan.isEmpty()) {
        writer.error(QStringLiteral("No Scan Value"), kBlank, item.returnValue);
        ++result.errors;
    } else if (item.returnValue.isEmpty()) {
        writer.error(QStringLiteral("No Return Value"), item.scan, kBlank);
        ++result.errors;
    } else {
        writer.put(item.scan, item.returnValue,
                   item.description.isEmpty() ? kBlank : item.description);
        ++result.written;
    }
}

// The fields of an IIF item row, as both the import and the preview take them.
struct IifItem {
    QString scan;
    QString returnValue;
    QString description;
};

IifItem cutIifItem(QString& line, const IifColumns& columns) {
    IifItem item{GetImportField(line, columns.scan, kTab),
                 GetImportField(line, columns.returnValue, kTab),
                 GetImportField(line, columns.description, kTab)};
    if (item.scan.isEmpty())
        item.scan = kBlankMarker;
    if (item.description.isEmpty())
        item.description = kBlank;
    return item;
}

// One item row: an existing scan value is always overwritten; a new one needs a scan and a
// return value, else it becomes an error row.
void importIifItem(QString& line, const IifColumns& columns, CodelinkWriter& writer,
                   ImportResult& result) {
    IifItem item = cutIifItem(line, columns);
    if (item.scan == kBlankMarker)
        item.scan = kBlank;
    const QString description = item.description.left(253);
    if (hasText(item.scan) && hasText(item.returnValue)) {
        writer.put(item.scan, item.returnValue, description);
        ++result.written;
    } else if (writer.overwrite(item.scan, item.returnValue, description)) {
        ++result.written; // even without a return value
    } else {
        // A blank scan value is " " by now, so a row without one is passed over.
        if (item.scan.isEmpty()) {
            writer.error(QStringLiteral("Scan Code is blank"), kBlank,
                         item.returnValue.isEmpty() ? kBlank : item.returnValue);
            ++result.errors;
        }
        if (item.returnValue.isEmpty()) {
            writer.error(QStringLiteral("Return Code is blank"), kBlank, kBlank);
            ++result.errors;
        }
    }
}

// How a preview writes: pairs into tblPreview, each with unit 1, in batches.
class PreviewWriter {
public:
    explicit PreviewWriter(platform::Database& db)
        : insert_(db.prepare(QStringLiteral(
              "INSERT INTO tblPreview (PrevScan, PrevReturn, Unit) VALUES (?1, ?2, 1)")))
        , batches_(db) {}

    void put(const QString& scan, const QString& returnValue) {
        insert_->bindText(1, scan);
        insert_->bindText(2, returnValue);
        insert_->run();
        batches_.rowDone();
    }
    void finish() { batches_.finish(); }

private:
    std::unique_ptr<platform::Statement> insert_;
    Batches batches_; // after insert_: the transaction is committed before the statement goes
};

// "!ENDGRP" ends the item section of an IIF file.
bool endsItems(const QString& line) {
    return line.startsWith(u'!') && line.left(7) == QStringLiteral("!ENDGRP");
}

// A failure in the middle of a file says where the import stopped; the rows before it stay.
[[noreturn]] void stoppedAt(const platform::AppError& error, const TextLines& lines) {
    throw platform::AppError(error.number(),
                             error.description() +
                                 QStringLiteral("\r\nThe import stopped at line %1; the rows "
                                                "before it were kept.")
                                     .arg(lines.linesRead()));
}

platform::Database openProgramDatabase() {
    return platform::Database::open(core::programFile(QStringLiteral("dbScan")));
}

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
    platform::Recordset codes =
        accsys.openRecordset(QStringLiteral("SELECT * FROM tblExclude WHERE accounting = '") +
                             db::SqlQuote(accounting) + QStringLiteral("' and Type = 'Products'"));
    for (; !codes.eof(); codes.moveNext()) {
        const QString code = platform::toText(codes.value(QStringLiteral("Code"))).toLower();
        if (!result.excluded.contains(code)) // the first row of a code decides, as a search would
            result.excluded.insert(code, platform::toBool(codes.value(QStringLiteral("Exclude"))));
    }
    return result;
}

} // namespace

IifColumns FindIifColumns(const IifImport& request) {
    return {column(FieldPosition(request.accounting, QStringLiteral("cmbItemScan0"),
                                 request.scanField)),
            column(ReturnFieldPosition(request.accounting, request.returnField)),
            column(FieldPosition(request.accounting, QStringLiteral("cmbItemDescrip"),
                                 request.descriptionField))};
}

ImportResult ImportIifFile(const IifImport& request, ImportProgress& progress) {
    progress.caption(QStringLiteral("Preparing To Import File..."));
    platform::Database db = platform::Database::open(db::GetDbPath());
    if (request.source.trimmed().isEmpty()) {
        platform::msgBox(QStringLiteral("Please provide an item source file"),
                         platform::Buttons::Ok, platform::Icon::Information,
                         core::shared().strAppTitle);
        return {};
    }
    TextLines lines(request.source); // the first pass: encoding and line count
    progress.range(lines.lineCount());
    db.execute(QStringLiteral("DELETE * from tblImportErrors"));
    progress.caption(QStringLiteral("Importing File..."));
    const IifColumns columns = FindIifColumns(request);

    ImportResult result;
    CodelinkWriter writer(db);
    Batches batches(db, [&writer] { writer.flush(); });
    QString line;
    try {
        while (lines.next(line)) {
            if (endsItems(line))
                break;
            if (line.left(7) == QStringLiteral("INVITEM")) {
                importIifItem(line, columns, writer, result);
                batches.rowDone();
            }
            ++result.lines;
            progress.advance(result.lines);
        }
        batches.finish();
    } catch (const platform::AppError& error) {
        stoppedAt(error, lines);
    }
    progress.caption(QStringLiteral("Done!"));
    return result;
}

ImportResult ImportDelimitedFile(const QString& source, QChar delimiter, ImportProgress& progress) {
    TextLines lines(source.trimmed());
    progress.range(lines.size());
    progress.caption(QStringLiteral("Preparing To Import File..."));
    platform::Database db = platform::Database::open(db::GetDbPath());
    progress.caption(QStringLiteral("Processing Item List"));
    db.execute(QStringLiteral("Delete From tblImportErrors"));

    ImportResult result;
    CodelinkWriter writer(db);
    Batches batches(db, [&writer] { writer.flush(); });
    QString line;
    try {
        while (lines.next(line)) {
            ++result.lines;
            importDelimitedItem(splitDelimited(line, delimiter), writer, result);
            batches.rowDone();
            progress.advance(lines.position());
        }
        batches.finish();
    } catch (const platform::AppError& error) {
        stoppedAt(error, lines);
    }
    progress.advance(lines.size());
    progress.caption(QStringLiteral("Done"));
    return result;
}

ImportResult BuildDelimitedPreview(const QString& source, QChar delimiter,
                                   ImportProgress& progress) {
    TextLines lines(source.trimmed());
    progress.range(lines.size());
    progress.caption(QStringLiteral("Preparing To Import File..."));
    platform::Database db = openProgramDatabase();
    progress.caption(QStringLiteral("Processing Item List"));
    db.execute(QStringLiteral("Delete From tblPreview"));
    PreviewWriter preview(db);

    ImportResult result;
    QString line;
    while (lines.next(line)) {
        ++result.lines;
        const DelimitedItem item = splitDelimited(line, delimiter);
        if (!item.scan.isEmpty() && !item.returnValue.isEmpty() && item.scan != item.returnValue) {
            preview.put(item.scan, item.returnValue);
            ++result.written;
        }
        progress.advance(lines.position());
    }
    preview.finish();
    progress.advance(lines.size());
    progress.caption(QStringLiteral("Done"));
    return result;
}

ImportResult BuildIifPreview(const IifImport& request, ImportProgress& progress) {
    platform::Database db = openProgramDatabase();
    TextLines lines(request.source);
    progress.range(lines.lineCount());
    progress.caption(QStringLiteral("Loading Import File for Preview"));
    db.execute(QStringLiteral("DELETE * from tblPreview"));
    const IifColumns columns = FindIifColumns(request);
    const Exclusions exclusions = readExclusions(request.accounting);
    PreviewWriter preview(db);

    ImportResult result;
    QString line;
    while (lines.next(line)) {
        if (endsItems(line))
            break;
        ++result.lines;
        progress.advance(result.lines);
        if (line.startsWith(u'!'))
            continue;
        const IifItem item = cutIifItem(line, columns);
        const QString type = GetImportField(line, exclusions.location, kTab).toLower();
        if (item.scan == kBlankMarker || !hasText(item.scan) ||
            exclusions.excluded.value(type, false))
            continue;
        preview.put(item.scan, item.returnValue.isEmpty() ? kBlank : item.returnValue);
        ++result.written;
    }
    preview.finish();
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
        db.prepare(QStringLiteral("SELECT ReturnValue, ScanValue, Descrip FROM tblCodelink"));
    if (!file.open(QIODevice::WriteOnly))
        throw cannotWrite();
    qint64 count = 0;
    QByteArray line;
    while (rows->next()) {
        line = rows->text(0).toUtf8() + '\t' + rows->text(1).toUtf8() + '\t' +
               rows->text(2).toUtf8() + "\r\n";
        file.write(line);
        ++count;
    }
    if (!file.commit())
        throw cannotWrite();
    return count;
}

} // namespace import
