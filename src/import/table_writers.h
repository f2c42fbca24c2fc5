#pragma once
// How the imports write: transactions of a few thousand rows, and the statements that put pairs
// into tblCodelink and rows into tblImportErrors, prepared once.

#include "platform/database.h"

#include <QString>

#include <memory>

namespace import {

inline constexpr int kBatchRows = 4000;

// Transactions of kBatchRows rows. Whatever is open is committed when the object goes, also when
// a failure ends the import, so that the rows written before the failure stay.
class Batches {
public:
    explicit Batches(platform::Database& db)
        : db_(db) {
        begin();
    }
    ~Batches() {
        if (!open_)
            return;
        try {
            db_.execute(QStringLiteral("COMMIT"));
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
        open_ = false;
        db_.execute(QStringLiteral("COMMIT"));
    }

    platform::Database& db_;
    qint64 rows_ = 0;
    bool open_ = false;
};

// The statements an import writes with, prepared once.
class CodelinkWriter {
public:
    explicit CodelinkWriter(platform::Database& db)
        : put_(db.prepare(QStringLiteral(
              "INSERT INTO tblCodelink (ScanValue, ReturnValue, Descrip, Unit) VALUES (?1, ?2, ?3, "
              "1) ON CONFLICT (ScanValue) DO UPDATE SET ScanValue = excluded.ScanValue, "
              "ReturnValue = excluded.ReturnValue, Descrip = excluded.Descrip, Unit = 1")))
        , overwrite_(db.prepare(
              QStringLiteral("UPDATE tblCodelink SET ScanValue = ?1, ReturnValue = ?2, Descrip = "
                             "?3, Unit = 1 WHERE ScanValue = ?1")))
        , error_(db.prepare(QStringLiteral("INSERT INTO tblImportErrors (ErrorDescription, "
                                           "ScanCode, ReturnCode, Unit) VALUES (?1, ?2, ?3, 1)"))) {
    }

    // Adds the pair, or overwrites the row of its scan value (compared without regard to case).
    void put(const QString& scan, const QString& returnValue, const QString& description) {
        bindPair(*put_, scan, returnValue, description);
        put_->run();
    }
    // Overwrites the row of the scan value; false when there is none.
    bool overwrite(const QString& scan, const QString& returnValue, const QString& description) {
        bindPair(*overwrite_, scan, returnValue, description);
        overwrite_->run();
        return overwrite_->changes() > 0;
    }
    void error(const QString& description, const QString& scan, const QString& returnValue) {
        error_->bindText(1, description);
        error_->bindText(2, scan);
        error_->bindText(3, returnValue);
        error_->run();
    }

private:
    static void bindPair(platform::Statement& statement, const QString& scan,
                         const QString& returnValue, const QString& description) {
        statement.bindText(1, scan);
        statement.bindText(2, returnValue);
        statement.bindText(3, description);
    }

    std::unique_ptr<platform::Statement> put_;
    std::unique_ptr<platform::Statement> overwrite_;
    std::unique_ptr<platform::Statement> error_;
};

} // namespace import
