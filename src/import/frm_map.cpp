#include "import/frm_map.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "import/frm_preview.h"
#include "import/list_settings.h"
#include "import/qb_interface.h"
#include "platform/busy_cursor.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/widgets.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QScopeGuard>
#include <QVBoxLayout>

namespace import {

using platform::named;

namespace {

const QString kScanControl = QStringLiteral("cmbItemScan0");
const QString kDescriptionControl = QStringLiteral("cmbItemDescrip");
const QString kNoChoices = QStringLiteral("No Choices");
const QString kReturnColumn = QStringLiteral("Column 1");
const QString kScanColumn = QStringLiteral("Column 2");
const QStringList kDelimiters{",", ";", "!",  "@", "#", "$", "%", "^",
                              "&", "*", "\\", "/", "|", "?", ":", "."};

QPointer<frmMap>& openWindow() {
    static QPointer<frmMap> window;
    return window;
}

QString kindName(int kind) {
    switch (kind) {
    case kCompanyFile:
        return QStringLiteral("QuickBooks Company File");
    case kIif:
        return QStringLiteral("IIF File");
    case kTabDelimited:
        return QStringLiteral("Tab Delimited File");
    case kCommaSeparated:
        return QStringLiteral("Comma Separated Values File");
    default:
        return QString();
    }
}

// The field a list names: the field behind the entry chosen, else the name typed into it.
QString chosenField(const QComboBox* box) {
    const int index = box->currentIndex();
    if (index >= 0 && box->itemText(index) == box->currentText() && !box->itemData(index).isNull())
        return box->itemData(index).toString();
    return box->currentText().trimmed();
}

} // namespace

// The progress label and bar of the window. The bar runs from 0 to 1000 whatever the unit of the
// work, and the window repaints every tenth of a second, so that it neither turns white nor
// takes clicks while it works; a close request is taken then (closeEvent asks whether to stop).
class frmMap::Progress : public ImportProgress {
public:
    explicit Progress(frmMap& window)
        : window_(window) {
        clock_.start();
    }
    void caption(const QString& text) override {
        window_.lblProgress->setText(text);
        window_.lblProgress->show();
        repaintNow();
    }
    void range(qint64 maximum) override {
        maximum_ = std::max<qint64>(maximum, 1);
        window_.pbarMap->setRange(0, kSteps);
        window_.pbarMap->setValue(0);
    }
    void advance(qint64 value) override {
        const bool done = value >= maximum_; // the end is always shown
        if (!done && clock_.elapsed() < kRepaintMs)
            return;
        clock_.restart();
        window_.pbarMap->setValue(int(std::min<qint64>(value, maximum_) * kSteps / maximum_));
        repaintNow();
    }
    bool stopRequested() const override { return window_.stopRequested_; }

private:
    static constexpr int kSteps = 1000;
    static constexpr int kRepaintMs = 100;

    void repaintNow() {
        window_.repaint();
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }

    frmMap& window_;
    QElapsedTimer clock_;
    qint64 maximum_ = 1;
};

frmMap* frmMap::showWindow(QWidget* parent) {
    return platform::showSingleWindow(openWindow(), [parent] {
        auto window = std::make_unique<frmMap>(parent);
        window->Load();
        return window;
    });
}

frmMap::frmMap(QWidget* parent)
    : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("frmMap"));
    buildControls();
    connectControls();
}

frmMap::~frmMap() = default;

