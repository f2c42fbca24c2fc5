#include "import/accounting.h"

#include "core/program_folder.h"
#include "import/import_field.h"
#include "import/text_lines.h"
#include "platform/app_error.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/jet_sql.h"

namespace import {

namespace {

platform::Database openDefinitions() {
    return platform::Database::open(core::programFile(QStringLiteral("accsys.mdb")));
}

bool flag(const platform::Recordset& row, int field) {
    return !platform::isNull(row.value(field)) && platform::toBool(row.value(field));
}

int firstPosition(const QString& sql) {
    platform::Database accsys = openDefinitions();
    platform::Recordset row = accsys.openRecordset(sql);
    return row.eof() ? 0 : row.value(QStringLiteral("Position")).toInt();
}

} // namespace

AccountingFlags ReadAccountingFlags(const QString& accounting) {
    platform::Database accsys = openDefinitions();
    platform::Recordset row = accsys.openRecordset(
        QStringLiteral("SELECT tblAccounting.UseQBSDK, tblAccounting.UseIFF, tblAccounting.UseTDF, "
                       "tblAccounting.UseCSV, tblAccounting.Country, tblAccounting.UseQBSDK7 From "
                       "tblAccounting WHERE (((tblAccounting.Accounting)='") +
        platform::SqlQuote(accounting) + QStringLiteral("'));"));
    AccountingFlags flags;
    if (row.eof())
        return flags;
    flags = {flag(row, 0),
             flag(row, 1),
             flag(row, 2),
             flag(row, 3),
             platform::isNull(row.value(4)) ? QString() : platform::toText(row.value(4)),
             flag(row, 5)};
    return flags;
}

AccountingFlags ReadSourceFlags(const QString& accounting) {
    platform::Database accsys = openDefinitions();
    platform::Recordset row = accsys.openRecordset(
        QStringLiteral("SELECT tblAccounting.UseQBSDK, tblAccounting.UseIFF, tblAccounting.UseTDF, "
                       "tblAccounting.UseCSV From tblAccounting WHERE "
                       "(((tblAccounting.Accounting)='") +
        platform::SqlQuote(accounting) + QStringLiteral("'));"));
    AccountingFlags flags;
    if (!row.eof())
        flags = {flag(row, 0), flag(row, 1), flag(row, 2), flag(row, 3), QString(), false};
    return flags;
}

int SourceKindOf(const QString& path, const AccountingFlags& flags) {
    const QString extension = path.right(4).toLower();
    if (extension == QStringLiteral(".qbw") && flags.UseQBSDK)
        return kCompanyFile;
    if (extension == QStringLiteral(".iif") && flags.UseIFF)
        return kIif;
    if (extension == QStringLiteral(".txt") && flags.UseTDF)
        return kTabDelimited;
    if (extension == QStringLiteral(".csv") && flags.UseCSV)
        return kCommaSeparated;
    return kNotValid;
}

QString SourceFileFilter(const AccountingFlags& flags) {
    QString filter = QStringLiteral("All Files (*.*)|*.*");
    if (flags.UseQBSDK)
        filter += QStringLiteral("|QuickBooks Company File(*.qbw)|*.QBW ");
    if (flags.UseIFF)
        filter += QStringLiteral("|IIF File(*.iif)|*.IIF");
    if (flags.UseTDF)
        filter += QStringLiteral("|Tab Delimited File(*.txt)|*.TXT");
    if (flags.UseCSV)
        filter += QStringLiteral("|Comma Separated Values File(*.csv)|*.CSV");
    return filter;
}

bool IsIifItemExport(const QString& path, const QString& accounting) {
    if (accounting == QStringLiteral("Peachtree"))
        return true;
    TextLines lines(path);
    QString line;
    for (int number = 1; number <= 3; ++number) {
        if (!lines.next(line))
            return true; // fewer than three lines
    }
    return line.startsWith(QStringLiteral("!CUSTITEMDICT"));
}

FieldChoices ReadFieldChoices(const QString& accounting, const QString& control) {
    platform::Database accsys = openDefinitions();
    platform::Recordset rows = accsys.openRecordset(
        QStringLiteral("SELECT * FROM tblImport WHERE (tblImport.Accounting = '") +
        platform::SqlQuote(accounting) + QStringLiteral("' and tblImport.Control = '") +
        platform::SqlQuote(control) + QStringLiteral("');"));
    FieldChoices choices;
    for (; !rows.eof(); rows.moveNext()) {
        const QString field = platform::toText(rows.value(QStringLiteral("Field")));
        choices.fields << field;
        const QVariant isDefault = rows.value(QStringLiteral("default"));
        if (!platform::isNull(isDefault) && platform::toBool(isDefault))
            choices.defaultField = field;
    }
    return choices;
}

QStringList ReadReturnFields(const QString& accounting) {
    QStringList fields = ReadFieldChoices(accounting, QStringLiteral("cmbItemScan0")).fields;
    for (const QString& field :
         ReadFieldChoices(accounting, QStringLiteral("cmbItemDescrip")).fields) {
        if (!fields.contains(field, Qt::CaseInsensitive))
            fields << field;
    }
    return fields;
}

FieldLabels ReadCustomFieldLabels(const QString& path) {
    // The dictionary comes before the items; a file that has none is not read to its end.
    constexpr int kHeadingLines = 200;
    FieldLabels labels;
    try {
        TextLines lines(path, TextLines::FirstPass::Head);
        if (lines.binary())
            return labels;
        qsizetype indexColumn = 1;
        qsizetype labelColumn = 2;
        LineFields fields;
        QString line;
        for (int read = 0; read < kHeadingLines && lines.next(line); ++read) {
            fields.cut(line, u'\t');
            const QString keyword = fields.field(0);
            if (keyword.startsWith(QStringLiteral("INVITEM")) ||
                keyword.startsWith(QStringLiteral("!INVITEM")))
                break;
            if (keyword == QStringLiteral("!CUSTITEMDICT")) {
                for (qsizetype i = 1; i < fields.size(); ++i) {
                    if (fields.field(i).compare(QStringLiteral("INDEX"), Qt::CaseInsensitive) == 0)
                        indexColumn = i;
                    else if (fields.field(i).compare(QStringLiteral("LABEL"),
                                                     Qt::CaseInsensitive) == 0)
                        labelColumn = i;
                }
            } else if (keyword == QStringLiteral("CUSTITEMDICT")) {
                bool number = false;
                const int index = fields.field(indexColumn).toInt(&number);
                const QString label = fields.field(labelColumn).trimmed();
                if (number && index >= 0 && !label.isEmpty())
                    labels.insert(QStringLiteral("Custom Field %1").arg(index + 1), label);
            }
        }
    } catch (const platform::AppError&) {
        // An unreadable file has no labels; reading it for the import says what is wrong.
    }
    return labels;
}

QString FieldDisplayName(const QString& field, const FieldLabels& labels) {
    const auto label = labels.constFind(field);
    return label == labels.cend() ? field : field + QStringLiteral(" (") + *label + u')';
}

QString ResolveField(const QString& text, const QStringList& fields, const FieldLabels& labels) {
    const QString wanted = text.trimmed();
    const auto same = [&](const QString& name) {
        return name.compare(wanted, Qt::CaseInsensitive) == 0;
    };
    for (const QString& field : fields) {
        if (same(field) || same(FieldDisplayName(field, labels)) ||
            (labels.contains(field) && same(labels.value(field))))
            return field;
    }
    return {};
}

int FieldPosition(const QString& accounting, const QString& control, const QString& field) {
    return firstPosition(
        QStringLiteral("SELECT Position from tblImport where (tblImport.Accounting = '") +
        platform::SqlQuote(accounting) + QStringLiteral("' and tblImport.Control = '") +
        platform::SqlQuote(control) + QStringLiteral("' and tblImport.Field = '") +
        platform::SqlQuote(field) + QStringLiteral("');"));
}

int ReturnFieldPosition(const QString& accounting, const QString& field) {
    return firstPosition(
        QStringLiteral("SELECT Position from tblImport where (tblImport.Accounting = '") +
        platform::SqlQuote(accounting) + QStringLiteral("' and tblImport.Field = '") +
        platform::SqlQuote(field) + QStringLiteral("');"));
}

} // namespace import
