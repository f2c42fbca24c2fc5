#pragma once
// How the imports write: transactions of many rows, and the writers that put pairs into
// tblCodelink and rows into tblImportErrors.

#include "platform/database.h"

#include <QElapsedTimer>
#include <QString>

#include <functional>
#include <memory>

namespace import {

// A transaction is committed after half a second or kBatchRows rows, whichever comes first: long
// enough that a large import does not spend its time committing (each commit writes the pages its
// rows touched and waits for the disk), short enough that another workstation reading a shared
// file waits well within its busy timeout.
inline constexpr int kBatchRows = 250000;
inline constexpr qint64 kBatchMs = 500;

// Transactions of the import's rows, as above. Whatever is open is committed when the object goes,
// also when a failure ends the import, so that the rows written before the failure stay.
// beforeCommit sends what the writers still hold.
class Batches {
public:
    explicit Batches(platform::Database& db, std::function<void()> beforeCommit = {})
        : db_(db)
        , beforeCommit_(std::move(beforeCommit)) {
        begin();
    }
    ~Batches() {
        if (!open_)
            return;
        try {
            commit();
        } catch (...) {
            // The failure being reported is the one that matters; the engine rolls back.
        }
    }
    Batches(const Batches&) = delete;
    Batches& operator=(const Batches&) = delete;

    void rowDone() {
        // The clock is read now and then, not for every row.
        if (++rows_ % kRowsPerLook != 0)
            return;
        if (rows_ - batchStart_ < kBatchRows && clock_.elapsed() < kBatchMs)
            return;
        commit();
        begin();
    }
    void finish() { commit(); }

private:
    static constexpr int kRowsPerLook = 1000;

    void begin() {
        db_.execute(QStringLiteral("BEGIN IMMEDIATE"));
        open_ = true;
        batchStart_ = rows_;
        clock_.start();
    }
    void commit() {
        if (beforeCommit_)
            beforeCommit_();
        open_ = false;
        db_.execute(QStringLiteral("COMMIT"));
    }

    platform::Database& db_;
    std::function<void()> beforeCommit_;
    qint64 rows_ = 0;
    qint64 batchStart_ = 0;
    QElapsedTimer clock_;
    bool open_ = false;
};

// How an import writes: pairs into tblCodelink (a scan value's row is replaced), rows into
// tblImportErrors. Pairs may be held until flush(); the other operations send them first, so
// that they see them. A scan value that comes a second time keeps the later pair; the earlier one
// becomes an error row "Duplicate scan value (line N kept)" with its own values, N being the line
// (for a company file, the item) that is kept in the end.
class CodelinkWriter {
public:
    // what: the word the tags of the rows count ("line" for a file, "item" for a company file).
    explicit CodelinkWriter(platform::Database& db, QString what = QStringLiteral("line"))
        : db_(db)
        , what_(std::move(what))
        , errors_(db.rowWriter(QStringLiteral("tblImportErrors"),
                               {QStringLiteral("ErrorDescription"), QStringLiteral("ScanCode"),
                                QStringLiteral("ReturnCode"), QStringLiteral("Unit")}))
        , pairs_(db.keyedRowWriter(QStringLiteral("tblCodelink"),
                                   {QStringLiteral("ScanValue"), QStringLiteral("ReturnValue"),
                                    QStringLiteral("Descrip"), QStringLiteral("Unit")},
                                   QStringLiteral("ScanValue"))) {
        pairs_->onRewritten([this](const QVariantList& earlier, qint64 tag) {
            errors_->put({duplicateText(tag), earlier[0], earlier[1], earlier[3]});
            ++duplicates_;
        });
    }

    // Adds the pair, or overwrites the row of its scan value (compared without regard to case).
    void put(const QString& scan, const QString& returnValue, const QString& description,
             double unit, qint64 tag) {
        pairs_->put({scan, returnValue, description, unit}, tag);
    }
    // Overwrites the row of the scan value; false when there is none.
    bool overwrite(const QString& scan, const QString& returnValue, const QString& description,
                   double unit, qint64 tag) {
        return pairs_->replaceExisting({scan, returnValue, description, unit}, tag);
    }
    // Removes the row of the scan value; gives the rows removed.
    int remove(const QString& scan, qint64 tag) { return pairs_->remove(scan, tag); }
    void error(const QString& description, const QString& scan, const QString& returnValue,
               double unit = 1) {
        errors_->put({description, scan, returnValue, unit});
    }
    void flush() {
        pairs_->flush();
        errors_->flush();
    }
    // After the last row, before the last commit: a scan value that came three times or more
    // left error rows that each name the line that replaced them; they name the last one.
    void finish() {
        flush();
        if (duplicates_ == 0)
            return;
        // The number between the text's two fixed parts.
        const QString prefix = duplicatePrefix();
        const QString suffix = kDuplicateSuffix;
        const QString number = QStringLiteral("CAST(substr(ErrorDescription, %1, "
                                              "length(ErrorDescription) - %2) AS INTEGER)")
                                   .arg(prefix.size() + 1)
                                   .arg(prefix.size() + suffix.size());
        const auto isDuplicate = [&](const QString& table) {
            return QStringLiteral("substr(%1ErrorDescription, 1, %2) = '%3'")
                .arg(table)
                .arg(prefix.size())
                .arg(prefix);
        };
        db_.executeNative(
            QStringLiteral("UPDATE tblImportErrors SET ErrorDescription = '%1' || kept.line || "
                           "'%2' FROM (SELECT ScanCode AS code, max(%3) AS line FROM "
                           "tblImportErrors WHERE %4 GROUP BY ScanCode HAVING count(*) > 1) AS "
                           "kept WHERE tblImportErrors.ScanCode = kept.code AND %5")
                .arg(prefix, suffix, number, isDuplicate(QString()),
                     isDuplicate(QStringLiteral("tblImportErrors."))));
    }

    qint64 added() const { return pairs_->added(); }
    qint64 replaced() const { return pairs_->replaced(); }
    // Error rows written for scan values that came again.
    qint64 duplicates() const { return duplicates_; }

private:
    inline static const QString kDuplicateSuffix = QStringLiteral(" kept)");
    QString duplicatePrefix() const {
        return QStringLiteral("Duplicate scan value (%1 ").arg(what_);
    }
    QString duplicateText(qint64 kept) const {
        return duplicatePrefix() + QString::number(kept) + kDuplicateSuffix;
    }

    platform::Database& db_;
    QString what_;
    // errors_ outlives pairs_: rows that pairs_ still sends when it goes may leave error rows.
    std::unique_ptr<platform::RowWriter> errors_;
    std::unique_ptr<platform::KeyedRowWriter> pairs_;
    qint64 duplicates_ = 0;
};

} // namespace import
