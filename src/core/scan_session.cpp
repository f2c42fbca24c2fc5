#include "core/scan_session.h"

#include "core/delivery.h"
#include "core/ini_file.h"
#include "core/shared_state.h"
#include "db/db_path.h"
#include "platform/app_error.h"
#include "platform/comm_control.h"
#include "platform/conversions.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/send_keys.h"

#include <limits>

namespace core {

namespace {

constexpr int kInBufferSize = 512;
constexpr int kQuietTicks = 10;

std::int16_t iniNumber(const QString& key) {
    return platform::toInt16(platform::val(GetIniValue(key)));
}

} // namespace

void TrimScanEnding(QString& buffer) {
    if (buffer.size() == 1 && buffer[0] == u'\t')
        buffer.clear();
    else if (buffer.size() >= 2 && buffer.endsWith(QStringLiteral("\r\n")))
        buffer.chop(2);
}

ScanSession::ScanSession(platform::CommControl& port, QObject* parent)
    : QObject(parent)
    , port_(port) {
    connect(&port_, &platform::CommControl::received, this,
            platform::guarded([this] { onReceived(); }));
    connect(&port_, &platform::CommControl::lost, this,
            platform::guarded([this](const QString& description) { onPortLost(description); }));
    connect(&timer_, &QTimer::timeout, this, platform::guarded([this] { onTick(); }));
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
        state.intTimeout = iniNumber(QStringLiteral("Timeout"));
        platform::keyTyper().setKeyDelay(std::max<int>(0, iniNumber(QStringLiteral("KeyDelay"))));

        port_.setSettings(state.PortSetting);
        port_.setCommPort(state.ComPort.trimmed().isEmpty() ? QStringLiteral("0") : state.ComPort);
        port_.setInBufferSize(kInBufferSize);
        port_.setRThreshold(1);
        port_.setPortOpen(true);
    } catch (...) {
        closeTranslationTable();
        throw;
    }
    Q_EMIT stateChanged(true);
}

void ScanSession::stop() {
    shared().blnTesting = false;
    closeTranslationTable();
    if (port_.portOpen())
        port_.setPortOpen(false);
    port_.setRThreshold(0);
    timer_.stop();
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

void ScanSession::onReceived() {
    if (!isOn() || port_.inBufferCount() < 1)
        return;
    if (shared().CRLF)
        receiveLines();
    else
        receiveUntilQuiet();
}

void ScanSession::receiveLines() {
    SharedState& state = shared();
    while (isOn() && port_.inBufferCount() >= 1) {
        state.strScanBuffer += port_.input();
        if (state.strScanBuffer.isEmpty() || !state.strScanBuffer.contains(QStringLiteral("\r\n")))
            continue;
        TrimScanEnding(state.strScanBuffer);
        deliverBuffer();
    }
}

void ScanSession::receiveUntilQuiet() {
    SharedState& state = shared();
    while (port_.inBufferCount() >= 1) {
        state.strScanBuffer += port_.input();
        if (!state.strScanBuffer.isEmpty())
            TrimScanEnding(state.strScanBuffer);
    }
    state.intTickCount = 0;
    if (state.intTimeout > 0) {
        timer_.start(state.intTimeout); // restarts the quiet count
        return;
    }
    finishQuietScan();
}

void ScanSession::onTick() {
    SharedState& state = shared();
    if (state.intTickCount == std::numeric_limits<std::int16_t>::max())
        throw platform::AppError(platform::err::Overflow, QStringLiteral("Overflow"));
    ++state.intTickCount;
    if (state.intTickCount >= kQuietTicks)
        finishQuietScan();
}

void ScanSession::finishQuietScan() {
    timer_.stop();
    if (!isOn())
        return;
    if (!shared().strScanBuffer.isEmpty())
        deliverBuffer();
    shared().strScanBuffer.clear();
}

// Delivers the buffer and empties it. A scan that cannot be delivered is reported and dropped,
// so that the next scan is delivered normally.
void ScanSession::deliverBuffer() {
    SharedState& state = shared();
    const QString scan = state.strScanBuffer;
    state.strScanBuffer.clear();
    platform::runGuarded([&] { DeliverScan(scan, *codelink_, port_); });
}

void ScanSession::onPortLost(const QString& description) {
    if (!isOn())
        return;
    const QString port = shared().ComPort;
    stop();
    platform::msgBox(QStringLiteral("Com Port#%1 is no longer available: %2\r\nScanning has been "
                                    "stopped. Start it again when the scanner is back.")
                         .arg(port, description),
                     platform::Buttons::Ok, platform::Icon::Critical);
}

} // namespace core
