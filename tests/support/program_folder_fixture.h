#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace testsupport {

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
    QString file(const QString& name) const;

    // Runs SQL statements (SQLite dialect, ";"-separated) on a file of the folder directly.
    void sql(const QString& fileName, const QString& statements) const;

    // Replaces transltr.ini with the given bytes.
    void writeIni(const QByteArray& contents) const;

private:
    QTemporaryDir dir_;
};

// Copies the shipped files into folder (which must exist).
void copyShippedFiles(const QString& folder);

// Runs ";"-separated SQL statements on a database file through the raw SQLite API.
void runSql(const QString& databaseFile, const QString& statements);

// The rows of a query on a database file or server, each as its fields joined by separator.
QStringList rows(const QString& database, const QString& sql, QChar separator = u'|');

// Writes a file byte for byte, replacing it; returns its path.
QString writeFile(const QString& path, const QByteArray& bytes);

} // namespace testsupport
