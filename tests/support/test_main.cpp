// Entry point of every test program: Qt needs its application object before any widget, timer
// or database connection exists.
#include "core/application.h"

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <sqlite3.h>

namespace {

// "--hold-database-locked FILE": the program plays another program that holds the database in an
// exclusive transaction (dbtest::LockingProcess), on every system alike. It says "locked" once it
// holds it and lets go when its standard input closes.
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

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--hold-database-locked") == 0)
        return holdDatabaseLocked(argv[2]);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    core::Application app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
