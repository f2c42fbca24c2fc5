#pragma once
// How the imports write: transactions of a few thousand rows, and the statements that put pairs
// into tblCodelink and rows into tblImportErrors, prepared once.

#include "platform/database.h"

#include <QString>

#include <functional>
#include <memory>

namespace import {

inline constexpr int kBatchRows = 20000;

// Transactions of kBatchRows rows. Whatever is open is committed when the object goes, also when
// a failure ends the import, so that the rows written before the failure stay. beforeCommit sends
// what the writers still hold.
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
        if (++rows_ % kBatchRows == 0) {
            commit();
            begin();
        }
    }
    void finish() { commit(); }

private:
    void begin() {
        db_.execute(QStringLiteral("BEGIN IMMEDIATE"));
        open_ = true;
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
    bool open_ = false;
};

// How an import writes: pairs into tblCodelink (a scan value's row is replaced), rows into
// tblImportErrors. Pairs may be held by the engine until flush(); the other operations send them
// first, so that they see them.
class CodelinkWriter {
public:
    explicit CodelinkWriter(platform::Database& db)
        : db_(db)
        , pairs_(db.rowWriter(QStringLiteral("tblCodelink"),
                              {QStringLiteral("ScanValue"), QStringLiteral("ReturnValue"),
                               QStringLiteral("Descrip"), QStringLiteral("Unit")},
                              QStringLiteral("ScanValue")))
        , errors_(db.rowWriter(QStringLiteral("tblImportErrors"),
                               {QStringLiteral("ErrorDescription"), QStringLiteral("ScanCode"),
                                QStringLiteral("ReturnCode"), QStringLiteral("Unit")}))
        , overwrite_(db.prepare(
              QStringLiteral("UPDATE tblCodelink SET ScanValue = ?1, ReturnValue = ?2, Descrip = "
                             "?3, Unit = 1 WHERE ScanValue = ?1"))) {}

    // Adds the pair, or overwrites the row of its scan value (compared without regard to case).
    void put(const QString& scan, const QString& returnValue, const QString& description) {
        pairs_->put({scan, returnValue, description, 1});
    }
    // Overwrites the row of the scan value; false when there is none.
    bool overwrite(const QString& scan, const QString& returnValue, const QString& description) {
        pairs_->flush();
        overwrite_->bindText(1, scan);
        overwrite_->bindText(2, returnValue);
        overwrite_->bindText(3, description);
        overwrite_->run();
        return overwrite_->changes() > 0;
    }
    void error(const QString& description, const QString& scan, const QString& returnValue) {
        errors_->put({description, scan, returnValue, 1});
    }
    // Runs a statement of the import's own (a deletion) after the pairs held so far.
    int execute(const QString& sql) {
        pairs_->flush();
        return db_.execute(sql);
    }
    void flush() {
        pairs_->flush();
        errors_->flush();
    }

private:
    platform::Database& db_;
    std::unique_ptr<platform::RowWriter> pairs_;
    std::unique_ptr<platform::RowWriter> errors_;
    std::unique_ptr<platform::Statement> overwrite_;
};

} // namespace import
