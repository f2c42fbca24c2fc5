#include "config/frm_setup_scanner.h"

#include "config/main_window_link.h"
#include "config/port_choices.h"
#include "config/setup_window.h"
#include "core/delivery.h"
#include "core/ini_file.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "core/tokens.h"
#include "db/db_path.h"
#include "platform/app_error.h"
#include "platform/busy_cursor.h"
#include "platform/comm_settings.h"
#include "platform/conversions.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/serial_comm_control.h"
#include "platform/widgets.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>

namespace config {

using platform::named;

namespace {

const QString kTest = QStringLiteral("&Test");
const QString kStop = QStringLiteral("S&top");
constexpr char kAck = 0x06;

QPointer<frmSetupScanner>& openWindow() {
    static QPointer<frmSetupScanner> window;
    return window;
}

// A port number in range, or a device name: whether or not such a device is there.
bool isPortName(const QString& port) {
    try {
        platform::commPortDevice(port);
        return true;
    } catch (const platform::AppError&) {
        return false;
    }
}

} // namespace

frmSetupScanner* frmSetupScanner::showWindow(MainWindowLink& main, QWidget* parent) {
    return platform::showSingleWindow(openWindow(), [&main, parent] {
        auto window = std::make_unique<frmSetupScanner>(main, nullptr, parent);
        window->Load();
        return window;
    });
}

frmSetupScanner::frmSetupScanner(MainWindowLink& main, std::unique_ptr<platform::CommControl> port,
                                 QWidget* parent)
    : QWidget(parent, Qt::Window)
    , main_(main)
    , MSComm1(port ? std::move(port) : std::make_unique<platform::SerialCommControl>())
    , framer_(*MSComm1, TestScanBuffer, TimeoutTicks,
              {[this] { txtAppend->setText(QStringLiteral("Nothing")); },
               [this](core::ScanEnding ending) { showEnding(ending); },
               [this](const QString& scan) { platform::runGuarded([&] { showScan(scan); }); }}) {
    setObjectName(QStringLiteral("frmSetupScanner"));
    setWindowTitle(QStringLiteral("Orvane Scanner Setup"));
    buildControls();
    connectControls();
}

frmSetupScanner::~frmSetupScanner() {
    closeTest();
}

void frmSetupScanner::buildControls() {
    fraSetup = named(new QGroupBox(QStringLiteral("Settings"), this), "fraSetup");
    cmbComPort = named(new QComboBox(fraSetup), "cmbComPort");
    cmbComPort->setEditable(true);                    // a device path or a port above 4 is typed
    cmbComPort->setInsertPolicy(QComboBox::NoInsert); // the list is the system's ports alone
    cmbComPort->setMinimumContentsLength(14);
    cmbPortSettings = named(new QComboBox(fraSetup), "cmbPortSettings");
    cmbPortSettings->setEditable(true);
    ChAck = named(new QCheckBox(QStringLiteral("Send Ack"), fraSetup), "ChAck");
    chkCRLF = named(new QCheckBox(QStringLiteral("Break On  CR/LF"), fraSetup), "chkCRLF");
    ChRetAsScan =
        named(new QCheckBox(QStringLiteral("Return Scan Value Without Translation"), fraSetup),
              "ChRetAsScan");
    auto* settings = new QFormLayout(fraSetup);
    settings->addRow(QStringLiteral("Com Port:"), cmbComPort);
    settings->addRow(QStringLiteral("Port Setting:"), cmbPortSettings);
    settings->addRow(ChAck);
    settings->addRow(chkCRLF);
    settings->addRow(ChRetAsScan);

    fraTest = named(new QGroupBox(QStringLiteral("Scanner Test Area"), this), "fraTest");
    const auto testBox = [this](QLabel*& label, QLineEdit*& box, const QString& caption,
                                const char* labelName, const char* boxName) {
        label = named(new QLabel(caption, fraTest), labelName);
        box = named(new QLineEdit(fraTest), boxName);
        box->setReadOnly(true);
    };
    testBox(lblScan, txtScan, QStringLiteral("Scan Value:"), "lblScan", "txtScan");
    testBox(lblReturn, txtReturn, QStringLiteral("Return Value:"), "lblReturn", "txtReturn");
    testBox(lblAppend, txtAppend, QStringLiteral("Scanner Appends:"), "lblAppend", "txtAppend");
    testBox(lblUnit, TxtUnit, QStringLiteral("Unit of Measure:"), "lblUnit", "TxtUnit");
    cmdTest = named(new QPushButton(kTest, fraTest), "cmdTest");
    auto* test = new QFormLayout(fraTest);
    test->addRow(lblScan, txtScan);
    test->addRow(lblReturn, txtReturn);
    test->addRow(lblAppend, txtAppend);
    test->addRow(lblUnit, TxtUnit);
    test->addRow(cmdTest);

    buttons_ = LayOutSetupWindow(*this, {fraSetup, fraTest});
}

void frmSetupScanner::connectControls() {
    using platform::guarded;
    connect(buttons_.save, &QPushButton::clicked, this, guarded([this] { cmdSave_Click(); }));
    connect(buttons_.cancel, &QPushButton::clicked, this, guarded([this] { cmdCancel_Click(); }));
    connect(buttons_.close, &QPushButton::clicked, this, [this] { close(); });
    connect(cmdTest, &QPushButton::clicked, this, guarded([this] { cmdTest_Click(); }));

    // Any change of a setting clears the saved flag; choosing a port or a line setting, or
    // switching the framing or the mode, first ends a running test, so that the change takes
    // effect at the next Start. "Send Ack" applies to the next scan of a running test.
    for (QComboBox* combo : {cmbComPort, cmbPortSettings}) {
        connect(combo, &QComboBox::editTextChanged, this, [this] { settingClicked(false); });
        connect(combo, &QComboBox::activated, this, guarded([this] { settingClicked(true); }));
    }
    connect(chkCRLF, &QCheckBox::toggled, this, guarded([this] { settingClicked(true); }));
    connect(ChRetAsScan, &QCheckBox::toggled, this, guarded([this] { settingClicked(true); }));
    connect(ChAck, &QCheckBox::toggled, this, [this] { settingClicked(false); });

    connect(MSComm1.get(), &platform::CommControl::received, this,
            guarded([this] { framer_.receive(chkCRLF->isChecked()); }));
    connect(MSComm1.get(), &platform::CommControl::lost, this,
            guarded([this](const QString& description) { onPortLost(description); }));
}

// --- loading and saving ----------------------------------------------------------------------

void frmSetupScanner::Load() {
    loading_ = true;
    const auto loaded = qScopeGuard([this] { loading_ = false; });
    core::SharedState& state = core::shared();
    if (const std::optional<core::StoredSettings> row = core::ReadStoredSettings()) {
        state.ComPort = row->ComPort;
        state.PortSetting = row->PortSetting;
        state.CRLF = row->CRLF;
        state.ACK = row->ACK;
        state.RetAsScan = row->RetAsScan;
    }

    FillPortChoices(*cmbComPort);
    cmbComPort->setEditText(state.ComPort);
    cmbPortSettings->clear();
    cmbPortSettings->addItems({QStringLiteral("9600,E,7,1"), QStringLiteral("9600,N,7,2"),
                               QStringLiteral("9600,N,8,1"), QStringLiteral("4800,N,8,2")});
    cmbPortSettings->setEditText(state.PortSetting);

    ChRetAsScan->setChecked(state.RetAsScan);
    showTestBoxes(false);
    chkCRLF->setChecked(state.CRLF);
    ChAck->setChecked(state.ACK);
    ScannerSetupSaved = true;
    cmbComPort->setFocus(); // the port is what a user mostly comes to change
}

void frmSetupScanner::cmdSave_Click() {
    const platform::BusyCursor busy;
    const bool written = core::EditSettingsRow([this](platform::Recordset& row) {
        row.setValue(QStringLiteral("RetAsScan"), ChRetAsScan->isChecked() ? 1 : 0);
        row.setValue(QStringLiteral("comport"), cmbComPort->currentText());
        row.setValue(QStringLiteral("portsetting"), cmbPortSettings->currentText());
        row.setValue(QStringLiteral("CRLF"), chkCRLF->isChecked());
        row.setValue(QStringLiteral("ACK"), ChAck->isChecked());
    });
    if (written) {
        core::SharedState& state = core::shared();
        state.RetAsScan = ChRetAsScan->isChecked();
        state.ComPort = cmbComPort->currentText();
        state.PortSetting = cmbPortSettings->currentText();
        state.CRLF = chkCRLF->isChecked();
        state.ACK = ChAck->isChecked();
    }
    ScannerSetupSaved = true;
    buttons_.close->setFocus();
}

// Cancel drops the unsaved changes: the fields show the stored settings again. A running test
// ends, as it may run on the settings being dropped.
void frmSetupScanner::cmdCancel_Click() {
    if (testing())
        stopTest();
    Load();
}

void frmSetupScanner::settingClicked(bool stopsTest) {
    if (loading_)
        return;
    if (stopsTest && testing())
        stopTest();
    ScannerSetupSaved = false;
}

void frmSetupScanner::closeEvent(QCloseEvent* event) {
    if (!SaveBeforeClosing(ScannerSetupSaved, [this] { cmdSave_Click(); })) {
        event->ignore();
        return;
    }
    closeTest();
    event->accept();
    platform::runGuarded([this] { main_.ReturnFromWindow(); });
}

// --- the test --------------------------------------------------------------------------------

bool frmSetupScanner::testing() const {
    return cmdTest->text() == kStop;
}

void frmSetupScanner::cmdTest_Click() {
    if (testing())
        stopTest();
    else
        startTest();
}

void frmSetupScanner::startTest() {
    txtScan->clear();
    txtReturn->clear();
    txtAppend->clear();
    showTestBoxes(true);
    std::int16_t quietTickMs = 0;
    try {
        // The test looks up where scanning would: the shared table when one is set.
        testDatabase_.emplace(platform::Database::open(db::GetDbPath()));
        testCodelink_.emplace(testDatabase_->openTable(QStringLiteral("tblCodelink")));
        testCodelink_->setIndex(QStringLiteral("PrimaryKey"));
        core::OpenScannerPort(*MSComm1, cmbPortSettings->currentText(), cmbComPort->currentText());
        quietTickMs = core::GetIniNumber(QStringLiteral("Timeout"));
        core::shared().append = core::StoredToSendKeys(main_.appendDisplay());
    } catch (const std::exception& error) {
        closeTest();
        reportStartFailure(error);
        return;
    }
    TestScanBuffer.clear();
    cmdTest->setText(kStop);
    core::shared().blnTesting = true;
    framer_.start(quietTickMs);
}

void frmSetupScanner::reportStartFailure(const std::exception& error) {
    const auto* appError = dynamic_cast<const platform::AppError*>(&error);
    const int number = appError ? appError->number() : 0;
    const QString port = cmbComPort->currentText();
    QString text;
    if (number == platform::err::CommPortAlreadyOpen) {
        text = QStringLiteral("Com Port#") + port + QStringLiteral(" is already open");
    } else if (number == platform::err::CommInvalidPort && !isPortName(port)) {
        text = QStringLiteral("Com Port#") + port + QStringLiteral(" is not a valid port number");
    } else if (number == platform::err::CommInvalidPort) {
        text = appError->description(); // a missing device, told as a start of scanning tells it
    } else {
        text = QStringLiteral("Error # %1\r\n%2")
                   .arg(number)
                   .arg(appError ? appError->description() : QString::fromUtf8(error.what()));
        showTestBoxes(false);
    }
    platform::msgBox(text, platform::Buttons::Ok, platform::Icon::Critical);
}

void frmSetupScanner::stopTest() {
    showTestBoxes(false);
    closeTest();
}

// Back to idle: port, record set and database closed, the quiet timer stopped.
void frmSetupScanner::closeTest() {
    framer_.stop();
    cmdTest->setText(kTest);
    testCodelink_.reset();
    testDatabase_.reset();
    if (MSComm1->portOpen())
        MSComm1->setPortOpen(false);
}

void frmSetupScanner::showTestBoxes(bool visible) {
    for (QWidget* widget : std::initializer_list<QWidget*>{lblScan, txtScan, lblReturn, txtReturn,
                                                           lblAppend, txtAppend, lblUnit, TxtUnit})
        widget->setVisible(visible);
}

void frmSetupScanner::showEnding(core::ScanEnding ending) {
    txtAppend->setText(ending == core::ScanEnding::Ret ? QStringLiteral("<Ret>")
                                                       : QStringLiteral("<Tab>"));
}

void frmSetupScanner::showScan(const QString& scan) {
    QString strScan = scan;
    double unit = 1;
    txtScan->setText(scan);
    txtReturn->setText(platform::toText(ReturnValueTest(strScan, unit)));
    TxtUnit->setText(platform::numberToText(unit));
    if (ChAck->isChecked())
        MSComm1->output(QByteArray(1, kAck));
}

QVariant frmSetupScanner::ReturnValueTest(QString& strScan, double& unit) {
    if (!testCodelink_) {
        unit = 1.0;
        return strScan;
    }
    return core::LookUpScan(*testCodelink_, strScan, unit);
}

void frmSetupScanner::onPortLost(const QString& description) {
    if (!testing())
        return;
    stopTest();
    platform::msgBox(core::PortLostText(cmbComPort->currentText(), description) +
                         QStringLiteral("\r\nThe test has been stopped."),
                     platform::Buttons::Ok, platform::Icon::Critical);
}

} // namespace config
