#pragma once

#include <QString>

namespace db {

// The grid of the data entry window as the editing rules see it. Rows are numbered as the
// window's users and the rules know them: row 0 is the heading row, data rows run from 1 to
// dataRows(). Column 0 holds the scan value, column 1 the return value.
class CodelinkGrid {
public:
    virtual ~CodelinkGrid() = default;

    virtual int dataRows() const = 0;
    // The selected data row; 0 when the grid has no data rows.
    virtual int currentRow() const = 0;
    virtual QString text(int row, int column) const = 0;
    virtual void setText(int row, int column, const QString& text) = 0;
    virtual void appendRow(const QString& scan, const QString& ret) = 0;
    virtual void removeRow(int row) = 0;

    // The first data row other than skipRow whose scan value is scan, compared as the table's
    // key compares (without regard to case); 0 when there is none.
    virtual int findScan(const QString& scan, int skipRow) const = 0;
    // The first data row holding exactly this pair (letter case included); 0 when there is none.
    virtual int findPair(const QString& scan, const QString& ret) const = 0;
};

// Whether two grid texts are the same value. The translation tables compare their text columns
// without regard to ASCII case (a scan of "abc" finds "ABC"), so the grid's tests do the same:
// a value the table would take for a duplicate must be refused as one before anything is
// written.
inline bool sameText(const QString& a, const QString& b) {
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        const char16_t x = a[i].unicode();
        const char16_t y = b[i].unicode();
        if (x == y)
            continue;
        const auto lower = [](char16_t c) {
            return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
        };
        if (lower(x) != lower(y))
            return false;
    }
    return true;
}

} // namespace db
