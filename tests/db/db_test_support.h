#pragma once
// Helpers shared by the translation database tests: filling and reading back tables, a scan switch
// that records what was asked of it, and another process holding a database locked.

#include "core/scan_switch.h"
#include "platform/app_error.h"
#include "platform/database.h"
#include "support/program_folder_fixture.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QProcess>
#include <QStringList>

#include <stdexcept>
#include <vector>

namespace dbtest {

// The rows of a pair table as "scan=return", in row id order (the order the grid lists).
inline QStringList pairs(const QString& databaseFile, const QString& table) {
    return testsupport::rows(
        databaseFile,
        QStringLiteral("SELECT ScanValue, ReturnValue FROM %1 ORDER BY rowid").arg(table), u'=');
}

// An INSERT of count rows into tblCodelink; fields are the four values as SQL expressions of the
// row number i, which runs from 0.
inline QString insertRows(int count, const QString& fields) {
    return QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE "
                          "i < %1) INSERT INTO tblCodelink SELECT ")
               .arg(count - 1) +
           fields + QStringLiteral(" FROM n;");
}

inline QByteArray fileHash(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// The engine's own verdict on a file: "ok" when sound, else what it found or why it could not
// check.
inline QString integrity(const QString& databaseFile) {
    try {
        return testsupport::rows(databaseFile, QStringLiteral("PRAGMA integrity_check")).value(0);
    } catch (const platform::AppError& error) {
        return error.description();
    }
}

// The main window's scan switch as the maintenance commands see it.
class RecordingScanSwitch : public core::ScanSwitch {
public:
    explicit RecordingScanSwitch(bool on)
        : on_(on) {}
    bool scanning() const override { return on_; }
    void ScanTog(bool on) override {
        on_ = on;
        toggles.push_back(on);
    }
    std::vector<bool> toggles;

private:
    bool on_;
};

// The busy timeout for the lifetime of the object, so lock tests fail fast.
class ShortBusyTimeout {
public:
    explicit ShortBusyTimeout(int milliseconds = 300)
        : previous_(platform::Database::busyTimeoutMs()) {
        platform::Database::setBusyTimeoutMs(milliseconds);
    }
    ~ShortBusyTimeout() { platform::Database::setBusyTimeoutMs(previous_); }
    ShortBusyTimeout(const ShortBusyTimeout&) = delete;
    ShortBusyTimeout& operator=(const ShortBusyTimeout&) = delete;

private:
    int previous_;
};

// Another program holding a database file in an exclusive transaction: this test program started
// again with --hold-database-locked (see testsupport::HoldDatabaseLocked), which keeps the lock
// until its standard input closes as the object goes away.
class LockingProcess {
public:
    explicit LockingProcess(const QString& databaseFile) {
        holder_.start(QCoreApplication::applicationFilePath(),
                      {QStringLiteral("--hold-database-locked"), databaseFile});
        if (!holder_.waitForReadyRead(10000) || !holder_.readAll().startsWith("locked"))
            throw std::runtime_error("the locking process did not lock the database");
    }
    ~LockingProcess() {
        holder_.closeWriteChannel(); // it ends, and its transaction is rolled back
        if (!holder_.waitForFinished(5000))
            holder_.kill();
    }
    LockingProcess(const LockingProcess&) = delete;
    LockingProcess& operator=(const LockingProcess&) = delete;

private:
    QProcess holder_;
};

// Overwrites whole pages of a database file, starting with the page that holds marker, the way
// a failing disk damages a file.
inline void damagePagesHolding(const QString& databaseFile, const QByteArray& marker, int pages) {
    QFile file(databaseFile);
    if (!file.open(QIODevice::ReadWrite))
        throw std::runtime_error("cannot open the file to damage");
    const QByteArray bytes = file.readAll();
    const qsizetype at = bytes.indexOf(marker);
    if (at < 0)
        throw std::runtime_error("marker not found in the file");
    constexpr qsizetype kPage = 4096;
    file.seek(at / kPage * kPage);
    QByteArray garbage(kPage * pages, '\0');
    for (qsizetype i = 0; i < garbage.size(); ++i)
        garbage[i] = static_cast<char>((i * 37 + 11) % 251);
    file.write(garbage);
}

} // namespace dbtest
