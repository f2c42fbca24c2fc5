#pragma once

namespace platform {
class Database;
}

namespace db {

// One write transaction on a database for the lifetime of the object: it takes the write lock at
// once (so a file that another program keeps busy fails before anything is written), and rolls
// back unless commit() was reached, so a failure between two tables leaves neither changed.
class WriteTransaction {
public:
    explicit WriteTransaction(platform::Database& database);
    ~WriteTransaction();
    WriteTransaction(const WriteTransaction&) = delete;
    WriteTransaction& operator=(const WriteTransaction&) = delete;

    void commit();

private:
    platform::Database& database_;
    bool open_ = false;
};

} // namespace db
