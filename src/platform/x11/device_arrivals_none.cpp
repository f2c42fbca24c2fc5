#include "platform/serial_device_watch.h"

namespace platform {

// Built without libudev: no notices, the device watch looks at the device's path alone.
std::unique_ptr<QObject> watchDeviceArrivals(std::function<void()>) {
    return nullptr;
}

} // namespace platform
