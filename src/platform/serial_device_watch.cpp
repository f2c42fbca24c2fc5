#include "platform/serial_device_watch.h"

#include "platform/serial_device.h"

namespace platform {

SerialDeviceWatch::SerialDeviceWatch(QObject* parent)
    : QObject(parent) {
    poll_.setInterval(kPollInterval);
    connect(&poll_, &QTimer::timeout, this, &SerialDeviceWatch::look);
}

SerialDeviceWatch::~SerialDeviceWatch() = default;

// The system's notices are listened to from the first watch on, and ignored between watches:
// stopping must not end them from inside their own handler.
void SerialDeviceWatch::watch(const QString& location) {
    location_ = location;
    if (!systemNotices_)
        systemNotices_ = watchDeviceArrivals([this] {
            if (watching())
                Q_EMIT mayHaveArrived();
        });
    poll_.start();
}

void SerialDeviceWatch::stop() {
    poll_.stop();
}

void SerialDeviceWatch::look() {
    if (serialDeviceExists(location_))
        Q_EMIT mayHaveArrived();
}

} // namespace platform
