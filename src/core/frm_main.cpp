#include "core/frm_main.h"

#include "config/append_strings.h"
#include "config/frm_setup.h"
#include "config/frm_setup_scanner.h"
#include "core/append_choice.h"
#include "core/program_folder.h"
#include "core/scan_session.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "core/tokens.h"
#include "db/frm_data_entry.h"
#include "db/maintenance.h"
#include "db/schema.h"
#include "import/frm_map.h"
#include "platform/app_error.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/serial_comm_control.h"
#include "shell/frm_taskbar.h"

#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPushButton>
#include <QScopeGuard>
#include <QTimer>

namespace core {

namespace {

const QString kStart = QStringLiteral("&Start");
const QString kStop = QStringLiteral("&Stop");

template <class Handler>
QAction* addMenuItem(QMenu* menu, const char* name, const QString& caption, Handler handler) {
    QAction* action = menu->addAction(caption);
    action->setObjectName(QString::fromLatin1(name));
    QObject::connect(action, &QAction::triggered, menu, handler);
    return action;
}

} // namespace

frmMain::frmMain(std::unique_ptr<platform::CommControl> port, QWidget* parent)
    : QMainWindow(parent)
    , MSComm1(port ? std::move(port) : std::make_unique<platform::SerialCommControl>()) {
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(kAppTitle);
    session_ = std::make_unique<ScanSession>(*MSComm1);
    connect(session_.get(), &ScanSession::stateChanged, this,
            platform::guarded([this](bool on) { onScanStateChanged(on); }));
    connect(session_.get(), &ScanSession::scannerLost, this, platform::guarded([this] {
                noteScanner(QStringLiteral("Scanner disconnected from %1 \u2014 waiting for it"));
            }));
    connect(session_.get(), &ScanSession::scannerBack, this, platform::guarded([this] {
                noteScanner(QStringLiteral("Scanner connected again on %1"));
            }));
    connect(session_.get(), &ScanSession::scanRefused, this, [this] {
        if (taskbar_)
            taskbar_->Notify(
                QStringLiteral("Click into the application that should receive the scans."));
    });
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this,
            [this](QWindow* focus) { onFocusWindowChanged(focus); });
    buildControls();
    buildMenus();
}

frmMain::~frmMain() {
    Unload();
}

