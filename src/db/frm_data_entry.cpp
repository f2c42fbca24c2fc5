#include "db/frm_data_entry.h"

#include "db/codelink_model.h"
#include "db/db_path.h"
#include "db/progress_window.h"
#include "db/write_transaction.h"
#include "platform/busy_cursor.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/widgets.h"

#include <QAction>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include <cmath>
#include <memory>

namespace db {

using platform::named;

namespace {

const QString kTranslationTable = QStringLiteral("Translation Table");
const QString kShowAll = QStringLiteral("&Show All");
const QString kShowManual = QStringLiteral("&Show Manual");

QPointer<frmDataEntry>& openWindow() {
    static QPointer<frmDataEntry> window;
    return window;
}

} // namespace

frmDataEntry* frmDataEntry::showWindow(QWidget* parent) {
    return platform::showSingleWindow(openWindow(), [parent] {
        auto window = std::make_unique<frmDataEntry>(parent);
        window->load();
        return window;
    });
}

frmDataEntry::frmDataEntry(QWidget* parent)
    : QWidget(parent, Qt::Window)
    , codelinks_(new CodelinkModel(this)) {
    setObjectName(QStringLiteral("frmDataEntry"));
    setWindowTitle(QStringLiteral("Orvane Translation Table Data"));
    buildControls();
    connectControls();
    resize(760, 540);
}

frmDataEntry::~frmDataEntry() = default;

void frmDataEntry::buildControls() {
    menuBar_ = new QMenuBar(this);
    mnuFile = named(menuBar_->addMenu(QStringLiteral("&File")), "mnuFile");
    mnuFDltAll = named(mnuFile->addAction(QStringLiteral("Delete A&ll")), "mnuFDltAll");
    mnuFClose = named(mnuFile->addAction(QStringLiteral("Cl&ose")), "mnuFClose");

    fraDatEnt = named(new QGroupBox(kTranslationTable, this), "fraDatEnt");
    MSFlexGrid1 = named(new QTableView(fraDatEnt), "MSFlexGrid1");
    MSFlexGrid1->setModel(codelinks_);
    MSFlexGrid1->setSelectionModel(codelinks_->selection());
    MSFlexGrid1->setSelectionBehavior(QAbstractItemView::SelectRows);
    MSFlexGrid1->setSelectionMode(QAbstractItemView::SingleSelection);
    MSFlexGrid1->setEditTriggers(QAbstractItemView::NoEditTriggers);
    MSFlexGrid1->setWordWrap(false);
    MSFlexGrid1->verticalHeader()->hide();
    // Fixed row heights let the view place a million rows without asking for their contents.
    MSFlexGrid1->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    MSFlexGrid1->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    MSFlexGrid1->horizontalHeader()->setHighlightSections(false);
    MSFlexGrid1->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);

    Label1 = named(new QLabel(QStringLiteral("Total Records:"), fraDatEnt), "Label1");
    txtNumRec = named(new QLineEdit(fraDatEnt), "txtNumRec");
    txtNumRec->setReadOnly(true);
    txtNumRec->setMaximumWidth(120);
    auto* frameLayout = new QVBoxLayout(fraDatEnt);
    frameLayout->addWidget(MSFlexGrid1, 1);
    auto* countRow = new QHBoxLayout;
    countRow->addWidget(Label1);
    countRow->addWidget(txtNumRec);
    countRow->addStretch(1);
    frameLayout->addLayout(countRow);

    lblScan = named(new QLabel(QStringLiteral("Scan Code"), this), "lblScan");
    txtScan = named(new QLineEdit(this), "txtScan");
    lblRet = named(new QLabel(QStringLiteral("Return Code"), this), "lblRet");
    txtRet = named(new QLineEdit(this), "txtRet");
    auto* boxes = new QGridLayout;
    boxes->addWidget(lblScan, 0, 0);
    boxes->addWidget(txtScan, 0, 1);
    boxes->addWidget(lblRet, 1, 0);
    boxes->addWidget(txtRet, 1, 1);

