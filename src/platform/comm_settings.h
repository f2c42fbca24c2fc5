#pragma once

#include <QString>

// The two texts that choose a serial line: the settings text "baud,parity,data bits,stop bits"
// and the port, a number or a device name. Both are checked here, so that the serial port and
// its test double refuse the same texts with the same errors.
namespace platform {

enum class Parity { None, Even, Odd, Mark, Space };
enum class StopBits { One, OneAndHalf, Two };

struct CommSettings {
    int baudRate = 9600;
    Parity parity = Parity::None;
    int dataBits = 8;
    StopBits stopBits = StopBits::One;

    // The settings in their canonical text form, e.g. "9600,N,8,1".
    QString text() const;
    bool operator==(const CommSettings&) const = default;
};

// Reads "9600,N,8,1": a positive whole baud rate; parity N, E, O, M or S in either case; 5 to 8
// data bits; 1, 1.5 or 2 stop bits. Blanks around a part are ignored. Anything else throws
// AppError 380 "Invalid property value: ..." saying which part is wrong.
CommSettings parseCommSettings(const QString& text);

// Port numbers run from 1 to this; the systems we run on have no more.
inline constexpr int kMaxPortNumber = 255;

// The device a port text stands for. Blanks around it are ignored. A whole number n is the n-th
// serial port of the system ("COM<n>" on Windows, "/dev/ttyS<n-1>" on Linux); 0, a negative or a
// larger number than kMaxPortNumber throws AppError 8002 "Invalid port number". Any other text
// is a device name or path ("/dev/ttyUSB0", "COM7") and is used as it stands.
QString commPortDevice(const QString& port);

} // namespace platform
