#include "db/write_transaction.h"

#include "platform/database.h"

namespace db {

WriteTransaction::WriteTransaction(platform::Database& database)
    : database_(database) {
    database_.execute(QStringLiteral("BEGIN IMMEDIATE"));
    open_ = true;
}

WriteTransaction::~WriteTransaction() {
    if (!open_)
        return;
    try {
        database_.execute(QStringLiteral("ROLLBACK"));
    } catch (...) {
        // The connection closes next, which rolls back whatever is left.
    }
}

void WriteTransaction::commit() {
    database_.execute(QStringLiteral("COMMIT"));
    open_ = false;
}

} // namespace db
