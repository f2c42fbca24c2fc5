#include "core/scan_session.h"

#include "core/delivery.h"
#include "core/ini_file.h"
#include "core/shared_state.h"
#include "db/db_path.h"
#include "platform/app_error.h"
#include "platform/comm_control.h"
#include "platform/comm_settings.h"
#include "platform/conversions.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/focus.h"
#include "platform/send_keys.h"
#include "platform/serial_device.h"

namespace core {

namespace {

// "RemapSettle=n" in transltr.ini: n ms for applications to take a key lent to a character the
// keyboard layout lacks. Without the line, the typer's own measured default.
std::chrono::milliseconds remapSettle() {
    const QString key = QStringLiteral("RemapSettle");
    if (GetIniValue(key).trimmed().isEmpty())
        return platform::KeyTyper::kDefaultRemapSettle;
    return std::chrono::milliseconds(std::max<int>(0, GetIniNumber(key)));
}

} // namespace

ScanSession::ScanSession(platform::CommControl& port, QObject* parent)
    : QObject(parent)
    , port_(port)
    , framer_(port, shared().strScanBuffer, shared().intTickCount,
              {{}, {}, [this](const QString& scan) { deliver(scan); }}) {
    connect(&port_, &platform::CommControl::received, this,
            platform::guarded([this] { framer_.receive(shared().CRLF); }));
    connect(&port_, &platform::CommControl::lost, this,
            platform::guarded([this](const QString& description) { onPortLost(description); }));
    connect(&watch_, &platform::SerialDeviceWatch::mayHaveArrived, this,
            platform::guarded([this] { reopen(); }));
}

ScanSession::~ScanSession() {
    closeTranslationTable();
}

void ScanSession::start() {
    SharedState& state = shared();
    state.blnTesting = false;
    state.strScanBuffer.clear();
    try {
        database_.emplace(platform::Database::open(db::GetDbPath()));
        codelink_.emplace(database_->openTable(QStringLiteral("tblCodelink")));
        codelink_->setIndex(QStringLiteral("PrimaryKey"));
        state.intTimeout = GetIniNumber(QStringLiteral("Timeout"));
        platform::keyTyper().setKeyDelay(
            std::max<int>(0, GetIniNumber(QStringLiteral("KeyDelay"))));
        platform::keyTyper().setRemapSettle(remapSettle());
        oneScanPerLine_ = GetIniNumber(QStringLiteral("OneScanPerLine")) != 0;
        const QString autoReconnect = GetIniValue(QStringLiteral("AutoReconnect"));
        autoReconnect_ = autoReconnect.isEmpty() || platform::val(autoReconnect) != 0;
        OpenScannerPort(port_, state.PortSetting, state.ComPort);
    } catch (...) {
        closeTranslationTable();
        throw;
    }
    framer_.start(state.intTimeout, oneScanPerLine_);
    Q_EMIT stateChanged(true);
}

void ScanSession::stop() {
    watch_.stop();
    shared().blnTesting = false;
    framer_.stop();
    closeTranslationTable();
    if (port_.portOpen())
        port_.setPortOpen(false);
    port_.setRThreshold(0);
    Q_EMIT stateChanged(false);
}

int ScanSession::trayStatus() const {
    if (!isOn())
        return 1;
    return shared().RetAsScan ? 2 : 0;
}

void ScanSession::closeTranslationTable() {
    codelink_.reset();
    database_.reset();
}

// A scan that cannot be delivered is reported and dropped, so that the next scan is delivered
// normally.
// A shared database server that went away is told once; its scans are neither typed nor
// acknowledged (the scanner signals each failure), scanning stays on, and the first scan after
// the server is back is translated again.
void ScanSession::deliver(const QString& scan) {
    if (platform::ownWindowHasKeyboardFocus()) {
        Q_EMIT scanRefused();
        return;
    }
    platform::runGuarded([&] {
        try {
            DeliverScan(scan, *codelink_, port_);
            serverLostTold_ = false;
        } catch (const platform::AppError& error) {
            if (error.number() != platform::err::ServerUnreachable)
                throw;
            if (!std::exchange(serverLostTold_, true))
                platform::msgBox(error.description() +
                                     QStringLiteral("\r\nScans are not typed until the server is "
                                                    "back; scanning goes on."),
                                 platform::Buttons::Ok, platform::Icon::Critical);
        }
    });
}

QString ScanSession::scannerDevice() const {
    return platform::serialDeviceLocation(platform::commPortDevice(port_.commPort()));
}

// The port is closed by now. What the scanner sent before it went has been delivered (a quiet-mode
// scan is complete now); a scan cut off by the loss is dropped, never joined to one sent after.
void ScanSession::onPortLost(const QString& description) {
    if (!isOn() || waiting())
        return;
    if (autoReconnect_) {
        framer_.lineLost(shared().CRLF);
        watch_.watch(scannerDevice());
        Q_EMIT scannerLost();
        return;
    }
    const QString port = shared().ComPort;
    stop();
    platform::msgBox(PortLostText(port, description) +
                         QStringLiteral("\r\nScanning has been stopped. Start it again when the "
                                        "scanner is back."),
                     platform::Buttons::Ok, platform::Icon::Critical);
}

// The same settings as at the start; they cannot have changed, as every window that changes them
// stops scanning first.
void ScanSession::reopen() {
    if (!waiting())
        return;
    const SharedState& state = shared();
    try {
        OpenScannerPort(port_, state.PortSetting, state.ComPort);
    } catch (const platform::AppError&) {
        return; // not back yet, or not ready (still being set up, or probed by another program)
    }
    watch_.stop();
    shared().strScanBuffer.clear();
    framer_.start(state.intTimeout, oneScanPerLine_);
    Q_EMIT scannerBack();
}

} // namespace core