void frmMain::buildControls() {
    auto* central = new QWidget(this);
    setCentralWidget(central);

    fraMain = new QGroupBox(QStringLiteral("Current Settings"), central);
    fraMain->setObjectName(QStringLiteral("fraMain"));
    Label1 = new QLabel(QStringLiteral("Scanner Return Pattern Mode:"), fraMain);
    Label1->setObjectName(QStringLiteral("Label1"));
    LbScanMode = new QLabel(fraMain);
    LbScanMode->setObjectName(QStringLiteral("LbScanMode"));
    lblAppend = new QLabel(QStringLiteral("Scanner Return Pattern:"), fraMain);
    lblAppend->setObjectName(QStringLiteral("lblAppend"));
    CmbApStr = new QComboBox(fraMain);
    CmbApStr->setObjectName(QStringLiteral("CmbApStr"));
    CmbApStr->setMinimumContentsLength(16);
    // The window keeps its width whatever names are stored: long ones are elided.
    CmbApStr->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    txtAppend = new QLineEdit(QStringLiteral("##StartUp##"), fraMain);
    txtAppend->setObjectName(QStringLiteral("txtAppend"));
    txtAppend->setMinimumWidth(txtAppend->fontMetrics().horizontalAdvance(QString(40, u'M')) / 2);
    lblAccSys = new QLabel(QStringLiteral("Accounting System:"), fraMain);
    lblAccSys->setObjectName(QStringLiteral("lblAccSys"));
    txtAcc = new QLineEdit(fraMain);
    txtAcc->setObjectName(QStringLiteral("txtAcc"));
    txtAcc->setReadOnly(true);

    auto* grid = new QGridLayout(fraMain);
    grid->addWidget(Label1, 0, 0);
    grid->addWidget(LbScanMode, 0, 1, 1, 2);
    grid->addWidget(lblAppend, 1, 0);
    grid->addWidget(CmbApStr, 1, 1);
    grid->addWidget(txtAppend, 1, 2);
    grid->addWidget(lblAccSys, 2, 0);
    grid->addWidget(txtAcc, 2, 1, 1, 2);
    grid->setColumnStretch(2, 1);

    cmdScan = new QPushButton(kStart, central);
    cmdScan->setObjectName(QStringLiteral("cmdScan"));
    cmdExit = new QPushButton(QStringLiteral("H&ide"), central);
    cmdExit->setObjectName(QStringLiteral("cmdExit"));
    CmdQuit = new QPushButton(QStringLiteral("E&xit"), central);
    CmdQuit->setObjectName(QStringLiteral("CmdQuit"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(cmdScan);
    buttons->addStretch(1);
    buttons->addWidget(cmdExit);
    buttons->addWidget(CmdQuit);

    auto* layout = new QVBoxLayout(central);
    layout->addWidget(fraMain);
    layout->addLayout(buttons);

    connect(cmdScan, &QPushButton::clicked, this, command([this] { cmdScan_Click(); }));
    connect(cmdExit, &QPushButton::clicked, this, command([this] { PutAway(); }));
    connect(CmdQuit, &QPushButton::clicked, this, command([this] { close(); }));
    connect(CmbApStr, &QComboBox::activated, this, platform::guarded([this](int index) {
                ChooseAppendString(CmbApStr->itemText(index));
            }));
    // The pattern is chosen from the list with the mouse, never typed: no key can land in the
    // pattern box, nor change the list (a scanner typing into this window must change nothing).
    txtAppend->setReadOnly(true);
    txtAppend->setFocusPolicy(Qt::NoFocus);
    CmbApStr->installEventFilter(this);
    for (QWidget* widget : std::initializer_list<QWidget*>{central, fraMain, Label1, LbScanMode,
                                                           lblAppend, lblAccSys})
        widget->installEventFilter(this);
}

void frmMain::buildMenus() {
    QMenu* mnuFile = menuBar()->addMenu(QStringLiteral("&File"));
    mnuFile->setObjectName(QStringLiteral("mnuFile"));
    addMenuItem(mnuFile, "mnuFileBackup", QStringLiteral("&Backup Data"),
                command([this] { mnuFileBackup_Click(); }));
    addMenuItem(mnuFile, "mnuFileCompact", QStringLiteral("&Compact Data"),
                command([this] { mnuFileCompact_Click(); }));
    addMenuItem(mnuFile, "mnuFileRepair", QStringLiteral("&Repair Data"),
                command([this] { mnuFileRepair_Click(); }));
    addMenuItem(mnuFile, "mnuFilePrinterSetup", QStringLiteral("&Printer Setup"),
                command([this] { mnuFilePrinterSetup_Click(); }));
    mnuFile->addSeparator();
    addMenuItem(mnuFile, "MnuFClose", QStringLiteral("&Close"), command([this] { PutAway(); }));
    addMenuItem(mnuFile, "mnuFExit", QStringLiteral("E&xit"), command([this] { close(); }));

    QMenu* mnuUtilities = menuBar()->addMenu(QStringLiteral("S&ettings"));
    mnuUtilities->setObjectName(QStringLiteral("mnuUtilities"));
    addMenuItem(mnuUtilities, "mnuFSettings", QStringLiteral("S&ystem"),
                command([this] { mnuFSettings_Click(); }));
    addMenuItem(mnuUtilities, "mnuSettingsScanner", QStringLiteral("S&canner"),
                command([this] { mnuSettingsScanner_Click(); }));

    QMenu* mnuData = menuBar()->addMenu(QStringLiteral("&Data"));
    mnuData->setObjectName(QStringLiteral("mnuData"));
    mnuFMap = addMenuItem(mnuData, "mnuFMap", QStringLiteral("&Map Accounting"),
                          command([this] { mnuFMap_Click(); }));
    addMenuItem(mnuData, "mnuFDatEnter", QStringLiteral("&Translation Table"),
                command([this] { mnuFDatEnter_Click(); }));

    QMenu* mnuAbout = menuBar()->addMenu(QStringLiteral("&Help"));
    mnuAbout->setObjectName(QStringLiteral("mnuAbout"));
    addMenuItem(mnuAbout, "mnuAHelp", QStringLiteral("Contents and Index"),
                command([this] { mnuAHelp_Click(); }));
    addMenuItem(mnuAbout, "mnuAbContact", QStringLiteral("&Contact Info"),
                command([this] { mnuAbContact_Click(); }));
}

// --- loading -------------------------------------------------------------------------------

void frmMain::Load() {
    QPalette palette = txtAppend->palette();
    palette.setColor(QPalette::Text, QColor(0, 0, 160));
    txtAppend->setPalette(palette);

    QDir(programFolder()).mkdir(QStringLiteral("Exports")); // an existing folder is fine

    SharedState& state = shared();
    state.strAppTitle = kAppTitle;
    state.strDbPath = programFile(QStringLiteral("dbscan.mdb"));
    upgradeSchema();
    LoadSettings();
    applyPortSettings();

    connect(txtAppend, &QLineEdit::textChanged, this,
            platform::guarded([this](const QString& text) { txtAppend_Change(text); }));
    txtAppend->setText(SendKeysToStored(state.append));
    txtAppend->setToolTip(txtAppend->text());
    txtAcc->setText(state.Accounting);
    updateMapCaption();
    showLbScanMode(); // shown again at every activation; here so it is never blank

    if (state.autostart) {
        // A scanner that is unplugged must not keep the program from starting: the failure is
        // reported and the program comes up with scanning off.
        try {
            cmdScan_Click();
        } catch (const std::exception& error) {
            autostartFailed_ = true;
            platform::reportError(error);
        }
    }
}

void frmMain::upgradeSchema() {
    platform::Database db = platform::Database::open(shared().strDbPath);
    for (const char* table : {"tblCodelink", "tblImportErrors", "tblPreview"})
        db::EnsureUnitField(db, QString::fromLatin1(table));
    db::AddRetValToAppendStrings(db);
}

// The port takes its settings again whenever scanning starts; a bad setting is reported then.
void frmMain::applyPortSettings() {
    const SharedState& state = shared();
    try {
        MSComm1->setCommPort(state.ComPort.trimmed().isEmpty() ? QStringLiteral("0")
                                                               : state.ComPort);
        MSComm1->setSettings(state.PortSetting);
    } catch (const platform::AppError&) {
    }
}

// --- activation and scanning ---------------------------------------------------------------

// The window is activated as the program means it: when it is first shown, and when the user
// comes back to it from one of the program's own windows (a setup window, the data entry window,
// a message box), never when the focus merely comes back from another application.
void frmMain::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (!std::exchange(shownBefore_, true))
        platform::runGuarded([this] { Activate(); });
}

void frmMain::onFocusWindowChanged(QWindow* focus) {
    const QPointer<QWindow> previous = std::exchange(previousFocus_, focus);
    if (focus && focus == windowHandle() && previous && previous != focus && commandDepth_ == 0 &&
        !unloaded_)
        platform::runGuarded([this] { Activate(); });
}

// Runs a command of this window. A message box it showed hands the window back to the user when
// it closes, which activates the window once the command is done (while the command runs it must
// not: scanning could start in the middle of a maintenance command).
std::function<void()> frmMain::command(std::function<void()> handler) {
    return [this, handler = std::move(handler)] {
        const int messages = platform::messagesShown();
        ++commandDepth_;
        platform::runGuarded(handler);
        --commandDepth_;
        if (commandDepth_ == 0 && platform::messagesShown() != messages && !unloaded_ &&
            isActiveWindow() && !ownWindowOpen())
            platform::runGuarded([this] { Activate(); });
    };
}

// The windows this one opens hand it back when they close.
void frmMain::watchReturnFrom(QWidget* window) {
    if (window)
        window->installEventFilter(this);
}

QList<QWidget*> frmMain::ownWindows() const {
    QList<QWidget*> open;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window != this && window->isVisible() && window->parentWidget() == this)
            open << window;
    }
    return open;
}

