#include "platform/serial_device_watch.h"

#include <QSocketNotifier>

#include <cstring>
#include <libudev.h>

namespace platform {

namespace {

struct UdevUnref {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_monitor* monitor) const { udev_monitor_unref(monitor); }
};
using UdevContext = std::unique_ptr<udev, UdevUnref>;
using UdevMonitor = std::unique_ptr<udev_monitor, UdevUnref>;

// The udev daemon's announcements of new tty devices. They come once udev has set a device up,
// its links in /dev/serial included, so a stable name can be opened at once.
class UdevTtyArrivals final : public QObject {
public:
    UdevTtyArrivals(UdevContext context, UdevMonitor monitor, std::function<void()> arrived)
        : context_(std::move(context))
        , monitor_(std::move(monitor))
        , arrived_(std::move(arrived))
        , notifier_(udev_monitor_get_fd(monitor_.get()), QSocketNotifier::Read) {
        connect(&notifier_, &QSocketNotifier::activated, this, [this] { takeAnnouncements(); });
    }

private:
    // The monitor's socket does not block: every waiting announcement is taken.
    void takeAnnouncements() {
        bool added = false;
        while (udev_device* device = udev_monitor_receive_device(monitor_.get())) {
            const char* action = udev_device_get_action(device);
            added = added || (action && std::strcmp(action, "add") == 0);
            udev_device_unref(device);
        }
        if (added)
            arrived_();
    }

    UdevContext context_;
    UdevMonitor monitor_;
    std::function<void()> arrived_;
    QSocketNotifier notifier_;
};

} // namespace

std::unique_ptr<QObject> watchDeviceArrivals(std::function<void()> arrived) {
    UdevContext context(udev_new());
    if (!context)
        return nullptr;
    UdevMonitor monitor(udev_monitor_new_from_netlink(context.get(), "udev"));
    if (!monitor ||
        udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "tty", nullptr) < 0 ||
        udev_monitor_enable_receiving(monitor.get()) < 0)
        return nullptr; // the look at the device's path serves alone
    return std::make_unique<UdevTtyArrivals>(std::move(context), std::move(monitor),
                                             std::move(arrived));
}

} // namespace platform
