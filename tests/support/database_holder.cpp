#include "support/database_holder.h"

#include <cstdio>
#include <sqlite3.h>

namespace testsupport {

int holdDatabaseLocked(const char* file) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(file, &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK ||
        sqlite3_exec(db, "BEGIN EXCLUSIVE; SELECT count(*) FROM sqlite_master;", nullptr, nullptr,
                     nullptr) != SQLITE_OK) {
        std::fprintf(stdout, "failed: %s\n", sqlite3_errmsg(db));
        sqlite3_close(db);
        return 1;
    }
    std::fprintf(stdout, "locked\n");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    sqlite3_close(db); // rolls the transaction back
    return 0;
}

} // namespace testsupport
