#include "config/frm_setup.h"

#include "config/append_editor.h"
#include "config/main_window_link.h"
#include "config/setup_window.h"
#include "core/program_folder.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "db/db_path.h"
#include "platform/busy_cursor.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/widgets.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSqlDatabase>
#include <QVBoxLayout>

namespace config {

using platform::named;

namespace {

QPointer<frmSetup>& openWindow() {
    static QPointer<frmSetup> window;
    return window;
}

} // namespace

bool ValidateSharedDatabase(const QString& path) {
    return db::CheckSharedDatabase(path);
}

frmSetup* frmSetup::showWindow(MainWindowLink& main, QWidget* parent) {
    return platform::showSingleWindow(openWindow(), [&main, parent] {
        auto window = std::make_unique<frmSetup>(main, parent);
        window->Load();
        return window;
    });
}

frmSetup::frmSetup(MainWindowLink& main, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , main_(main) {
    setObjectName(QStringLiteral("frmSetup"));
    setWindowTitle(QStringLiteral("Orvane System Setup"));
    buildControls();
    connectControls();
}

frmSetup::~frmSetup() = default;

void frmSetup::buildControls() {
    fraSetup = named(new QGroupBox(QStringLiteral("Settings"), this), "fraSetup");
    cmbAccSystem = named(new QComboBox(fraSetup), "cmbAccSystem");
    chkAutoStart =
        named(new QCheckBox(QStringLiteral("Start Scan On Open"), fraSetup), "chkAutoStart");
    ChUseSharedDB =
        named(new QCheckBox(QStringLiteral("Use Shared Database"), fraSetup), "ChUseSharedDB");
    FrameDBPath = named(new QGroupBox(QStringLiteral("Location of Shared DataBase"), fraSetup),
                        "FrameDBPath");
    TxtDBLocation = named(new QLineEdit(FrameDBPath), "TxtDBLocation");
    TxtDBLocation->setMinimumWidth(
        TxtDBLocation->fontMetrics().horizontalAdvance(QString(36, u'x')));
    CmdBrowse = named(new QPushButton(QStringLiteral("Browse"), FrameDBPath), "CmdBrowse");
    auto* location = new QHBoxLayout;
    location->addWidget(TxtDBLocation, 1);
    location->addWidget(CmdBrowse);
    auto* frame = new QVBoxLayout(FrameDBPath);
    frame->addLayout(location);
    // Without PostgreSQL support (the Windows build) only database files can be shared: said
    // where the location is typed, before a server's address is refused.
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL"))) {
        auto* filesOnly = named(new QLabel(QStringLiteral("This build of Orvane Translator shares "
                                                          "database files only (a dbscan.mdb on a "
                                                          "network share); it cannot reach a "
                                                          "PostgreSQL server."),
                                           FrameDBPath),
                                "lblFilesOnly");
        filesOnly->setWordWrap(true);
        frame->addWidget(filesOnly);
    }
    auto* settings = new QFormLayout(fraSetup);
    settings->addRow(QStringLiteral("Accounting Systems:"), cmbAccSystem);
    settings->addRow(chkAutoStart);
    settings->addRow(ChUseSharedDB);
    settings->addRow(FrameDBPath);

    fraAppend = new AppendEditor(this);

    buttons_ = LayOutSetupWindow(*this, {fraSetup, fraAppend});
}

void frmSetup::connectControls() {
    using platform::guarded;
    connect(buttons_.save, &QPushButton::clicked, this, guarded([this] { cmdSave_Click(); }));
    connect(buttons_.cancel, &QPushButton::clicked, this, guarded([this] { cmdCancel_Click(); }));
    connect(buttons_.close, &QPushButton::clicked, this, [this] { close(); });
    connect(CmdBrowse, &QPushButton::clicked, this, guarded([this] { CmdBrowse_Click(); }));
    connect(ChUseSharedDB, &QCheckBox::toggled, this, [this](bool checked) {
        FrameDBPath->setVisible(checked);
        changed();
    });
    connect(chkAutoStart, &QCheckBox::toggled, this, [this] { changed(); });
    connect(cmbAccSystem, &QComboBox::currentIndexChanged, this, [this] { changed(); });
    connect(TxtDBLocation, &QLineEdit::textChanged, this, [this] { changed(); });
    connect(fraAppend, &AppendEditor::edited, this, [this] { changed(); });
}

void frmSetup::changed() {
    if (!loading_)
        SetupSaved = false;
}

// --- loading ---------------------------------------------------------------------------------

void frmSetup::Load() {
    loading_ = true;
    const auto loaded = qScopeGuard([this] { loading_ = false; });
    fillAccountingSystems();
    core::SharedState& state = core::shared();
    const std::optional<core::StoredSettings> row = core::ReadStoredSettings();
    if (row) {
        state.ComPort = row->ComPort;
        state.PortSetting = row->PortSetting;
        state.autostart = row->autostart;
    }
    // The stored choice, not this run's: a shared database that could not be reached at start
    // is left for this run only, and saving other settings must not turn sharing off for good.
    storedShared_ = row ? row->IsDBShared : state.IsDBShared;
    storedLocation_ = row ? row->SharedDataBase : state.SharedDataBase;
    TxtDBLocation->setText(storedLocation_);
    ChUseSharedDB->setChecked(storedShared_);
    FrameDBPath->setVisible(storedShared_);
    if (row) {
        // A stored system that the definitions no longer list is kept, not silently replaced.
        if (cmbAccSystem->findText(row->Accounting, Qt::MatchFixedString) < 0)
            cmbAccSystem->addItem(row->Accounting);
        cmbAccSystem->setCurrentIndex(
            cmbAccSystem->findText(row->Accounting, Qt::MatchFixedString));
        state.Accounting = row->Accounting;
        fraAppend->setPattern(row->append);
    }
    fraAppend->refreshNames();
    chkAutoStart->setChecked(state.autostart);
    SetupSaved = true;
}

void frmSetup::fillAccountingSystems() {
    cmbAccSystem->clear();
    platform::Database accsys =
        platform::Database::open(core::programFile(QStringLiteral("accsys.mdb")));
    platform::Recordset systems =
        accsys.openRecordset(QStringLiteral("SELECT Accounting FROM tblAccounting;"));
    for (; !systems.eof(); systems.moveNext())
        cmbAccSystem->addItem(platform::toText(systems.value(QStringLiteral("Accounting"))));
}

bool frmSetup::event(QEvent* event) {
    const bool handled = QWidget::event(event);
    if (event->type() == QEvent::WindowActivate)
        platform::runGuarded([this] { Activate(); });
    return handled;
}

// Coming back to the window keeps what the user changed and has not saved yet (also the name
// typed for a pattern); only the list of stored names is brought up to date.
void frmSetup::Activate() {
    FrameDBPath->setVisible(ChUseSharedDB->isChecked());
    fraAppend->caretToEnd();
    if (namesRefreshFailed_)
        return;
    namesRefreshFailed_ = true;
    const bool wasLoading = std::exchange(loading_, true);
    const auto refreshed = qScopeGuard([this, wasLoading] { loading_ = wasLoading; });
    fraAppend->refreshNamesKeepingName();
    namesRefreshFailed_ = false;
}

// --- commands --------------------------------------------------------------------------------

void frmSetup::CmdBrowse_Click() {
    platform::FileRequest request;
    const QString current = TxtDBLocation->text();
    if (!current.isEmpty() && QFileInfo(current).isFile())
        request.startFile = current;
    request.filter = QStringLiteral("All (*.*)|*.*|Databases (*.mdb)|*.mdb");
    request.mustExist = true;
    if (const std::optional<QString> chosen = platform::dialogs().openFile(request))
        TxtDBLocation->setText(*chosen);
}

void frmSetup::cmdSave_Click() {
    const platform::BusyCursor busy;
    core::SharedState& state = core::shared();
    core::EditSettingsRow([&](platform::Recordset& row) {
        const QString accounting = cmbAccSystem->currentText();
        row.setValue(QStringLiteral("Accounting"), accounting);
        main_.setAccountingDisplay(accounting);
        state.Accounting = accounting;

        row.setValue(QStringLiteral("autostart"), chkAutoStart->isChecked());
        state.autostart = chkAutoStart->isChecked();

        row.setValue(QStringLiteral("Append"), fraAppend->pattern());
        main_.setAppendDisplay(fraAppend->pattern());

        const QString location = TxtDBLocation->text();
        if (ChUseSharedDB->isChecked() == storedShared_ && location == storedLocation_)
            return;
        const bool shared = ChUseSharedDB->isChecked() && ValidateSharedDatabase(location);
        row.setValue(QStringLiteral("IsDBShared"), shared);
        state.IsDBShared = shared;
        storedShared_ = shared;
        if (shared) {
            row.setValue(QStringLiteral("SharedDataBase"), location);
            state.SharedDataBase = location;
            storedLocation_ = location;
        }
    });
    SetupSaved = true;
    buttons_.close->setFocus();
}

// Cancel drops the unsaved changes: the fields show the stored settings again.
void frmSetup::cmdCancel_Click() {
    Load();
    buttons_.close->setFocus();
}

void frmSetup::closeEvent(QCloseEvent* event) {
    if (!SaveBeforeClosing(SetupSaved, [this] { cmdSave_Click(); })) {
        event->ignore();
        return;
    }
    event->accept();
    platform::runGuarded([this] { main_.ReturnFromWindow(); });
}

} // namespace config
