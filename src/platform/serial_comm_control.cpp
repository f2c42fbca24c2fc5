#include "platform/serial_comm_control.h"

#include "platform/app_error.h"

#include <QSerialPortInfo>

#include <algorithm>
#include <limits>

namespace platform {

namespace {

QSerialPort::Parity qtParity(Parity parity) {
    switch (parity) {
    case Parity::None:
        return QSerialPort::NoParity;
    case Parity::Even:
        return QSerialPort::EvenParity;
    case Parity::Odd:
        return QSerialPort::OddParity;
    case Parity::Mark:
        return QSerialPort::MarkParity;
    case Parity::Space:
        break;
    }
    return QSerialPort::SpaceParity;
}

// Termios has no 1.5 stop bits; a receiver reads the first stop bit only, so two serve as well.
bool setStopBits(QSerialPort& port, StopBits bits) {
    switch (bits) {
    case StopBits::One:
        return port.setStopBits(QSerialPort::OneStop);
    case StopBits::OneAndHalf:
        return port.setStopBits(QSerialPort::OneAndHalfStop) ||
               port.setStopBits(QSerialPort::TwoStop);
    case StopBits::Two:
        break;
    }
    return port.setStopBits(QSerialPort::TwoStop);
}

// A name that is no device now is most often a scanner that is unplugged, or the port of another.
AppError noSuchDevice(const QString& device, const QString& reason) {
    return AppError(err::CommInvalidPort,
                    QStringLiteral("There is no serial device %1 (%2). Check that the scanner is "
                                   "plugged in and that this is its port.")
                        .arg(device, reason));
}

AppError openFailure(const QSerialPort& port) {
    const QString device = port.portName();
    switch (port.error()) {
    case QSerialPort::DeviceNotFoundError:
        return noSuchDevice(device, port.errorString());
    case QSerialPort::PermissionError: // a lock file of another program, or Windows' own lock
        return AppError(err::CommPortAlreadyOpen,
                        QStringLiteral("Port already open: %1 is in use elsewhere (%2)")
                            .arg(device, port.errorString()));
    default:
        return AppError(err::CommHardwareUnavailable,
                        QStringLiteral("The hardware is not available: cannot open %1 (%2)")
                            .arg(device, port.errorString()));
    }
}

// Maker, product and serial number, as far as the system knows them. Windows' product names
// often start with the maker's name already.
QString describeDevice(const QSerialPortInfo& info) {
    QStringList words;
    if (!info.description().contains(info.manufacturer(), Qt::CaseInsensitive))
        words << info.manufacturer();
    words << info.description();
    words.removeAll(QString());
    QString label = words.join(u' ');
    if (!info.serialNumber().isEmpty())
        label += (label.isEmpty() ? QString() : QStringLiteral(", ")) +
                 QStringLiteral("serial number ") + info.serialNumber();
    return label;
}

} // namespace

QList<SerialPortChoice> availableSerialPorts() {
    const QList<QSerialPortInfo> infos = QSerialPortInfo::availablePorts();
    QList<SerialPortChoice> choices;
    QStringList linked;
    for (const SerialDeviceLink& link : stableSerialDeviceLinks()) {
        const auto info = std::find_if(infos.begin(), infos.end(), [&](const QSerialPortInfo& i) {
            return i.systemLocation() == link.device;
        });
        const QString known = info == infos.end() ? QString() : describeDevice(*info);
        const QString now = QStringLiteral("(%1)").arg(link.device);
        choices.append({link.link, known.isEmpty() ? now : known + u' ' + now});
        linked << link.device;
    }
    for (const QSerialPortInfo& info : infos) {
        if (linked.contains(info.systemLocation()))
            continue;
#ifdef Q_OS_WIN
        choices.append({info.portName(), describeDevice(info)});
#else
        choices.append({info.systemLocation(), describeDevice(info)});
#endif
    }
    return choices;
}

SerialCommControl::SerialCommControl(QObject* parent)
    : CommControl(parent) {
    connect(&port_, &QSerialPort::readyRead, this, &SerialCommControl::onReadyRead);
    connect(&port_, &QSerialPort::errorOccurred, this, &SerialCommControl::onPortError);
    hangUpCheck_.setInterval(kHangUpCheckInterval);
    connect(&hangUpCheck_, &QTimer::timeout, this, &SerialCommControl::checkHangUp);
    incompleteCharacter_.setSingleShot(true);
    connect(&incompleteCharacter_, &QTimer::timeout, this,
            &SerialCommControl::onIncompleteCharacterWaitOver);
}

SerialCommControl::~SerialCommControl() {
    close();
}

void SerialCommControl::setSettings(const QString& settings) {
    const CommSettings wanted = parseCommSettings(settings);
    if (port_.isOpen()) {
        applySettings(wanted);
    }
    settings_ = wanted;
}

QString SerialCommControl::settings() const {
    return settings_.text();
}

void SerialCommControl::setCommPort(const QString& port) {
    if (port_.isOpen())
        throw AppError(err::CommPortAlreadyOpen, QStringLiteral("Port already open"));
    commPortDevice(port); // refuses a port number out of range now, as the original did
    commPort_ = port.trimmed();
}

QString SerialCommControl::commPort() const {
    return commPort_;
}

QString SerialCommControl::deviceName() const {
    return serialDeviceLocation(commPortDevice(commPort_));
}

void SerialCommControl::setInBufferSize(int bytes) {
    if (bytes < 1)
        throw AppError(
            err::InvalidPropertyValue,
            QStringLiteral("Invalid property value: an input buffer of %1 bytes").arg(bytes));
    inBufferSize_ = bytes;
    port_.setReadBufferSize(bytes);
}

void SerialCommControl::setRThreshold(int bytes) {
    if (bytes < 0)
        throw AppError(
            err::InvalidPropertyValue,
            QStringLiteral("Invalid property value: a receive threshold of %1 bytes").arg(bytes));
    rThreshold_ = bytes;
}

void SerialCommControl::setIncompleteCharacterWait(std::chrono::milliseconds wait) {
    incompleteCharacterWait_ = wait;
}

void SerialCommControl::setPortOpen(bool open) {
    if (open)
        this->open();
    else
        close();
}

bool SerialCommControl::portOpen() const {
    return port_.isOpen();
}

int SerialCommControl::inBufferCount() const {
    if (!port_.isOpen())
        return 0;
    const qint64 waiting = port_.bytesAvailable() + (heldBytesGivenUp_ ? decoder_.heldBytes() : 0);
    return static_cast<int>(std::min<qint64>(waiting, std::numeric_limits<int>::max()));
}

QString SerialCommControl::input() {
    if (!port_.isOpen())
        return {};
    QString text = heldBytesGivenUp_ ? decoder_.flush() : QString();
    heldBytesGivenUp_ = false;
    const QByteArray bytes = port_.readAll();
    text += decoder_.decode(bytes);
    // The wait for the rest of a character starts when its first bytes arrive, and is not
    // prolonged by reads that bring nothing new.
    if (decoder_.heldBytes() == 0)
        incompleteCharacter_.stop();
    else if (!bytes.isEmpty() || !incompleteCharacter_.isActive())
        incompleteCharacter_.start(incompleteCharacterWait_);
    return text;
}

void SerialCommControl::output(const QByteArray& bytes) {
    if (!port_.isOpen())
        throw AppError(err::CommPortNotOpen, QStringLiteral("Port not open"));
    const qint64 written = port_.write(bytes);
    if (written == bytes.size())
        port_.flush(); // hand the bytes to the system now, not at the next event loop turn
    if (written == bytes.size() && !lossNoted_)
        return;
    const QString description =
        QStringLiteral("Error writing to %1 (%2)").arg(port_.portName(), port_.errorString());
    if (lossNoted_)
        close(); // lost() still follows from the event loop
    throw AppError(err::CommReadWriteFailed, description);
}

void SerialCommControl::open() {
    if (port_.isOpen())
        throw AppError(err::CommPortAlreadyOpen, QStringLiteral("Port already open"));
    const QString location = deviceName();
    claim_ = claimDevice(location);
    try {
        openClaimedPort(location);
    } catch (...) {
        claim_ = SerialDeviceClaim();
        throw;
    }
    ++session_;
    lossNoted_ = false;
    decoder_.reset();
    heldBytesGivenUp_ = false;
    hangUpCheck_.start();
}

void SerialCommControl::close() {
    hangUpCheck_.stop();
    incompleteCharacter_.stop();
    if (port_.isOpen())
        port_.close();
    claim_ = SerialDeviceClaim();
    decoder_.reset();
    heldBytesGivenUp_ = false;
}

SerialDeviceClaim SerialCommControl::claimDevice(const QString& location) const {
    SerialDeviceClaim claim = SerialDeviceClaim::claim(location);
    using Status = SerialDeviceClaim::Status;
    switch (claim.status()) {
    case Status::Claimed:
        return claim;
    case Status::NoSuchDevice:
        throw noSuchDevice(location, claim.reason());
    case Status::NotSerial:
        throw AppError(
            err::CommInvalidPort,
            QStringLiteral("Invalid port number: %1 is not a serial device").arg(location));
    case Status::InUse:
        throw AppError(err::CommPortAlreadyOpen,
                       QStringLiteral("Port already open: %1 is in use elsewhere").arg(location));
    case Status::AccessDenied:
    case Status::Failed:
        break;
    }
    throw AppError(err::CommHardwareUnavailable,
                   QStringLiteral("The hardware is not available: cannot open %1 (%2)")
                       .arg(location, claim.reason()));
}

void SerialCommControl::openClaimedPort(const QString& location) {
    port_.setPortName(location);
    port_.setReadBufferSize(inBufferSize_);
    if (!port_.open(QIODevice::ReadWrite))
        throw openFailure(port_);
    try {
        applySettings(settings_);
    } catch (...) {
        port_.close();
        throw;
    }
}

// Applies settings to the open port as a whole: when the device refuses one of them, the ones
// in force before are put back and the refusal is thrown as 380. A pseudo terminal refuses data
// bits and parity it has no line for; that is no reason to refuse it as a port.
void SerialCommControl::applySettings(const CommSettings& settings) {
    if (applyEach(settings) || claim_.pseudoTerminal())
        return;
    const QString reason = port_.errorString();
    applyEach(settings_);
    throw AppError(err::InvalidPropertyValue,
                   QStringLiteral("Invalid property value: %1 cannot use \"%2\" (%3)")
                       .arg(port_.portName(), settings.text(), reason));
}

// Every setting is tried, also after one was refused.
bool SerialCommControl::applyEach(const CommSettings& settings) {
    const bool results[] = {
        port_.setBaudRate(settings.baudRate),
        port_.setDataBits(static_cast<QSerialPort::DataBits>(settings.dataBits)),
        port_.setParity(qtParity(settings.parity)),
        setStopBits(port_, settings.stopBits),
        port_.setFlowControl(QSerialPort::NoFlowControl),
    };
    return std::all_of(std::begin(results), std::end(results), [](bool ok) { return ok; });
}

void SerialCommControl::onReadyRead() {
    emitReceivedIfDue();
}

void SerialCommControl::onPortError(QSerialPort::SerialPortError error) {
    // Open and settings failures are thrown by the calls that cause them; only a failing
    // device matters here.
    switch (error) {
    case QSerialPort::ResourceError:
        noteLoss(QStringLiteral("the device was removed or hung up"));
        break;
    case QSerialPort::ReadError:
        noteLoss(QStringLiteral("reading from it failed"));
        break;
    case QSerialPort::WriteError:
        noteLoss(QStringLiteral("writing to it failed"));
        break;
    default:
        break;
    }
}

void SerialCommControl::onIncompleteCharacterWaitOver() {
    if (!port_.isOpen() || decoder_.heldBytes() == 0)
        return;
    heldBytesGivenUp_ = true;
    emitReceivedIfDue();
}

void SerialCommControl::checkHangUp() {
    if (claim_.hungUp())
        noteLoss(QStringLiteral("the device was removed or hung up"));
}

// The port is closed and lost() sent from the event loop rather than here: this runs inside
// QSerialPort's own notification code, which must not see its port closed under it, and a
// handler of lost() may want to delete this object.
void SerialCommControl::noteLoss(const QString& what) {
    if (!port_.isOpen() || lossNoted_)
        return;
    lossNoted_ = true;
    const QString description = QStringLiteral("Lost the port %1: %2").arg(port_.portName(), what);
    QMetaObject::invokeMethod(
        this, [this, session = session_, description] { finishLoss(session, description); },
        Qt::QueuedConnection);
}

void SerialCommControl::finishLoss(quint64 session, const QString& description) {
    if (session != session_)
        return; // the port was closed and opened again meanwhile: that port is fine
    close();
    Q_EMIT lost(description);
}

void SerialCommControl::emitReceivedIfDue() {
    if (rThreshold_ >= 1 && inBufferCount() >= rThreshold_)
        Q_EMIT received();
}

} // namespace platform