void frmMap::buildControls() {
    auto* menuBar = new QMenuBar(this);
    QMenu* mnuFile = named(menuBar->addMenu(QStringLiteral("&File")), "mnuFile");
    QAction* mnuFBrowse = named(mnuFile->addAction(QStringLiteral("&Browse")), "mnuFBrowse");
    QAction* mnuFPrev = named(mnuFile->addAction(QStringLiteral("&Preview Items")), "mnuFPrev");
    QAction* mnuFUpdate =
        named(mnuFile->addAction(QStringLiteral("&Update Database")), "mnuFUpdate");
    QAction* mnuFClose = named(mnuFile->addAction(QStringLiteral("&Close")), "mnuFClose");

    auto* Frame1 = named(new QGroupBox(QStringLiteral("Map Item"), this), "Frame1");
    txtItemSrc = named(new QLineEdit(Frame1), "txtItemSrc");
    txtItemSrc->setMinimumWidth(txtItemSrc->fontMetrics().horizontalAdvance(QString(40, u'x')));
    cmdBrowseItmSrc = named(new QPushButton(QStringLiteral("&Browse"), Frame1), "cmdBrowseItmSrc");
    auto* sourceRow = new QHBoxLayout;
    sourceRow->addWidget(txtItemSrc, 1);
    sourceRow->addWidget(cmdBrowseItmSrc);
    lblFileType = named(new QLabel(QStringLiteral("File Type:"), Frame1), "lblFileType");
    ChHeader =
        named(new QCheckBox(QStringLiteral("First line holds column names"), Frame1), "ChHeader");
    // Four scan lists share one place; only the first is read by the import.
    auto* scanLists = new QWidget(Frame1);
    auto* scanStack = new QHBoxLayout(scanLists);
    scanStack->setContentsMargins(0, 0, 0, 0);
    for (size_t i = 0; i < cmbItemMap.size(); ++i) {
        cmbItemMap[i] = new QComboBox(scanLists);
        cmbItemMap[i]->setObjectName(QStringLiteral("cmbItemMap%1").arg(i));
        cmbItemMap[i]->setEditable(true);
        cmbItemMap[i]->setInsertPolicy(QComboBox::NoInsert);
        cmbItemMap[i]->setVisible(i == 0);
        scanStack->addWidget(cmbItemMap[i]);
    }
    txtItemRet = named(new QComboBox(Frame1), "txtItemRet");
    txtItemRet->setEditable(true);
    txtItemRet->setInsertPolicy(QComboBox::NoInsert);
    cmbItemDesc = named(new QComboBox(Frame1), "cmbItemDesc");
    auto* fields = new QFormLayout(Frame1);
    fields->addRow(named(new QLabel(QStringLiteral("Source:"), Frame1), "lblItemSrc"), sourceRow);
    fields->addRow(lblFileType);
    fields->addRow(ChHeader);
    fields->addRow(named(new QLabel(QStringLiteral("Scan:"), Frame1), "lblItemScan"), scanLists);
    fields->addRow(named(new QLabel(QStringLiteral("Return:"), Frame1), "lblItemRet"), txtItemRet);
    fields->addRow(QStringLiteral("Description:"), cmbItemDesc);

    auto* FrUnit = named(new QGroupBox(QStringLiteral("Barcode Record Format"), this), "FrUnit");
    ChUnit = named(new QCheckBox(QStringLiteral("Enable Units of Measure"), FrUnit), "ChUnit");
    auto* unitRow = new QHBoxLayout;
    unitRow->addWidget(named(new QLabel(QStringLiteral("##Barcode##"), FrUnit), "Label12"));
    for (size_t i = 0; i < CmbDel.size(); ++i) {
        CmbDel[i] = new QComboBox(FrUnit);
        CmbDel[i]->setObjectName(QStringLiteral("CmbDel%1").arg(i));
        unitRow->addWidget(CmbDel[i]);
        if (i == 0)
            unitRow->addWidget(
                named(new QLabel(QStringLiteral("##Unit of Measure ##"), FrUnit), "Label13"));
    }
    unitRow->addStretch(1);
    auto* unitLayout = new QVBoxLayout(FrUnit);
    unitLayout->addWidget(ChUnit);
    unitLayout->addLayout(unitRow);

    cmdItemPrev = named(new QPushButton(QStringLiteral("&Preview"), this), "cmdItemPrev");
    cmdUpdateDB = named(new QPushButton(QStringLiteral("Update Table"), this), "cmdUpdateDB");
    cmdExit = named(new QPushButton(QStringLiteral("&Close"), this), "cmdExit");
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdItemPrev);
    buttons->addWidget(cmdUpdateDB);
    buttons->addWidget(cmdExit);

    pbarMap = named(new QProgressBar(this), "pbarMap");
    pbarMap->setTextVisible(false);
    lblProgress = named(new QLabel(this), "lblProgress");
    lblProgress->setWordWrap(true);

    inputs_ = {menuBar, Frame1, FrUnit};

    auto* layout = new QVBoxLayout(this);
    layout->setMenuBar(menuBar);
    layout->addWidget(Frame1);
    layout->addWidget(FrUnit);
    layout->addWidget(lblProgress);
    layout->addWidget(pbarMap);
    layout->addLayout(buttons);

    // Each File menu entry does what the button of the same name does.
    connect(mnuFBrowse, &QAction::triggered, cmdBrowseItmSrc, &QPushButton::click);
    connect(mnuFPrev, &QAction::triggered, cmdItemPrev, &QPushButton::click);
    connect(mnuFUpdate, &QAction::triggered, cmdUpdateDB, &QPushButton::click);
    connect(mnuFClose, &QAction::triggered, cmdExit, &QPushButton::click);
}

