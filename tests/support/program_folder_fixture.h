#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace testsupport {

// Copies the shipped files into folder (which must exist).
void copyShippedFiles(const QString& folder);

// Runs ";"-separated SQL statements (SQLite dialect) on a database file through the raw SQLite API.
void runSql(const QString& databaseFile, const QString& statements);

// The rows of a query on a database file or server, each as its fields joined by separator.
QStringList rows(const QString& database, const QString& sql, QChar separator = u'|');

// Writes a file byte for byte, replacing it; returns its path.
QString writeFile(const QString& path, const QByteArray& bytes);

// A fresh copy of the shipped program folder (dbscan.mdb, accsys.mdb, CmdKeys.mdb,
// transltr.ini) in a temporary folder, made the program folder for as long as the object lives.
// The shared settings record starts zeroed.
class TempProgramFolder {
public:
    TempProgramFolder();
    ~TempProgramFolder();
    TempProgramFolder(const TempProgramFolder&) = delete;
    TempProgramFolder& operator=(const TempProgramFolder&) = delete;

    QString path() const { return dir_.path(); }
    QString file(const QString& name) const { return dir_.filePath(name); }
    void sql(const QString& name, const QString& statements) const {
        runSql(file(name), statements);
    }
    void writeIni(const QByteArray& contents) const { writeFile(file("transltr.ini"), contents); }
    // The rows of a query on the folder's dbscan.mdb.
    QStringList rows(const QString& sql) const {
        return testsupport::rows(file("dbscan.mdb"), sql);
    }

private:
    QTemporaryDir dir_;
};

// A runtime folder of the test's own while the object lives: the one-copy lock of the program
// started by the test must not meet that of a copy the developer has running.
class PrivateRuntimeFolder {
public:
    PrivateRuntimeFolder();
    ~PrivateRuntimeFolder();
    PrivateRuntimeFolder(const PrivateRuntimeFolder&) = delete;
    PrivateRuntimeFolder& operator=(const PrivateRuntimeFolder&) = delete;

    QString path() const { return dir_.path(); }

private:
    QTemporaryDir dir_;
    QByteArray previous_;
};

} // namespace testsupport
