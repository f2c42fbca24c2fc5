#include "bench_support.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstring>
#include <sqlite3.h>
#include <stdexcept>

namespace bench {

std::string scanCode(long long i) {
    char code[32];
    // A multiplier coprime to 10^12 scatters the codes over the key space like real ones.
    std::snprintf(code, sizeof code, "%012lld", (i * 7919LL + 12345LL) % 1000000000000LL);
    return code;
}

namespace {

void check(int rc, sqlite3* db, const char* what) {
    if (rc != SQLITE_OK && rc != SQLITE_DONE && rc != SQLITE_ROW)
        throw std::runtime_error(std::string(what) + ": " + sqlite3_errmsg(db));
}

void fillCodelink(const QString& file, long long rows) {
    sqlite3* db = nullptr;
    check(sqlite3_open(file.toUtf8().constData(), &db), db, "open");
    check(sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr), db, "begin");
    sqlite3_stmt* insert = nullptr;
    check(sqlite3_prepare_v2(db,
                             "INSERT INTO tblCodelink (ScanValue, ReturnValue, Descrip, Unit) "
                             "VALUES (?, ?, ?, ?)",
                             -1, &insert, nullptr),
          db, "prepare");
    for (long long i = 0; i < rows; ++i) {
        const std::string scan = scanCode(i);
        const std::string item = "ITEM-" + std::to_string(i);
        const std::string description =
            "Widget " + std::to_string(i % 977) + " size " + std::to_string(i % 13) + " blue";
        sqlite3_bind_text(insert, 1, scan.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, item.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 3, description.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(insert, 4, static_cast<double>(1 + i % 12));
        check(sqlite3_step(insert), db, "insert");
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    check(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), db, "commit");
    sqlite3_close(db);
}

} // namespace

void makeProgramFolder(const QString& folder, long long rows) {
    QDir().mkpath(folder);
    for (const char* name : {"dbscan.mdb", "accsys.mdb", "CmdKeys.mdb", "transltr.ini"}) {
        const QString target = QDir(folder).filePath(name);
        QFile::remove(target);
        if (!QFile::copy(QDir(QStringLiteral(ORVANE_SHIPPED_DIR)).filePath(name), target))
            throw std::runtime_error("cannot copy the shipped files");
        QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
    }
    fillCodelink(QDir(folder).filePath("dbscan.mdb"), rows);
}

double statusMegabytes(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(static_cast<qsizetype>(std::strlen(field)))
                       .trimmed()
                       .split(' ')
                       .value(0)
                       .toDouble() /
                   1024.0;
    }
    return 0;
}

} // namespace bench