void frmMap::connectControls() {
    using platform::guarded;
    connect(cmdBrowseItmSrc, &QPushButton::clicked, this,
            guarded([this] { cmdBrowseItmSrc_Click(); }));
    connect(cmdItemPrev, &QPushButton::clicked, this, guarded([this] { cmdItemPrev_Click(); }));
    connect(cmdUpdateDB, &QPushButton::clicked, this, guarded([this] { cmdUpdateDB_Click(); }));
    connect(cmdExit, &QPushButton::clicked, this, [this] { close(); });
    // A typed source is taken when the typing is done, not at every character.
    connect(txtItemSrc, &QLineEdit::editingFinished, this,
            guarded([this] { txtItemSrc_Change(); }));
    for (int list = 0; list < 2; ++list) {
        connect(CmbDel[size_t(list)], &QComboBox::activated, this, [this, list] {
            const int other = 1 - list;
            fillDelimiterList(other, CmbDel[size_t(other)]->currentText());
        });
    }
}

// --- loading ---------------------------------------------------------------------------------

void frmMap::Load() {
    const ListSettings settings = ReadListSettings();
    CmbDel[1]->addItem(settings.afterUnit); // so that list 0 leaves it out
    fillDelimiterList(0, settings.afterBarcode);
    fillDelimiterList(1, settings.afterUnit);
    ChUnit->setChecked(settings.units);
    ChHeader->setChecked(settings.header);

    setWindowTitle(core::shared().Accounting + QStringLiteral(" Item Mapping"));

    platform::Database db = platform::Database::open(core::programFile(QStringLiteral("dbScan")));
    platform::Recordset row =
        db.openRecordset(QStringLiteral("SELECT tblSettings.* FROM tblSettings"));
    QString source;
    if (!row.eof()) {
        const QVariant stored = row.value(QStringLiteral("Source"));
        const QVariant scan = row.value(QStringLiteral("CustomScan"));
        const QVariant returnField = row.value(QStringLiteral("CustomReturn"));
        if (!platform::isNull(stored))
            source = platform::toText(stored).trimmed();
        if (!platform::isNull(scan))
            storedScan_ = platform::toText(scan).trimmed();
        if (!platform::isNull(returnField))
            storedReturn_ = platform::toText(returnField).trimmed();
    }
    cmbItemMap[0]->setEditText(storedScan_);
    txtItemRet->setEditText(storedReturn_);
    fillDescriptionList();
    setSource(source);
}

void frmMap::fillDescriptionList() {
    const FieldChoices descriptions =
        ReadFieldChoices(core::shared().Accounting, kDescriptionControl);
    cmbItemDesc->clear();
    for (const QString& field : descriptions.fields)
        cmbItemDesc->addItem(FieldDisplayName(field, labels_), field);
    cmbItemDesc->setCurrentIndex(cmbItemDesc->findData(descriptions.defaultField));
}

// List k holds the sixteen delimiters but the one chosen in the other list, so that the two can
// never be the same.
void frmMap::fillDelimiterList(int list, const QString& choice) {
    QComboBox* box = CmbDel[size_t(list)];
    const QString taken = CmbDel[size_t(1 - list)]->currentText();
    box->clear();
    for (const QString& delimiter : kDelimiters) {
        if (delimiter != taken)
            box->addItem(delimiter);
    }
    box->setCurrentIndex(box->findText(choice));
}

bool frmMap::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate)
        setWindowTitle(core::shared().Accounting + QStringLiteral(" Item Mapping"));
    return QWidget::event(event);
}

// --- the source --------------------------------------------------------------------------------

void frmMap::setSource(const QString& path) {
    txtItemSrc->setText(path);
    txtItemSrc_Change();
}