    cmdAdd = named(new QPushButton(QStringLiteral("&Add"), this), "cmdAdd");
    cmdChgData = named(new QPushButton(QStringLiteral("&Change"), this), "cmdChgData");
    cmdDltData = named(new QPushButton(QStringLiteral("&Delete"), this), "cmdDltData");
    cmdAddIn = named(new QPushButton(QStringLiteral("Add In"), this), "cmdAddIn");
    cmdShowAll = named(new QPushButton(kShowAll, this), "cmdShowAll");
    cmdDltAll = named(new QPushButton(QStringLiteral("Delete A&LL"), this), "cmdDltAll");
    cmdExit = named(new QPushButton(QStringLiteral("Cl&ose"), this), "cmdExit");
    auto* buttons = new QGridLayout;
    buttons->addWidget(cmdAdd, 0, 0);
    buttons->addWidget(cmdChgData, 0, 1);
    buttons->addWidget(cmdDltData, 0, 2);
    buttons->addWidget(cmdAddIn, 1, 0);
    buttons->addWidget(cmdShowAll, 1, 1);
    buttons->addWidget(cmdDltAll, 1, 2);
    buttons->addWidget(cmdExit, 1, 3);

    auto* editRow = new QHBoxLayout;
    editRow->addLayout(boxes, 1);
    editRow->addSpacing(16);
    editRow->addLayout(buttons);

    auto* layout = new QVBoxLayout(this);
    layout->setMenuBar(menuBar_);
    layout->addWidget(fraDatEnt, 1);
    layout->addLayout(editRow);
}

void frmDataEntry::connectControls() {
    using platform::guarded;
    connect(cmdAdd, &QPushButton::clicked, this, guarded([this] { cmdAdd_Click(); }));
    connect(cmdChgData, &QPushButton::clicked, this, guarded([this] { cmdChgData_Click(); }));
    connect(cmdDltData, &QPushButton::clicked, this, guarded([this] { cmdDltData_Click(); }));
    connect(cmdAddIn, &QPushButton::clicked, this, guarded([this] { cmdAddIn_Click(); }));
    connect(cmdShowAll, &QPushButton::clicked, this, guarded([this] { cmdShowAll_Click(); }));
    connect(cmdDltAll, &QPushButton::clicked, this, guarded([this] { cmdDltAll_Click(); }));
    connect(cmdExit, &QPushButton::clicked, this, [this] { close(); });
    // Each File menu entry runs the button with the same caption.
    connect(mnuFDltAll, &QAction::triggered, cmdDltAll, &QPushButton::click);
    connect(mnuFClose, &QAction::triggered, cmdExit, &QPushButton::click);
    connect(MSFlexGrid1, &QTableView::clicked, this, guarded([this] { MSFlexGrid1_Click(); }));
}

void frmDataEntry::load() {
    const platform::BusyCursor busy;
    FillCodelinkGrid(true);
    setColumnWidths();
    txtScan->clear();
    txtRet->clear();
}

// Widths follow the grid's width W: 0.46 W / 2 for scan values, 0.458 W / 2 for return values,
// the unit column present but hidden, W / 2 for the description.
void frmDataEntry::setColumnWidths() {
    // The window has its size before it is first shown; laying it out now gives the grid its
    // width.
    layout()->activate();
    fraDatEnt->layout()->activate();
    const double width = MSFlexGrid1->width();
    QHeaderView* header = MSFlexGrid1->horizontalHeader();
    header->resizeSection(0, static_cast<int>(std::lround(width * 0.46 / 2)));
    header->resizeSection(1, static_cast<int>(std::lround(width * 0.458 / 2)));
    header->resizeSection(2, 0);
    MSFlexGrid1->setColumnHidden(2, true);
    header->resizeSection(3, static_cast<int>(std::lround(width / 2)));
}

void frmDataEntry::FillCodelinkGrid(bool opening) {
    const platform::BusyCursor busy;
    const ProgressWindow progress(opening ? QStringLiteral("Opening Translation Table...")
                                          : QStringLiteral("Updating Translation Table..."),
                                  this);
    const QString file = GetDbPath();
    codelinks_->setHeading(0, QStringLiteral("Scan Value"));
    codelinks_->setHeading(1, QStringLiteral("Return Value"));
    codelinks_->setHeading(2, QStringLiteral("Unit of Measure"));
    codelinks_->setHeading(3, QStringLiteral("Description"));
    const int count = codelinks_->fill(file, CodelinkModel::Layout::AllFields);
    txtNumRec->setText(QString::number(count));
}

// --- PairEditor ------------------------------------------------------------------------------

QString frmDataEntry::scanText() const {
    return txtScan->text();
}

QString frmDataEntry::returnText() const {
    return txtRet->text();
}

void frmDataEntry::setScanText(const QString& text) {
    txtScan->setText(text);
}

void frmDataEntry::setReturnText(const QString& text) {
    txtRet->setText(text);
}

void frmDataEntry::focusScan() {
    txtScan->setFocus();
}

void frmDataEntry::focusReturn() {
    txtRet->setFocus();
}

CodelinkGrid& frmDataEntry::grid() {
    return *codelinks_;
}

