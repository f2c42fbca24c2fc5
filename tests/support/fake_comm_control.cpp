#include "support/fake_comm_control.h"

#include "platform/serial_text.h"

namespace testsupport {

using platform::AppError;
namespace err = platform::err;

bool FakeCommControl::pushBytes(const QByteArray& bytes) {
    if (!open_)
        return false;
    waiting_ += bytes;
    if (rThreshold_ >= 1 && inBufferCount() >= rThreshold_)
        Q_EMIT received();
    return true;
}

void FakeCommControl::simulateLoss(const QString& description) {
    open_ = false;
    waiting_.clear();
    Q_EMIT lost(description);
}

void FakeCommControl::clearRecord() {
    calls_.clear();
    written_.clear();
}

void FakeCommControl::setSettings(const QString& settings) {
    calls_ << QStringLiteral("setSettings(%1)").arg(settings);
    settings_ = platform::parseCommSettings(settings);
}

void FakeCommControl::setCommPort(const QString& port) {
    calls_ << QStringLiteral("setCommPort(%1)").arg(port);
    if (open_)
        throw AppError(err::CommPortAlreadyOpen, QStringLiteral("Port already open"));
    platform::commPortDevice(port);
    commPort_ = port.trimmed();
}

void FakeCommControl::setInBufferSize(int bytes) {
    calls_ << QStringLiteral("setInBufferSize(%1)").arg(bytes);
}

void FakeCommControl::setRThreshold(int bytes) {
    calls_ << QStringLiteral("setRThreshold(%1)").arg(bytes);
    rThreshold_ = bytes;
}

void FakeCommControl::setPortOpen(bool open) {
    calls_ << QStringLiteral("setPortOpen(%1)").arg(open ? "true" : "false");
    if (open && open_)
        throw AppError(err::CommPortAlreadyOpen, QStringLiteral("Port already open"));
    if (open && openFailure_)
        throw *openFailure_;
    open_ = open;
    waiting_.clear();
}

QString FakeCommControl::input() {
    if (!open_)
        return {};
    platform::SerialTextDecoder decoder;
    QString text = decoder.decode(waiting_);
    text += decoder.flush(); // the order matters: flush gives what decode held back
    waiting_.clear();
    return text;
}

void FakeCommControl::output(const QByteArray& bytes) {
    calls_ << QStringLiteral("output(%1)").arg(QString::fromLatin1(bytes.toHex(' ')));
    if (!open_)
        throw AppError(err::CommPortNotOpen, QStringLiteral("Port not open"));
    written_ += bytes;
}

} // namespace testsupport