bool frmMain::ownWindowOpen() const {
    return !ownWindows().isEmpty();
}

// Scanning starts by itself only while none of the windows that asked to stop it is open: a
// setup window's test needs the port, and the others edit what scanning reads.
void frmMain::Activate() {
    updateMapCaption();
    if (shared().autostart && !scanning() && !autostartFailed_ && !ownWindowOpen()) {
        try {
            cmdScan_Click();
        } catch (...) {
            autostartFailed_ = true;
            throw;
        }
    }
    showLbScanMode();
    if (shared().RetAsScan && shared().autostart)
        setTrayStatus(shell::frmTaskbar::kStatusWedge);
}

void frmMain::showLbScanMode() {
    if (session_->waiting()) {
        LbScanMode->setText(QStringLiteral("Waiting for the scanner on ") +
                            session_->scannerDevice());
        return;
    }
    LbScanMode->setText(shared().RetAsScan ? QStringLiteral("Scanner In Keyboard Wedge Mode")
                                           : QStringLiteral("Scanner In Orvane Mode"));
}

void frmMain::updateMapCaption() {
    mnuFMap->setText(shared().Accounting + QStringLiteral(" Item Map"));
}

bool frmMain::scanning() const {
    return cmdScan->text() == kStop;
}

void frmMain::ScanTog(bool on) {
    if (scanning() != on)
        cmdScan_Click();
}