// --- handlers --------------------------------------------------------------------------------

void frmDataEntry::cmdAdd_Click() {
    const platform::BusyCursor busy;
    if (UpdateCodelink(QStringLiteral("add"), *this) > -1) {
        txtScan->clear();
        txtRet->clear();
        txtScan->setFocus();
    }
}

void frmDataEntry::cmdChgData_Click() {
    const platform::BusyCursor busy;
    if (UpdateCodelink(QStringLiteral("chg"), *this) > -1) {
        txtScan->clear();
        txtRet->clear();
    }
}

void frmDataEntry::cmdDltData_Click() {
    const platform::BusyCursor busy;
    UpdateCodelink(QStringLiteral("dlt"), *this);
}

void frmDataEntry::MSFlexGrid1_Click() {
    const int row = codelinks_->currentRow();
    if (row < 1)
        return;
    txtScan->setText(codelinks_->text(row, 0));
    txtRet->setText(codelinks_->text(row, 1));
}

// Hand-made entries go back into the translation table where their scan value is missing; a
// scan value already there keeps its present return value. The grid is not refilled.
void frmDataEntry::cmdAddIn_Click() {
    const platform::BusyCursor busy;
    platform::Database database = platform::Database::open(GetDbPath());
    platform::Recordset manual = database.openRecordset(QStringLiteral("tblManual"));
    if (manual.recordCount() == 0)
        return;
    WriteTransaction transaction(database);
    platform::Table codes = database.openTable(QStringLiteral("tblCodelink"));
    codes.setIndex(QStringLiteral("PrimaryKey"));
    bool codesEmpty = codes.recordCount() == 0;
    for (manual.moveFirst(); !manual.eof(); manual.moveNext()) {
        const QVariant scan = manual.value(QStringLiteral("ScanValue"));
        if (!codesEmpty) {
            codes.seek(scan);
            if (!codes.noMatch())
                continue;
        }
        codes.addNew();
        codes.setValue(QStringLiteral("ScanValue"), scan);
        codes.setValue(QStringLiteral("ReturnValue"), manual.value(QStringLiteral("ReturnValue")));
        codes.update();
        codesEmpty = false;
    }
    transaction.commit();
}

// Both views list tblCodelink; the frame caption set here is what later decides which table
// Delete ALL empties.
void frmDataEntry::cmdShowAll_Click() {
    const platform::BusyCursor busy;
    if (cmdShowAll->text() == kShowAll) {
        cmdShowAll->setText(kShowManual);
        fraDatEnt->setTitle(QStringLiteral("All Entries"));
        cmdDltData->setEnabled(false);
        cmdChgData->setEnabled(false);
        codelinks_->clearTexts();
        codelinks_->setHeading(0, QStringLiteral("Scan"));
        codelinks_->setHeading(1, QStringLiteral("Return"));
        codelinks_->fill(GetDbPath(), CodelinkModel::Layout::ScanAndReturn);
        return;
    }
    cmdShowAll->setText(kShowAll);
    fraDatEnt->setTitle(QStringLiteral("Manual Entry"));
    cmdDltData->setEnabled(true);
    cmdChgData->setEnabled(true);
    codelinks_->clearTexts();
    codelinks_->keepRows(2);
    FillCodelinkGrid(false);
}

// Exactly one table is emptied: the translation table while the view has never been switched
// since the window opened, tblManual after that. Emptying the translation table from a switched
// view takes reopening the window.
void frmDataEntry::cmdDltAll_Click() {
    const platform::Answer answer = platform::msgBox(
        QStringLiteral("You have chosen to delete ALL records in this table.  Are you sure you "
                       "want to do this?"),
        platform::Buttons::YesNo, platform::Icon::None, QString(), platform::DefaultButton::Second);
    if (answer != platform::Answer::Yes)
        return;
    const platform::BusyCursor busy;
    const bool translationTable = fraDatEnt->title() == kTranslationTable;
    {
        // The table is emptied before the grid, so a failure leaves the grid showing what is
        // still in the file.
        platform::Database database = platform::Database::open(GetDbPath());
        database.execute(translationTable ? QStringLiteral("DELETE * FROM tblCodelink")
                                          : QStringLiteral("DELETE * FROM tblManual;"));
    }
    codelinks_->clearTexts();
    txtNumRec->setText(QStringLiteral("0"));
    codelinks_->keepRows(2);
    codelinks_->setHeading(1, QStringLiteral("Return"));
    codelinks_->setHeading(0, QStringLiteral("Scan"));
}

} // namespace db
