// orvane-mkdb OUT.mdb SCRIPT.sql
//
// Creates a database file of the program folder from its SQL script. A file that is already
// there holds the user's data and is never touched. The new file is written under a temporary
// name and renamed into place, so an interrupted build never leaves a half-made database behind.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sqlite3.h>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

bool readFile(const fs::path& path, std::string& out) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream text;
    text << in.rdbuf();
    out = text.str();
    return true;
}

bool runScript(const fs::path& target, const std::string& script) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(target.string().c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                        nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "orvane-mkdb: cannot create %s: %s\n", target.string().c_str(),
                     sqlite3_errmsg(db));
        sqlite3_close(db);
        return false;
    }
    char* error = nullptr;
    const int rc = sqlite3_exec(db, script.c_str(), nullptr, nullptr, &error);
    if (rc != SQLITE_OK)
        std::fprintf(stderr, "orvane-mkdb: %s: %s\n", target.string().c_str(), error ? error : "?");
    sqlite3_free(error);
    return sqlite3_close(db) == SQLITE_OK && rc == SQLITE_OK;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: orvane-mkdb OUT.mdb SCRIPT.sql\n");
        return 2;
    }
    const fs::path target = argv[1];
    if (fs::exists(target))
        return 0;
    std::string script;
    if (!readFile(argv[2], script)) {
        std::fprintf(stderr, "orvane-mkdb: cannot read %s\n", argv[2]);
        return 1;
    }
    const fs::path temporary = target.string() + ".partial";
    std::error_code ignored;
    fs::remove(temporary, ignored);
    if (!runScript(temporary, script)) {
        fs::remove(temporary, ignored);
        return 1;
    }
    fs::rename(temporary, target);
    return 0;
}
