#include "platform/serial_device_watch.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>

// windows.h first: dbt.h builds on it.
// clang-format off
#include <windows.h>
#include <dbt.h>
// clang-format on

namespace platform {

namespace {

// WM_DEVICECHANGE, which Windows sends to every top-level window (hidden ones too) when a device
// arrives, a USB serial adapter's COM port among them. The prompt is passed on from the event
// loop rather than from inside the window procedure, which the sender waits for.
class DeviceChangeFilter final : public QObject, public QAbstractNativeEventFilter {
public:
    explicit DeviceChangeFilter(std::function<void()> arrived)
        : arrived_(std::move(arrived)) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
    ~DeviceChangeFilter() override {
        if (QCoreApplication* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
    }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "windows_generic_MSG")
            return false;
        const auto* msg = static_cast<const MSG*>(message);
        if (msg->message == WM_DEVICECHANGE &&
            (msg->wParam == DBT_DEVICEARRIVAL || msg->wParam == DBT_DEVNODES_CHANGED))
            QMetaObject::invokeMethod(this, arrived_, Qt::QueuedConnection);
        return false; // other windows and filters may want it as well
    }

private:
    std::function<void()> arrived_;
};

} // namespace

std::unique_ptr<QObject> watchDeviceArrivals(std::function<void()> arrived) {
    if (!QCoreApplication::instance())
        return nullptr;
    return std::make_unique<DeviceChangeFilter>(std::move(arrived));
}

} // namespace platform
