#include "core/scan_framer.h"

#include "platform/app_error.h"
#include "platform/comm_control.h"
#include "platform/error_report.h"

#include <limits>

namespace core {

namespace {
constexpr int kQuietTicks = 10;
constexpr int kInBufferSize = 512;
} // namespace

void OpenScannerPort(platform::CommControl& port, const QString& settings, const QString& comPort) {
    port.setSettings(settings);
    port.setCommPort(comPort.trimmed().isEmpty() ? QStringLiteral("0") : comPort);
    port.setInBufferSize(kInBufferSize);
    port.setRThreshold(1);
    port.setPortOpen(true);
}

QString PortLostText(const QString& comPort, const QString& description) {
    return QStringLiteral("Com Port#%1 is no longer available: %2").arg(comPort, description);
}

ScanEnding TrimScanEnding(QString& buffer) {
    if (buffer.size() == 1 && buffer[0] == u'\t') {
        buffer.clear();
        return ScanEnding::Tab;
    }
    if (buffer.size() >= 2 && buffer.endsWith(QStringLiteral("\r\n"))) {
        buffer.chop(2);
        return ScanEnding::Ret;
    }
    return ScanEnding::None;
}

ScanFramer::ScanFramer(platform::CommControl& port, QString& buffer, std::int16_t& ticks,
                       Handlers handlers, QObject* parent)
    : QObject(parent)
    , port_(port)
    , buffer_(buffer)
    , ticks_(ticks)
    , handlers_(std::move(handlers)) {
    connect(&timer_, &QTimer::timeout, this, platform::guarded([this] { onTick(); }));
}

void ScanFramer::start(std::int16_t quietTickMs, bool oneScanPerLine) {
    quietTickMs_ = quietTickMs;
    oneScanPerLine_ = oneScanPerLine;
    running_ = true;
}

void ScanFramer::stop() {
    running_ = false;
    timer_.stop();
}

void ScanFramer::lineLost(bool lineMode) {
    if (!lineMode)
        finishQuietScan();
    stop();
    buffer_.clear();
}

void ScanFramer::receive(bool lineMode) {
    if (!running_ || port_.inBufferCount() < 1)
        return;
    if (lineMode)
        receiveLines();
    else
        receiveUntilQuiet();
}

void ScanFramer::receiveLines() {
    while (running_ && port_.inBufferCount() >= 1) {
        buffer_ += port_.input();
        if (handlers_.chunk)
            handlers_.chunk();
        if (buffer_.isEmpty() || !buffer_.contains(QStringLiteral("\r\n")))
            continue; // the rest of the scan comes with a later event
        if (oneScanPerLine_) {
            completeEachLine();
            continue;
        }
        takeEnding();
        complete();
    }
}

// Each CR LF ends a scan; what follows the last one waits for the rest of its scan.
void ScanFramer::completeEachLine() {
    qsizetype end = 0;
    while (running_ && (end = buffer_.indexOf(QStringLiteral("\r\n"))) >= 0) {
        const QString scan = buffer_.left(end);
        buffer_.remove(0, end + 2);
        if (handlers_.ending)
            handlers_.ending(ScanEnding::Ret);
        handlers_.scan(scan);
    }
}

void ScanFramer::receiveUntilQuiet() {
    while (port_.inBufferCount() >= 1) {
        buffer_ += port_.input();
        if (handlers_.chunk)
            handlers_.chunk();
        takeEnding();
    }
    ticks_ = 0;
    if (quietTickMs_ > 0) {
        timer_.start(quietTickMs_); // restarts the quiet count
        return;
    }
    finishQuietScan();
}

void ScanFramer::onTick() {
    if (ticks_ == std::numeric_limits<std::int16_t>::max())
        throw platform::AppError(platform::err::Overflow, QStringLiteral("Overflow"));
    ++ticks_;
    if (ticks_ >= kQuietTicks)
        finishQuietScan();
}

void ScanFramer::finishQuietScan() {
    timer_.stop();
    if (!running_)
        return;
    if (!buffer_.isEmpty())
        complete();
    buffer_.clear();
}

void ScanFramer::takeEnding() {
    const ScanEnding ending = TrimScanEnding(buffer_);
    if (ending != ScanEnding::None && handlers_.ending)
        handlers_.ending(ending);
}

void ScanFramer::complete() {
    const QString scan = buffer_;
    buffer_.clear();
    handlers_.scan(scan);
}

} // namespace core
