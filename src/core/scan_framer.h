#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <functional>

namespace platform {
class CommControl;
}

namespace core {

// The ending a scanner put after a scan, as far as it is taken off: none, CR LF or a lone Tab.
enum class ScanEnding { None, Ret, Tab };

// Drops one scanner ending: a buffer that is a lone Tab, or a CR LF at the end of a longer one.
// A longer scan that ends in a Tab keeps it. Says which ending was dropped.
ScanEnding TrimScanEnding(QString& buffer);

// Configures the port a scanner is wired to and opens it, in the order the port expects:
// settings text, port, a 512-byte input buffer, a receive event for every byte, open. An empty
// port text is port 0, which the port refuses as an invalid port number.
void OpenScannerPort(platform::CommControl& port, const QString& settings, const QString& comPort);

// What a user is told when the scanner's port went away while open.
QString PortLostText(const QString& comPort, const QString& description);

// How scans are cut out of what a scanner sends, for scanning and for the scanner test alike.
// Received characters collect in a buffer (owned by the caller) until a scan is complete:
//  - line mode: when the buffer holds a CR LF pair; everything that arrived with it belongs to
//    the same scan, and only its final CR LF is taken off;
//  - quiet mode: when the line has been quiet for ten ticks of the quiet time; each chunk has its
//    ending taken off as it stands, and restarts the count. With a quiet time of 0 every receive
//    event completes what has arrived so far.
// The quiet wait is a timer, not a nested event loop. Each tick adds one to the caller's tick
// counter (a 16-bit counter whose overflow is an error, as it always was).
class ScanFramer : public QObject {
    Q_OBJECT
public:
    struct Handlers {
        std::function<void()> chunk;              // characters were added to the buffer
        std::function<void(ScanEnding)> ending;   // an ending was taken off the buffer
        std::function<void(const QString&)> scan; // a complete scan; the buffer is empty again
    };

    ScanFramer(platform::CommControl& port, QString& buffer, std::int16_t& ticks, Handlers handlers,
               QObject* parent = nullptr);

    // Starts cutting scans with the given quiet time (milliseconds per tick); until then, and
    // after stop(), receive() does nothing. With oneScanPerLine, line mode makes every CR LF
    // the end of a scan of its own, for scanners that store scans and send them in one burst;
    // otherwise everything that arrived with the CR LF is one scan.
    void start(std::int16_t quietTickMs, bool oneScanPerLine = false);
    void stop();
    bool running() const { return running_; }
    // The line went away: a quiet-mode scan is as complete as it will get and is handed on; a
    // line-mode scan without its CR LF never will be, and is dropped. Then as stop().
    void lineLost(bool lineMode);

    // The port's receive event: takes everything waiting and completes what it can.
    void receive(bool lineMode);

    // The quiet-tick timer: interval 0 means stopped.
    int timerInterval() const { return timer_.isActive() ? timer_.interval() : 0; }

private:
    void receiveLines();
    void completeEachLine();
    void receiveUntilQuiet();
    void onTick();
    void finishQuietScan();
    void takeEnding();
    void complete();

    platform::CommControl& port_;
    QString& buffer_;
    std::int16_t& ticks_;
    Handlers handlers_;
    QTimer timer_;
    std::int16_t quietTickMs_ = 0;
    bool oneScanPerLine_ = false;
    bool running_ = false;
};

} // namespace core