void frmMain::cmdScan_Click() {
    if (scanning())
        session_->stop();
    else
        session_->start();
}

// The caption, the tray icon and its tip follow every start and stop, including the stop
// forced by a port that went away.
void frmMain::onScanStateChanged(bool on) {
    cmdScan->setText(on ? kStop : kStart);
    showLbScanMode(); // a stop ends a wait for the scanner
    if (on) {
        autostartFailed_ = false;
        setTrayStatus(shared().RetAsScan ? shell::frmTaskbar::kStatusWedge
                                         : shell::frmTaskbar::kStatusOn);
    } else {
        setTrayStatus(shell::frmTaskbar::kStatusOff);
    }
    if (taskbar_)
        taskbar_->Modify();
}

// The scanner went away or came back: the main window says so, and a note tells the user, who
// most likely has another application in front.
void frmMain::noteScanner(const QString& text) {
    showLbScanMode();
    if (taskbar_)
        taskbar_->Notify(text.arg(session_->scannerDevice()));
}

void frmMain::setTrayStatus(int status) {
    if (!taskbar_)
        return;
    auto value = static_cast<std::int16_t>(status);
    taskbar_->SetStatus(value);
}

// --- append pattern ------------------------------------------------------------------------

void frmMain::txtAppend_Change(const QString& text) {
    txtAppend->setToolTip(text);
    txtAppend->setCursorPosition(0); // show the pattern from its start
    if (MSComm1->portOpen()) {
        MSComm1->setPortOpen(false);
        shared().append = StoredToSendKeys(text);
        try {
            MSComm1->setPortOpen(true);
        } catch (...) {
            session_->stop(); // scanning cannot go on without its port
            throw;
        }
    } else {
        shared().append = StoredToSendKeys(text);
    }
    if (!applyingSelection_)
        config::UpdateNames(*CmbApStr, text);
}

void frmMain::ChooseAppendString(const QString& name) {
    if (applyingSelection_)
        return;
    applyingSelection_ = true;
    const auto clearFlag = qScopeGuard([this] { applyingSelection_ = false; });
    const std::optional<AppendString> chosen = core::ChooseAppendString(name);
    if (!chosen)
        return;
    txtAppend->setText(chosen->string);
    CmbApStr->setCurrentIndex(CmbApStr->findText(chosen->name, Qt::MatchFixedString));
    // The choice is the pattern in use from now on, after the next start as well.
    EditSettingsRow([&chosen](platform::Recordset& row) {
        row.setValue(QStringLiteral("append"), chosen->string);
    });
}

QString frmMain::selectedAppendName() const {
    return CmbApStr->currentText();
}

// --- what the setup windows change -----------------------------------------------------------

QString frmMain::appendDisplay() const {
    return txtAppend->text();
}

void frmMain::setAppendDisplay(const QString& pattern) {
    txtAppend->setText(pattern);
}

void frmMain::setAccountingDisplay(const QString& name) {
    txtAcc->setText(name);
}

void frmMain::ReturnFromWindow() {
    // Once the closing window has gone: scanning may start again only when it was the last.
    QTimer::singleShot(0, this, platform::guarded([this] {
                           if (unloaded_)
                               return;
                           // The setup window may have stored, renamed or removed patterns.
                           config::UpdateNames(*CmbApStr, txtAppend->text());
                           Activate();
                       }));
}

// --- showing and hiding --------------------------------------------------------------------

void frmMain::PopUp() {
    setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    show();
    raise();
    activateWindow();
}

void frmMain::PutAway() {
    if (!shell::frmTaskbar::trayAvailable()) {
        showMinimized(); // without a tray, a hidden window could not be brought back
        return;
    }
    hide();
    if (taskbar_)
        taskbar_->HidMain = true;
}

void frmMain::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange || !isMinimized() ||
        !shell::frmTaskbar::trayAvailable())
        return;
    // Minimising puts the window away to the tray instead of leaving a task bar button.
    // Deferred: the window system is still busy minimising. A minimised state that has gone by
    // then (a window shown again at once) is left alone.
    QTimer::singleShot(0, this, [this] {
        if (!isMinimized() || !shell::frmTaskbar::trayAvailable())
            return;
        setWindowState(windowState() & ~Qt::WindowMinimized);
        hide();
        if (taskbar_)
            taskbar_->HidMain = true;
    });
}