// The field lists follow the kind of the source: a company file's custom fields, an export's
// fields (with the labels the file gives its custom fields), or a list's fixed columns.
void frmMap::txtItemSrc_Change() {
    const QString path = txtItemSrc->text();
    if (path == appliedSource_ && !path.isEmpty())
        return;
    appliedSource_ = path;
    const AccountingFlags flags = ReadAccountingFlags(core::shared().Accounting);
    sourceKind_ = SourceKindOf(path, flags);
    switch (sourceKind_) {
    case kCompanyFile:
        showCompanyFileFields(path, flags);
        break;
    case kIif:
        showExportFields(path);
        break;
    case kTabDelimited:
    case kCommaSeparated:
        showFixedColumns();
        break;
    default:
        txtItemSrc->clear(); // only a source of an enabled kind is kept
        appliedSource_.clear();
        showExportFields(QString());
        break;
    }
    ChHeader->setEnabled(sourceKind_ == kTabDelimited || sourceKind_ == kCommaSeparated);
    lblFileType->setText(QStringLiteral("File Type: ") + kindName(sourceKind_));
}

// The custom fields that QuickBooks defines for items; the stored choice is selected.
void frmMap::showCompanyFileFields(const QString& path, const AccountingFlags& flags) {
    country_ = flags.Country;
    labels_.clear();
    QComboBox* scan = cmbItemMap[0];
    const QString wanted = scan->isEnabled() ? scan->currentText() : storedScan_;
    scan->setEnabled(true);
    txtItemRet->setEnabled(true);
    scan->clear();
    scan->addItems(GetCustomFieldNames(path, flags));
    if (scan->count() == 0)
        scan->setEditText(kNoChoices);
    else
        scan->setCurrentIndex(std::max(0, scan->findText(wanted, Qt::MatchFixedString)));
    if (txtItemRet->currentText() == kReturnColumn)
        txtItemRet->setEditText(storedReturn_);
}

// The fields of the accounting system's exports, shown with the labels of the file's custom
// fields; the choices made before (or stored) stay when they name a field, else the first field
// is chosen, never the columns of a delimited list.
void frmMap::showExportFields(const QString& path) {
    labels_ = path.isEmpty() ? FieldLabels() : ReadCustomFieldLabels(path);
    const QString accounting = core::shared().Accounting;
    const FieldChoices scanChoices = ReadFieldChoices(accounting, kScanControl);
    const QStringList returnFields = ReadReturnFields(accounting);
    const auto refill = [&](QComboBox* box, const QStringList& fields, const QString& stored) {
        const QString current = box->isEnabled() ? box->currentText() : stored;
        QString chosen = ResolveField(current, fields, labels_);
        if (chosen.isEmpty())
            chosen = ResolveField(stored, fields, labels_);
        box->setEnabled(true);
        box->clear();
        for (const QString& field : fields)
            box->addItem(FieldDisplayName(field, labels_), field);
        if (fields.isEmpty())
            box->setEditText(kNoChoices);
        else if (chosen.isEmpty() && !current.trimmed().isEmpty() && current != kScanColumn &&
                 current != kReturnColumn && current != kNoChoices)
            box->setEditText(current); // a name typed by the user; the import says if it is none
        else
            box->setCurrentIndex(std::max(0, box->findData(chosen)));
    };
    refill(cmbItemMap[0], scanChoices.fields, storedScan_);
    refill(txtItemRet, returnFields, storedReturn_);
    const QString description = cmbItemDesc->currentData().toString();
    fillDescriptionList();
    if (const int kept = cmbItemDesc->findData(description); kept >= 0)
        cmbItemDesc->setCurrentIndex(kept);
}

// A delimited list's columns are fixed: the field lists show them and cannot be changed.
void frmMap::showFixedColumns() {
    labels_.clear();
    for (QComboBox* box : {cmbItemMap[0], txtItemRet}) {
        box->clear();
        box->setEnabled(false);
    }
    cmbItemMap[0]->setEditText(kScanColumn);
    txtItemRet->setEditText(kReturnColumn);
}

void frmMap::cmdBrowseItmSrc_Click() {
    const QString accounting = core::shared().Accounting;
    const AccountingFlags flags = ReadSourceFlags(accounting);
    platform::FileRequest request;
    request.title = QStringLiteral("Codelink");
    const QFileInfo current(txtItemSrc->text().trimmed());
    request.startFile = QDir(current.absolutePath()).filePath(QStringLiteral("*.*"));
    request.filter = SourceFileFilter(flags);
    request.mustExist = true;
    const std::optional<QString> chosen = platform::dialogs().openFile(request);
    if (!chosen)
        return;
    const QString extension = chosen->right(4).toLower();
    const bool otherKind = (extension == QStringLiteral(".qbw") && flags.UseQBSDK) ||
                           (extension == QStringLiteral(".txt") && flags.UseTDF) ||
                           (extension == QStringLiteral(".csv") && flags.UseCSV);
    if (!otherKind) {
        if (!flags.UseIFF) {
            platform::msgBox(QStringLiteral("Selection not valid file type"));
            return;
        }
        if (!IsIifItemExport(*chosen, accounting)) {
            platform::msgBox(QStringLiteral("Not a product export file of type IIF"));
            return;
        }
    }
    setSource(*chosen);
}

