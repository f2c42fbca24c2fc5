#pragma once

#include <QString>
#include <QStringView>
#include <QVariant>

namespace platform {

// A statement prepared once and run many times (Database::prepare): imports, paging. Parameters
// "?1", "?2" ... are bound by number. next() steps: true while a row is there, false when the
// statement is done, after which it can be bound and run again. A failure throws AppError.
class Statement {
public:
    virtual ~Statement() = default;

    virtual void bind(int index, const QVariant& value) = 0;
    virtual void bindText(int index, QStringView value) = 0;
    virtual void bindNumber(int index, double value) = 0;
    virtual void bindNull(int index) = 0;

    virtual bool next() = 0;
    // Runs a statement that gives no rows.
    void run() {
        while (next()) {
        }
    }
    virtual void reset() = 0;

    virtual int columnCount() const = 0;
    virtual QVariant value(int column) const = 0;
    virtual qint64 int64(int column) const = 0;
    virtual QString text(int column) const = 0;
    virtual bool isNull(int column) const = 0;
    // Rows changed by the last run of a statement that changes rows.
    virtual int changes() const = 0;
};

} // namespace platform
