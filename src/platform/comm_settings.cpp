#include "platform/comm_settings.h"

#include "platform/app_error.h"
#include "platform/comm_control.h"
#include "platform/serial_device.h"

#include <QStringList>

#include <algorithm>

namespace platform {

namespace {

[[noreturn]] void refuseSettings(const QString& text, const QString& reason) {
    throw AppError(err::InvalidPropertyValue,
                   QStringLiteral("Invalid property value: \"%1\": %2").arg(text, reason));
}

// A run of digits only: "+9600", "9 600" or "9600.0" are not baud rates.
bool isDigits(const QString& text) {
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
}

int readBaudRate(const QString& part, const QString& text) {
    bool fits = false;
    const int baud = isDigits(part) ? part.toInt(&fits) : 0;
    if (!fits || baud <= 0)
        refuseSettings(
            text, QStringLiteral("the baud rate \"%1\" is not a positive whole number").arg(part));
    return baud;
}

Parity readParity(const QString& part, const QString& text) {
    static const QString letters = QStringLiteral("NEOMS");
    const int index = part.size() == 1 ? letters.indexOf(part.at(0).toUpper()) : -1;
    if (index < 0)
        refuseSettings(
            text, QStringLiteral("the parity \"%1\" is not one of N, E, O, M and S").arg(part));
    return static_cast<Parity>(index);
}

int readDataBits(const QString& part, const QString& text) {
    const int bits = isDigits(part) && part.size() == 1 ? part.toInt() : 0;
    if (bits < 5 || bits > 8)
        refuseSettings(text, QStringLiteral("the data bits \"%1\" are not 5, 6, 7 or 8").arg(part));
    return bits;
}

StopBits readStopBits(const QString& part, const QString& text) {
    if (part == QLatin1String("1"))
        return StopBits::One;
    if (part == QLatin1String("1.5"))
        return StopBits::OneAndHalf;
    if (part == QLatin1String("2"))
        return StopBits::Two;
    refuseSettings(text, QStringLiteral("the stop bits \"%1\" are not 1, 1.5 or 2").arg(part));
}

QString stopBitsText(StopBits bits) {
    switch (bits) {
    case StopBits::One:
        return QStringLiteral("1");
    case StopBits::OneAndHalf:
        return QStringLiteral("1.5");
    case StopBits::Two:
        break;
    }
    return QStringLiteral("2");
}

// An optional sign and digits: the text means a port number rather than a device name.
bool looksLikeNumber(const QString& text) {
    const QString digits = text.startsWith(u'-') || text.startsWith(u'+') ? text.mid(1) : text;
    return isDigits(digits);
}

[[noreturn]] void refusePort(const QString& reason) {
    throw AppError(err::CommInvalidPort, QStringLiteral("Invalid port number: %1").arg(reason));
}

} // namespace

QString CommSettings::text() const {
    static const QString letters = QStringLiteral("NEOMS");
    return QStringLiteral("%1,%2,%3,%4")
        .arg(baudRate)
        .arg(letters.at(static_cast<int>(parity)))
        .arg(dataBits)
        .arg(stopBitsText(stopBits));
}

CommSettings parseCommSettings(const QString& text) {
    const QStringList parts = text.split(u',');
    if (parts.size() != 4)
        refuseSettings(text, QStringLiteral("expected baud,parity,data bits,stop bits"));
    return {readBaudRate(parts[0].trimmed(), text), readParity(parts[1].trimmed(), text),
            readDataBits(parts[2].trimmed(), text), readStopBits(parts[3].trimmed(), text)};
}

QString commPortDevice(const QString& port) {
    const QString text = port.trimmed();
    if (text.isEmpty())
        refusePort(QStringLiteral("no port given"));
    if (!looksLikeNumber(text))
        return text;
    bool fits = false;
    const int number = text.toInt(&fits);
    if (!fits || number < 1 || number > kMaxPortNumber)
        refusePort(
            QStringLiteral("%1 is not a port number from 1 to %2").arg(text).arg(kMaxPortNumber));
    return serialPortForNumber(number);
}

} // namespace platform
