#include "db/codelink_model.h"

#include "platform/app_error.h"
#include "platform/database.h"

#include <QTimer>

#include <algorithm>

namespace db {

namespace {

// Paging runs while the view paints: a page that another program keeps locked is shown blank
// after a short wait and read again a moment later, instead of freezing the window for the
// full lock timeout on every repaint.
constexpr int kPagingBusyTimeoutMs = 100;
constexpr int kRetryUnreadableMs = 1000;
constexpr int kCachedRows = 16 * 1024;

// The lock wait of a connection for the duration of one piece of work.
class LockWait {
public:
    LockWait(platform::Database& database, int during, int after)
        : database_(database)
        , after_(after) {
        database_.setLockWait(during);
    }
    ~LockWait() {
        try {
            database_.setLockWait(after_);
        } catch (...) {
            // A connection that went away waits for nothing any more.
        }
    }
    LockWait(const LockWait&) = delete;
    LockWait& operator=(const LockWait&) = delete;

private:
    platform::Database& database_;
    int after_;
};

QString unitText(const platform::Statement& row, int column) {
    if (row.isNull(column))
        return QStringLiteral("0");
    return row.value(column).toString();
}

QString descriptionText(const platform::Statement& row, int column) {
    return row.isNull(column) ? QStringLiteral(" ") : row.text(column);
}

} // namespace

CodelinkModel::CodelinkModel(QObject* parent)
    : QAbstractTableModel(parent)
    , selection_(this)
    , cache_(kCachedRows) {}

CodelinkModel::~CodelinkModel() {
    closeReader();
}

// --- reading the table ---------------------------------------------------------------------

void CodelinkModel::openReader(const QString& databaseFile) {
    closeReader();
    auto reader = std::make_unique<platform::Database>(platform::Database::open(databaseFile));
    // The grid only reads; the engine refuses any write through this connection.
    reader->makeReadOnly();
    // Preparing the page query now makes a table without the listed fields fail here, where
    // the caller can report it, rather than while the view paints.
    const QString id = reader->rowIdColumn();
    pageQuery_ = reader->prepare(QStringLiteral("SELECT %1, ScanValue, ReturnValue, Unit, Descrip "
                                                "FROM tblCodelink WHERE %1 BETWEEN ?1 AND ?2 "
                                                "ORDER BY %1")
                                     .arg(id));
    reader->setLockWait(kPagingBusyTimeoutMs);
    file_ = reader->path();
    reader_ = std::move(reader);
}

void CodelinkModel::closeReader() {
    pageQuery_.reset();
    reader_.reset();
}

// "SELECT * from tblCodelink" lists the rows in row id order (on the server, in the order of
// their ids); ordering by row id says so explicitly and reads only the ids.
std::vector<qint64> CodelinkModel::readRowIds() const {
    const LockWait wait(*reader_, platform::Database::busyTimeoutMs(), kPagingBusyTimeoutMs);
    const auto ids = reader_->prepare(
        QStringLiteral("SELECT %1 FROM tblCodelink ORDER BY %1").arg(reader_->rowIdColumn()));
    std::vector<qint64> result;
    while (ids->next())
        result.push_back(ids->int64(0));
    return result;
}

std::vector<qint64> CodelinkModel::rowIdsWhere(const QString& condition,
                                               const QStringList& values) const {
    if (!reader_)
        return {};
    const LockWait wait(*reader_, platform::Database::busyTimeoutMs(), kPagingBusyTimeoutMs);
    const auto query = reader_->prepare(
        QStringLiteral("SELECT %1 FROM tblCodelink WHERE ").arg(reader_->rowIdColumn()) +
        condition);
    for (int i = 0; i < values.size(); ++i)
        query->bindText(i + 1, values[i]);
    std::vector<qint64> ids;
    while (query->next())
        ids.push_back(query->int64(0));
    return ids;
}

int CodelinkModel::fill(const QString& databaseFile, Layout layout) {
    openReader(databaseFile);
    const std::vector<qint64> ids = readRowIds();
    beginResetModel();
    layout_ = layout;
    cache_.clear();
    if (rows_.size() < ids.size())
        rows_.resize(ids.size());
    for (size_t i = 0; i < ids.size(); ++i)
        rows_[i] = Row{ids[i], -1};
    endResetModel();
    return static_cast<int>(ids.size());
}

// Reads the table rows of the page holding grid row index (0-based) that are not cached yet.
// When the file cannot be read just now, the rows are cached as unreadable (shown blank) and read
// again a moment later; a caller that needs the texts gets the error instead.
void CodelinkModel::loadPage(int index, bool mayThrow) const {
    const int first = index / kPageRows * kPageRows;
    const int last = std::min<int>(first + kPageRows, static_cast<int>(rows_.size())) - 1;
    std::vector<qint64> wanted;
    for (int i = first; i <= last; ++i) {
        const qint64 rowid = rows_[static_cast<size_t>(i)].rowid;
        const TableRow* cached = rowid > 0 ? cache_.object(rowid) : nullptr;
        if (rowid > 0 && (!cached || (mayThrow && !cached->readable)))
            wanted.push_back(rowid);
    }
    if (wanted.empty() || !pageQuery_)
        return;
    try {
        readRows(wanted);
    } catch (const platform::AppError&) {
        if (mayThrow)
            throw;
        for (const qint64 rowid : wanted) {
            if (!cache_.contains(rowid))
                cache_.insert(rowid, new TableRow{{}, false});
        }
        if (!retryScheduled_) {
            retryScheduled_ = true;
            QTimer::singleShot(kRetryUnreadableMs, const_cast<CodelinkModel*>(this),
                               &CodelinkModel::forgetUnreadableRows);
        }
    }
}

void CodelinkModel::readRows(const std::vector<qint64>& wanted) const {
    // Listed rows keep their row id order, so one range covers a page.
    const auto [low, high] = std::minmax_element(wanted.begin(), wanted.end());
    pageQuery_->bind(1, QVariant::fromValue(*low));
    pageQuery_->bind(2, QVariant::fromValue(*high));
    while (pageQuery_->next()) {
        auto row = std::make_unique<TableRow>();
        row->texts = {pageQuery_->text(1), pageQuery_->text(2), unitText(*pageQuery_, 3),
                      descriptionText(*pageQuery_, 4)};
        cache_.insert(pageQuery_->int64(0), row.release());
    }
    // A listed row that is no longer in the file shows as a blank row.
    for (const qint64 rowid : wanted) {
        const TableRow* cached = cache_.object(rowid);
        if (!cached || !cached->readable)
            cache_.insert(rowid, new TableRow);
    }
}

const CodelinkModel::TableRow* CodelinkModel::tableRow(int index, bool mayThrow) const {
    const qint64 rowid = rows_[static_cast<size_t>(index)].rowid;
    if (rowid <= 0)
        return nullptr;
    const TableRow* cached = cache_.object(rowid);
    if (!cached || (mayThrow && !cached->readable)) {
        loadPage(index, mayThrow);
        cached = cache_.object(rowid);
    }
    return cached;
}

// Drops the rows that could not be read and asks the view to show them again, which reads them.
void CodelinkModel::forgetUnreadableRows() {
    retryScheduled_ = false;
    const QList<qint64> keys = cache_.keys();
    for (const qint64 rowid : keys) {
        if (const TableRow* row = cache_.object(rowid); row && !row->readable)
            cache_.remove(rowid);
    }
    if (!rows_.empty())
        emit dataChanged(index(0, 0), index(static_cast<int>(rows_.size()) - 1, kColumns - 1));
}

QString CodelinkModel::cell(int index, int column, bool mayThrow) const {
    const Row& row = rows_[static_cast<size_t>(index)];
    if (row.edit >= 0) {
        if (column < 2)
            return edits_[static_cast<size_t>(row.edit)][static_cast<size_t>(column)];
        if (row.rowid <= 0)
            return {};
    }
    if (layout_ == Layout::ScanAndReturn && column >= 2)
        return {};
    const TableRow* tableRow = this->tableRow(index, mayThrow);
    return tableRow ? tableRow->texts[static_cast<size_t>(column)] : QString();
}

// --- the grid as the editing rules see it ----------------------------------------------------

const CodelinkModel::Row& CodelinkModel::rowAt(int row) const {
    if (row < 1 || row > dataRows())
        throw platform::AppError(
            platform::err::InvalidPropertyValue,
            QStringLiteral("Invalid row %1 of the translation table grid.").arg(row));
    return rows_[static_cast<size_t>(row - 1)];
}

int CodelinkModel::dataRows() const {
    return static_cast<int>(rows_.size());
}

int CodelinkModel::currentRow() const {
    const QModelIndex current = selection_.currentIndex();
    if (current.isValid())
        return current.row() + 1;
    return rows_.empty() ? 0 : 1;
}

QString CodelinkModel::text(int row, int column) const {
    rowAt(row);
    return cell(row - 1, column, true);
}

void CodelinkModel::setText(int row, int column, const QString& text) {
    if (column < 0 || column > 1)
        throw platform::AppError(platform::err::InvalidPropertyValue,
                                 QStringLiteral("Only the scan and return columns take text."));
    Row& target = const_cast<Row&>(rowAt(row));
    if (target.edit < 0) {
        edits_.push_back({cell(row - 1, 0, true), cell(row - 1, 1, true)});
        target.edit = static_cast<qint32>(edits_.size() - 1);
    }
    edits_[static_cast<size_t>(target.edit)][static_cast<size_t>(column)] = text;
    const QModelIndex changed = index(row - 1, column);
    emit dataChanged(changed, changed);
}

void CodelinkModel::appendRow(const QString& scan, const QString& ret) {
    const int position = static_cast<int>(rows_.size());
    beginInsertRows(QModelIndex(), position, position);
    edits_.push_back({scan, ret});
    rows_.push_back(Row{0, static_cast<qint32>(edits_.size() - 1)});
    endInsertRows();
}

void CodelinkModel::removeRow(int row) {
    rowAt(row);
    beginRemoveRows(QModelIndex(), row - 1, row - 1);
    rows_.erase(rows_.begin() + (row - 1));
    endRemoveRows();
}

// The grid is searched the way a walk over its rows would find them: texts typed into the grid
// are compared in memory, and rows shown from the table are found through the table's index on
// ScanValue (which compares as sameText does) instead of being read one by one.
int CodelinkModel::findScan(const QString& scan, int skipRow) const {
    const std::vector<qint64> listed = rowIdsWhere(QStringLiteral("ScanValue = ?1"), {scan});
    for (size_t i = 0; i < rows_.size(); ++i) {
        const int gridRow = static_cast<int>(i) + 1;
        const Row& row = rows_[i];
        if (gridRow == skipRow)
            continue;
        const bool matches =
            row.edit >= 0 ? sameText(edits_[static_cast<size_t>(row.edit)][0], scan)
                          : std::find(listed.begin(), listed.end(), row.rowid) != listed.end();
        if (matches)
            return gridRow;
    }
    return 0;
}

// A pair to delete is found by exactly its two texts: a pair that differs in letter case is
// another pair.
int CodelinkModel::findPair(const QString& scan, const QString& ret) const {
    const std::vector<qint64> listed = rowIdsWhere(
        reader_ ? reader_->exactText(QStringLiteral("ScanValue")) + QStringLiteral(" = ?1 AND ") +
                      reader_->exactText(QStringLiteral("ReturnValue")) + QStringLiteral(" = ?2")
                : QString(),
        {scan, ret});
    for (size_t i = 0; i < rows_.size(); ++i) {
        const Row& row = rows_[i];
        const bool matches =
            row.edit >= 0 ? edits_[static_cast<size_t>(row.edit)][0] == scan &&
                                edits_[static_cast<size_t>(row.edit)][1] == ret
                          : std::find(listed.begin(), listed.end(), row.rowid) != listed.end();
        if (matches)
            return static_cast<int>(i) + 1;
    }
    return 0;
}

// --- whole-grid operations -------------------------------------------------------------------

void CodelinkModel::clearTexts() {
    std::fill(rows_.begin(), rows_.end(), Row{});
    edits_.clear();
    headings_ = {};
    if (!rows_.empty())
        emit dataChanged(index(0, 0), index(static_cast<int>(rows_.size()) - 1, kColumns - 1));
    emit headerDataChanged(Qt::Horizontal, 0, kColumns - 1);
}

void CodelinkModel::keepRows(int gridRows) {
    const int keep = std::max(0, gridRows - 1);
    if (dataRows() <= keep)
        return;
    beginRemoveRows(QModelIndex(), keep, dataRows() - 1);
    rows_.resize(static_cast<size_t>(keep));
    endRemoveRows();
}

void CodelinkModel::setHeading(int column, const QString& text) {
    headings_.at(static_cast<size_t>(column)) = text;
    emit headerDataChanged(Qt::Horizontal, column, column);
}

QString CodelinkModel::heading(int column) const {
    return headings_.at(static_cast<size_t>(column));
}

// --- QAbstractTableModel ---------------------------------------------------------------------

int CodelinkModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : dataRows();
}

int CodelinkModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

QVariant CodelinkModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole || !index.isValid() || index.row() >= dataRows())
        return {};
    return cell(index.row(), index.column(), false);
}

QVariant CodelinkModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Horizontal && section >= 0 && section < kColumns)
        return headings_[static_cast<size_t>(section)];
    return {};
}

} // namespace db
