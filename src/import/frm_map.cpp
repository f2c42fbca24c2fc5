#include "import/frm_map.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "import/frm_preview.h"
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
#include <QSettings>
#include <QVBoxLayout>

namespace import {

using platform::named;

namespace {

const QString kScanControl = QStringLiteral("cmbItemScan0");
const QString kDescriptionControl = QStringLiteral("cmbItemDescrip");
const QString kNoChoices = QStringLiteral("No Choices");
const QStringList kDelimiters{",", ";", "!",  "@", "#", "$", "%", "^",
                              "&", "*", "\\", "/", "|", "?", ":", "."};

QPointer<frmMap>& openWindow() {
    static QPointer<frmMap> window;
    return window;
}

QSettings userSettings() {
    return QSettings(QStringLiteral("Orvane Translator"), QStringLiteral("Orvane Translator"));
}

QString settingKey(const char* name) {
    return QStringLiteral("Settings/") + QString::fromLatin1(name);
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

} // namespace

// The progress label and bar of the window. The bar runs from 0 to 1000 whatever the unit of the
// import, and the window repaints every tenth of a second, so that it neither turns white nor
// takes clicks while the import runs.
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
        if (clock_.elapsed() < kRepaintMs)
            return;
        clock_.restart();
        window_.pbarMap->setValue(int(std::min<qint64>(value, maximum_) * kSteps / maximum_));
        repaintNow();
    }

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
    txtItemRet = named(new QLineEdit(Frame1), "txtItemRet");
    cmbItemDesc = named(new QComboBox(Frame1), "cmbItemDesc");
    auto* fields = new QFormLayout(Frame1);
    fields->addRow(named(new QLabel(QStringLiteral("Source:"), Frame1), "lblItemSrc"), sourceRow);
    fields->addRow(lblFileType);
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
    QSettings settings = userSettings();
    const QString second = settings.value(settingKey("UMDel1"), QStringLiteral(";")).toString();
    const QString first = settings.value(settingKey("UMDel0"), QStringLiteral(",")).toString();
    CmbDel[1]->addItem(second); // so that list 0 leaves it out
    fillDelimiterList(0, first);
    fillDelimiterList(1, second);
    ChUnit->setChecked(settings.value(settingKey("UMDel"), false).toBool());

    setWindowTitle(core::shared().Accounting + QStringLiteral(" Item Mapping"));

    platform::Database db = platform::Database::open(core::programFile(QStringLiteral("dbScan")));
    platform::Recordset row =
        db.openRecordset(QStringLiteral("SELECT tblSettings.* FROM tblSettings"));
    if (!row.eof()) {
        const QVariant source = row.value(QStringLiteral("Source"));
        const QVariant scan = row.value(QStringLiteral("CustomScan"));
        const QVariant returnField = row.value(QStringLiteral("CustomReturn"));
        if (!platform::isNull(source))
            setSource(platform::toText(source).trimmed());
        if (!platform::isNull(scan))
            cmbItemMap[0]->setEditText(platform::toText(scan));
        if (!platform::isNull(returnField))
            txtItemRet->setText(platform::toText(returnField));
    }
    fillChoiceLists();
}

