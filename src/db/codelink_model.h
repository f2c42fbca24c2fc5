#pragma once

#include "db/codelink_grid.h"

#include <QAbstractTableModel>
#include <QCache>
#include <QItemSelectionModel>
#include <QString>

#include <array>
#include <memory>
#include <vector>

namespace platform {
class Database;
class Statement;
} // namespace platform

namespace db {

// The grid of the data entry window. A translation table may hold millions of rows, so the grid
// keeps only the row ids of tblCodelink in their listing order and reads row contents a page at
// a time as the view asks for them; what the user typed into the grid (added rows, changed pairs,
// cleared cells) is held in memory beside them. The grid reads through its own connection, which
// only ever reads and takes no lock between reads.
class CodelinkModel : public QAbstractTableModel, public CodelinkGrid {
    Q_OBJECT

public:
    // How rows read from the table are shown: all four fields, or the scan and return values
    // only (the Show All view).
    enum class Layout { AllFields, ScanAndReturn };
    static constexpr int kColumns = 4;

    explicit CodelinkModel(QObject* parent = nullptr);
    ~CodelinkModel() override;

    // Lists every row of tblCodelink of the database file, in the order of
    // "SELECT * from tblCodelink": rows already in the grid are overwritten in place, further
    // rows appended. Gives the number of rows listed.
    int fill(const QString& databaseFile, Layout layout);
    // Blanks every cell and heading; the number of rows stays.
    void clearTexts();
    // Removes rows from the end until gridRows rows (the heading row included) remain.
    void keepRows(int gridRows);
    void setHeading(int column, const QString& text);
    QString heading(int column) const;

    // The view shares this selection, so the grid's current row is the one the user clicked.
    QItemSelectionModel* selection() { return &selection_; }

    // CodelinkGrid
    int dataRows() const override;
    int currentRow() const override;
    QString text(int row, int column) const override;
    void setText(int row, int column, const QString& text) override;
    void appendRow(const QString& scan, const QString& ret) override;
    void removeRow(int row) override;
    int findScan(const QString& scan, int skipRow) const override;
    int findPair(const QString& scan, const QString& ret) const override;

    // QAbstractTableModel
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    // A grid row: a row of the table (rowid > 0), texts typed into the grid (edit >= 0, for the
    // scan and return columns), both (a listed row that was changed), or neither (a blank row).
    struct Row {
        qint64 rowid = 0;
        qint32 edit = -1;
    };
    struct TableRow {
        std::array<QString, kColumns> texts;
        bool readable = true;
    };
    static constexpr int kPageRows = 256;

    void openReader(const QString& databaseFile);
    void closeReader();
    std::vector<qint64> readRowIds() const;
    std::vector<qint64> rowIdsWhere(const QString& condition, const QStringList& values) const;
    const Row& rowAt(int row) const;
    QString cell(int index, int column, bool mayThrow) const;
    const TableRow* tableRow(int index, bool mayThrow) const;
    void loadPage(int index, bool mayThrow) const;
    void readRows(const std::vector<qint64>& wanted) const;
    void forgetUnreadableRows();

    QItemSelectionModel selection_;
    std::unique_ptr<platform::Database> reader_;
    std::unique_ptr<platform::Statement> pageQuery_;
    QString file_;
    Layout layout_ = Layout::AllFields;
    std::array<QString, kColumns> headings_;
    std::vector<Row> rows_;
    std::vector<std::array<QString, 2>> edits_;
    mutable QCache<qint64, TableRow> cache_;
    mutable bool retryScheduled_ = false;
};

} // namespace db
