#include "support/program_folder_fixture.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "platform/database.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdexcept>

namespace testsupport {

void copyShippedFiles(const QString& folder) {
    for (const char* name : {"dbscan.mdb", "accsys.mdb", "CmdKeys.mdb", "transltr.ini"}) {
        const QString source = QDir(QStringLiteral(ORVANE_SHIPPED_DIR)).filePath(name);
        const QString target = QDir(folder).filePath(name);
        if (!QFile::copy(source, target))
            throw std::runtime_error("cannot copy " + source.toStdString());
        QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup |
                                          QFile::ReadOther);
    }
}

void runSql(const QString& databaseFile, const QString& statements) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(databaseFile.toUtf8().constData(), &db, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        sqlite3_close(db);
        throw std::runtime_error("cannot open " + databaseFile.toStdString());
    }
    char* error = nullptr;
    const int rc = sqlite3_exec(db, statements.toUtf8().constData(), nullptr, nullptr, &error);
    const std::string message = error ? error : "";
    sqlite3_free(error);
    sqlite3_close(db);
    if (rc != SQLITE_OK)
        throw std::runtime_error("SQL failed on " + databaseFile.toStdString() + ": " + message);
}

TempProgramFolder::TempProgramFolder() {
    if (!dir_.isValid())
        throw std::runtime_error("cannot make a temporary folder");
    copyShippedFiles(dir_.path());
    core::setProgramFolder(dir_.path());
    core::resetSharedState();
}

TempProgramFolder::~TempProgramFolder() {
    core::setProgramFolder(QString());
    core::resetSharedState();
}

PrivateRuntimeFolder::PrivateRuntimeFolder()
    : previous_(qgetenv("XDG_RUNTIME_DIR")) {
    QFile::setPermissions(dir_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", dir_.path().toLocal8Bit());
}

PrivateRuntimeFolder::~PrivateRuntimeFolder() {
    qputenv("XDG_RUNTIME_DIR", previous_); // empty: not set
}

QStringList rows(const QString& database, const QString& sql, QChar separator) {
    platform::Database db = platform::Database::open(database);
    QStringList result;
    for (platform::Recordset rs = db.openRecordset(sql); !rs.eof(); rs.moveNext()) {
        QStringList fields;
        for (int i = 0; i < rs.fieldCount(); ++i)
            fields << rs.value(i).toString();
        result << fields.join(separator);
    }
    return result;
}

QString writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
    return path;
}

} // namespace testsupport