// --- preview and update ----------------------------------------------------------------------

IifImport frmMap::iifImport() const {
    return {txtItemSrc->text().trimmed(), core::shared().Accounting, chosenField(cmbItemMap[0]),
            chosenField(txtItemRet),      chosenField(cmbItemDesc),  unitFormat()};
}

ListSettings frmMap::listSettings() const {
    return {CmbDel[0]->currentText(), CmbDel[1]->currentText(), ChUnit->isChecked(),
            ChHeader->isChecked()};
}

std::optional<UnitFormat> frmMap::unitFormat() const {
    if (!ChUnit->isChecked())
        return std::nullopt;
    return UnitFormatOf(listSettings());
}

ListOptions frmMap::listOptions() const {
    return {ChHeader->isChecked(), unitFormat()};
}

void frmMap::refuseSource(const QString& text, bool warning) {
    platform::msgBox(text, platform::Buttons::Ok,
                     warning ? platform::Icon::Exclamation : platform::Icon::Information,
                     warning ? QString() : core::shared().strAppTitle);
    txtItemSrc->setFocus();
}

void frmMap::cmdItemPrev_Click() {
    const QString source = txtItemSrc->text().trimmed();
    // The empty source passes the existence test and is caught by the next one.
    if (!source.isEmpty() && !QFileInfo(source).isFile())
        return refuseSource(
            QStringLiteral("Import File ") + source + QStringLiteral(" can not be found."), true);
    QString refusal;
    if (source.isEmpty())
        refusal = QStringLiteral("Please enter a source file");
    else if (txtItemRet->currentText().isEmpty())
        refusal = QStringLiteral("Please enter a return code");
    else if (cmbItemMap[0]->currentText().trimmed().isEmpty())
        refusal = QStringLiteral("Please choose a scan control");
    else if (sourceKind_ == kNotValid)
        refusal = QStringLiteral("Please enter a valid source file");
    if (!refusal.isEmpty()) {
        platform::msgBox(refusal);
        return;
    }
    const bool built = work([this](Progress& progress) { return buildPreview(progress); });
    if (stopRequested_)
        close();
    if (!built || stopRequested_)
        return;
    frmPreview::showWindow(
        {sourceKind_, iifImport(), ReadAccountingFlags(iifImport().accounting), true}, this);
}

// Fills tblPreview for the source with the window's progress; false when it was not filled.
bool frmMap::buildPreview(Progress& progress) {
    switch (sourceKind_) {
    case kCompanyFile:
        return ReadItems(false, cmbItemMap[0]->currentText(), txtItemSrc->text().trimmed(),
                         ReadAccountingFlags(core::shared().Accounting), core::shared().Accounting,
                         progress);
    case kIif:
        BuildIifPreview(iifImport(), progress);
        return true;
    default:
        BuildDelimitedPreview(txtItemSrc->text().trimmed(),
                              sourceKind_ == kTabDelimited ? u'\t' : u',', progress, listOptions());
        return true;
    }
}

void frmMap::cmdUpdateDB_Click() {
    SaveListSettings(listSettings());

    const QString source = txtItemSrc->text().trimmed();
    if (source.isEmpty())
        return refuseSource(QStringLiteral("Please specify an import file name."), false);
    if (!QFileInfo(source).isFile())
        return refuseSource(
            QStringLiteral("Import File ") + source + QStringLiteral(" can not be found."), true);
    if (sourceKind_ == kNotValid)
        return refuseSource(QStringLiteral("Import File ") + source +
                                QStringLiteral(" is not a valid file."),
                            true);
    saveSourceSettings(true);
    ImportResult result;
    const bool read = work([&](Progress& progress) { return runImport(progress, result); });
    if (stopRequested_) {
        platform::msgBox(QStringLiteral("The import was stopped: ") + ImportSummary(result) + u'.',
                         platform::Buttons::Ok, platform::Icon::Information,
                         core::shared().strAppTitle);
        close();
        return;
    }
    if (!read) {
        if (sourceKind_ == kCompanyFile)
            close(); // the company file could not be read; the user has been told why
        return;
    }
    QString summary = ImportSummary(result);
    summary[0] = summary[0].toUpper();
    lblProgress->setText(summary);
    platform::msgBox(
        QStringLiteral("The Translation Table Updated Successfully\r\n\r\n") + summary + u'.',
        platform::Buttons::Ok, platform::Icon::Information, core::shared().strAppTitle);
    close();
}