void frmMap::fillChoiceLists() {
    const QString accounting = core::shared().Accounting;
    QComboBox* scan = cmbItemMap[0];
    if (scan->isEnabled()) { // the fixed "Column 2" of a delimited list stays
        const QString current = scan->currentText();
        const FieldChoices scanChoices = ReadFieldChoices(accounting, kScanControl);
        scan->clear();
        scan->addItems(scanChoices.fields);
        if (scanChoices.fields.isEmpty())
            scan->setEditText(kNoChoices);
        else
            scan->setCurrentIndex(scan->findText(current, Qt::MatchFixedString));
        if (scan->currentIndex() < 0 && !scanChoices.fields.isEmpty())
            scan->setEditText(current);
    }
    const FieldChoices descriptions = ReadFieldChoices(accounting, kDescriptionControl);
    cmbItemDesc->clear();
    cmbItemDesc->addItems(descriptions.fields);
    cmbItemDesc->setCurrentIndex(cmbItemDesc->findText(descriptions.defaultField));
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

void frmMap::txtItemSrc_Change() {
    const QString path = txtItemSrc->text();
    if (path == appliedSource_ && !path.isEmpty())
        return;
    appliedSource_ = path;
    const AccountingFlags flags = ReadAccountingFlags(core::shared().Accounting);
    sourceKind_ = SourceKindOf(path, flags);
    QComboBox* scan = cmbItemMap[0];
    switch (sourceKind_) {
    case kCompanyFile: {
        country_ = flags.Country;
        scan->setEnabled(true);
        const QString stored = scan->currentText();
        scan->clear();
        scan->addItems(GetCustomFieldNames(path, flags));
        if (scan->count() == 0)
            scan->setEditText(kNoChoices);
        else
            scan->setCurrentIndex(std::max(0, scan->findText(stored, Qt::MatchFixedString)));
        break;
    }
    case kIif:
        if (!scan->isEnabled()) {
            scan->setEnabled(true);
            fillChoiceLists();
        }
        break;
    case kTabDelimited:
    case kCommaSeparated:
        scan->clear();
        scan->setEnabled(false);
        scan->setEditText(QStringLiteral("Column 2"));
        txtItemRet->setText(QStringLiteral("Column 1"));
        break;
    default:
        txtItemSrc->clear(); // only a source of an enabled kind is kept
        appliedSource_.clear();
        break;
    }
    lblFileType->setText(QStringLiteral("File Type: ") + kindName(sourceKind_));
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
    return {txtItemSrc->text().trimmed(), core::shared().Accounting, cmbItemMap[0]->currentText(),
            txtItemRet->text(), cmbItemDesc->currentText()};
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
    else if (txtItemRet->text().isEmpty())
        refusal = QStringLiteral("Please enter a return code");
    else if (cmbItemMap[0]->currentText().trimmed().isEmpty())
        refusal = QStringLiteral("Please choose a scan control");
    else if (sourceKind_ == kNotValid)
        refusal = QStringLiteral("Please enter a valid source file");
    if (!refusal.isEmpty()) {
        platform::msgBox(refusal);
        return;
    }
    if (sourceKind_ == kTabDelimited || sourceKind_ == kCommaSeparated) {
        // The preview shows tblPreview as it stands: fill it from the file chosen here.
        Progress progress(*this);
        const platform::BusyCursor busy;
        BuildDelimitedPreview(source, sourceKind_ == kTabDelimited ? u'\t' : u',', progress);
    }
    frmPreview::showWindow({sourceKind_, iifImport(), ReadAccountingFlags(iifImport().accounting)},
                           this);
}

void frmMap::cmdUpdateDB_Click() {
    QSettings settings = userSettings();
    settings.setValue(settingKey("UMDel0"), CmbDel[0]->currentText());
    settings.setValue(settingKey("UMDel1"), CmbDel[1]->currentText());
    settings.setValue(settingKey("UMDel"), ChUnit->isChecked());

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
    if (!runImportOrFail())
        return;
    platform::msgBox(QStringLiteral("The Translation Table Updated Successfully"),
                     platform::Buttons::Ok, platform::Icon::Information,
                     core::shared().strAppTitle);
    close();
}

// Runs the import for the source's kind; false when a company file could not be read (the window
// is then closed without the success message).
bool frmMap::runImportOrFail() {
    const platform::BusyCursor busy;
    Progress progress(*this);
    setInputsEnabled(false);
    const auto enable = qScopeGuard([this] { setInputsEnabled(true); });
    switch (sourceKind_) {
    case kCompanyFile:
        if (!ReadItems(true, cmbItemMap[0]->currentText(), txtItemSrc->text().trimmed(),
                       ReadAccountingFlags(core::shared().Accounting), core::shared().Accounting,
                       progress)) {
            close();
            return false;
        }
        return true;
    case kIif:
        progress.caption(QStringLiteral("Preparing To Import File..."));
        ImportIifFile(iifImport(), progress);
        return true;
    default:
        ImportDelimitedFile(txtItemSrc->text().trimmed(),
                            sourceKind_ == kTabDelimited ? u'\t' : u',', progress);
        return true;
    }
}

// While an import runs, the window repaints and shows its progress but takes no input.
void frmMap::setInputsEnabled(bool enabled) {
    for (QWidget* input : inputs_)
        input->setEnabled(enabled);
    for (QPushButton* button : {cmdItemPrev, cmdUpdateDB, cmdExit})
        button->setEnabled(enabled);
}

// The source and field choices in the program folder's tblSettings: on Update the row is edited
// when there is one; when the window closes a missing row is added.
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
    const QString scan = cmbItemMap[0]->currentText().trimmed();
    row.setValue(QStringLiteral("Source"), source.isEmpty() ? QStringLiteral(" ") : source);
    row.setValue(QStringLiteral("CustomScan"), scan.isEmpty() ? QStringLiteral(" ") : scan);
    if (onUpdate)
        row.setValue(QStringLiteral("CustomReturn"), txtItemRet->text());
    row.update();
}

void frmMap::closeEvent(QCloseEvent* event) {
    platform::runGuarded([this] { saveSourceSettings(false); });
    event->accept();
}

} // namespace import
