#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

// Watches for a serial device that went away to be there again. The signs come from the
// system's notices of new devices where it gives them (udev on Linux when the program is built
// with libudev, WM_DEVICECHANGE on Windows), and from a look at the device's name every
// kPollInterval, which serves the devices the system does not announce (pseudo terminals, a
// system without udev) and a device that was there but not ready at the last sign (still being
// set up, or probed by another program). mayHaveArrived() is a prompt to try opening the device,
// no promise that it opens; it keeps coming while the device is there and the watch is on.
class SerialDeviceWatch : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kPollInterval{250};

    explicit SerialDeviceWatch(QObject* parent = nullptr);
    ~SerialDeviceWatch() override;

    // location: "/dev/ttyACM0", a stable link such as "/dev/serial/by-id/...", "COM3".
    void watch(const QString& location);
    void stop(); // may be called from a handler of mayHaveArrived()
    bool watching() const { return poll_.isActive(); }

Q_SIGNALS:
    void mayHaveArrived();

private:
    void look();

    QTimer poll_;
    QString location_;
    std::unique_ptr<QObject> systemNotices_;
};

// The system's notices that a device came: arrived() is called on this thread for each while
// the returned object lives; null where the system gives none. Implemented per system.
std::unique_ptr<QObject> watchDeviceArrivals(std::function<void()> arrived);

} // namespace platform