bool frmMain::eventFilter(QObject* watched, QEvent* event) {
    if (watched == CmbApStr) {
        if (event->type() == QEvent::Wheel)
            return true;
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            return key != Qt::Key_Tab && key != Qt::Key_Backtab; // only Tab moves on
        }
        return false;
    }
    if (event->type() == QEvent::Close && watched->isWidgetType() && watched != this &&
        static_cast<QWidget*>(watched)->isWindow()) {
        // After the close has gone through: a window that refused to close is still open.
        QPointer<QWidget> window = static_cast<QWidget*>(watched);
        QTimer::singleShot(0, this, [this, window] {
            if (!window || !window->isVisible())
                ReturnFromWindow();
        });
        return false;
    }
    if (event->type() == QEvent::MouseButtonPress) {
        lastMouseButton_ = static_cast<QMouseEvent*>(event)->button();
    } else if (event->type() == QEvent::MouseButtonRelease &&
               static_cast<QMouseEvent*>(event)->button() == Qt::RightButton &&
               lastMouseButton_ == Qt::RightButton && taskbar_) {
        const QPoint at = static_cast<QMouseEvent*>(event)->globalPosition().toPoint();
        platform::runGuarded([this, at] { taskbar_->ShowMenu(at); });
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

// --- ending ----------------------------------------------------------------------------------

void frmMain::closeEvent(QCloseEvent* event) {
    // The other windows close first, as their own Close does: one with unsaved changes asks, and
    // Cancel there keeps the program running with the changes.
    for (QWidget* window : ownWindows()) {
        if (!window->close()) {
            event->ignore();
            return;
        }
    }
    Unload();
    event->accept();
    QCoreApplication::quit();
}

void frmMain::Unload() {
    if (unloaded_)
        return;
    unloaded_ = true;
    if (taskbar_)
        taskbar_->Unload();
    // The window is going: the scan state no longer needs showing anywhere.
    disconnect(session_.get(), nullptr, this, nullptr);
    platform::runGuarded([this] {
        if (session_->isOn())
            session_->stop();
        if (MSComm1->portOpen())
            MSComm1->setPortOpen(false);
    });
}

// --- menus -----------------------------------------------------------------------------------

void frmMain::mnuFDatEnter_Click() {
    if (!StopScanningToContinue(*this))
        return;
    watchReturnFrom(db::frmDataEntry::showWindow(this));
}

void frmMain::mnuFMap_Click() {
    if (!StopScanningToContinue(*this))
        return;
    watchReturnFrom(import::frmMap::showWindow(this));
}

void frmMain::mnuFSettings_Click() {
    if (!StopScanningToContinue(*this))
        return;
    config::frmSetup::showWindow(*this, this);
}

void frmMain::mnuSettingsScanner_Click() {
    if (!StopScanningToContinue(*this))
        return;
    config::frmSetupScanner::showWindow(*this, this);
}

// The maintenance commands ask to stop scanning themselves, and start it again afterwards.
void frmMain::mnuFileBackup_Click() {
    db::BackupDatabase(*this);
}

void frmMain::mnuFileCompact_Click() {
    db::CompactDatabase(*this);
}

void frmMain::mnuFileRepair_Click() {
    db::RepairDatabase(*this);
}

void frmMain::mnuFilePrinterSetup_Click() {
    platform::msgBox(QStringLiteral("Orvane Translator prints nothing, so there is no printer to "
                                    "set up."),
                     platform::Buttons::Ok, platform::Icon::Information, shared().strAppTitle);
}

void frmMain::mnuAHelp_Click() {
    platform::msgBox(
        QStringLiteral(
            "Orvane Translator types what your scanner reads into the window that has the "
            "keyboard focus.\n\n"
            "Start / Stop switches scanning on and off. The Scanner Return Pattern says what is "
            "typed for each scan: <RetVal> is the translation (or the scan itself when the "
            "table has none), <UoM> its unit of measure, <TAB> and <RET> the keys.\n\n"
            "Data > Translation Table edits the table by hand; Data > Item Map fills it from "
            "your accounting system's item list. Settings > Scanner sets the port; Settings > "
            "System the accounting system, a shared database and the start options.\n\n"
            "The program keeps running in the tray when this window is hidden: click its icon "
            "to bring the window back, right-click it for the menu."),
        platform::Buttons::Ok, platform::Icon::Information, shared().strAppTitle);
}

void frmMain::mnuAbContact_Click() {
    platform::msgBox(QStringLiteral("Orvane Translator\nVersion %1.%2\n\nFor help with the "
                                    "program, contact your Orvane Translator reseller.")
                         .arg(ORVANE_VERSION_MAJOR)
                         .arg(ORVANE_VERSION_MINOR),
                     platform::Buttons::Ok, platform::Icon::Information, shared().strAppTitle);
}

} // namespace core