// Runs the import for the source's kind; false when a company file could not be read.
bool frmMap::runImport(Progress& progress, ImportResult& result) {
    switch (sourceKind_) {
    case kCompanyFile:
        return ReadItems(true, cmbItemMap[0]->currentText(), txtItemSrc->text().trimmed(),
                         ReadAccountingFlags(core::shared().Accounting), core::shared().Accounting,
                         progress, &result);
    case kIif:
        progress.caption(QStringLiteral("Preparing To Import File..."));
        result = ImportIifFile(iifImport(), progress);
        return true;
    default:
        result = ImportDelimitedFile(txtItemSrc->text().trimmed(),
                                     sourceKind_ == kTabDelimited ? u'\t' : u',', progress,
                                     listOptions());
        return true;
    }
}

// Runs an import or a preview build with the window's progress, the inputs idle and the busy
// pointer; stopRequested_ tells afterwards whether the user closed the window meanwhile. A file
// that is no item list, or a field that is none of the accounting system's, is told in a message
// box and gives false: the window stays open for another choice.
bool frmMap::work(const std::function<bool(Progress&)>& job) {
    const platform::BusyCursor busy;
    Progress progress(*this);
    working_ = true;
    stopRequested_ = false;
    setInputsEnabled(false);
    const auto idle = qScopeGuard([this] {
        working_ = false;
        setInputsEnabled(true);
    });
    try {
        return job(progress);
    } catch (const ImportRefused& refusal) {
        lblProgress->clear();
        platform::msgBox(refusal.description(), platform::Buttons::Ok, platform::Icon::Exclamation,
                         core::shared().strAppTitle);
        return false;
    }
}

// While the window works, it repaints and shows its progress but takes no input.
void frmMap::setInputsEnabled(bool enabled) {
    for (QWidget* input : inputs_)
        input->setEnabled(enabled);
    for (QPushButton* button : {cmdItemPrev, cmdUpdateDB, cmdExit})
        button->setEnabled(enabled);
}

// The source and field choices in the program folder's tblSettings: on Update the row is edited
// when there is one; when the window closes a missing row is added. A delimited list's fixed
// columns are not stored over the field choices of exports and company files.
void frmMap::saveSourceSettings(bool onUpdate) {
    platform::Database db = platform::Database::open(core::programFile(QStringLiteral("dbScan")));
    platform::Recordset row = db.openRecordset(QStringLiteral("SELECT * FROM tblSettings"));
    if (row.eof()) {
        if (onUpdate)
            return;
        row.addNew();
    } else {
        row.edit();
    }
    const QString source = txtItemSrc->text().trimmed();
    row.setValue(QStringLiteral("Source"), source.isEmpty() ? QStringLiteral(" ") : source);
    if (cmbItemMap[0]->isEnabled()) {
        storedScan_ = chosenField(cmbItemMap[0]);
        row.setValue(QStringLiteral("CustomScan"),
                     storedScan_.isEmpty() ? QStringLiteral(" ") : storedScan_);
        if (onUpdate) {
            storedReturn_ = chosenField(txtItemRet);
            row.setValue(QStringLiteral("CustomReturn"), storedReturn_);
        }
    }
    row.update();
}

void frmMap::closeEvent(QCloseEvent* event) {
    if (working_) {
        event->ignore();
        if (!stopRequested_ &&
            platform::msgBox(QStringLiteral("An import is running. Stop it and close the "
                                            "window? The rows imported so far are kept."),
                             platform::Buttons::YesNo, platform::Icon::Question,
                             core::shared().strAppTitle) == platform::Answer::Yes)
            stopRequested_ = true;
        return;
    }
    platform::runGuarded([this] { saveSourceSettings(false); });
    event->accept();
}

} // namespace import
