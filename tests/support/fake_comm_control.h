#pragma once

#include "platform/app_error.h"
#include "platform/comm_control.h"
#include "platform/comm_settings.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace testsupport {

// A serial port for tests of the code that drives one. It checks the settings text and port the
// way the real port does (380, 8002, 8005), and the test plays the scanner: pushBytes() and
// pushText() hand it bytes as one read of the line. It records what the code did:
//   calls()    every setting, open, close and write, in order: "setSettings(9600,N,8,1)",
//              "setCommPort(1)", "setInBufferSize(512)", "setRThreshold(1)", "setPortOpen(true)",
//              "output(06)" (bytes in hex);
//   written()  all bytes given to output().
// Unlike the real port it holds back no split characters: input() decodes everything waiting
// (UTF-8 where valid, Latin-1 otherwise), so push whole characters.
class FakeCommControl : public platform::CommControl {
    Q_OBJECT
public:
    using CommControl::CommControl;

    // One read of the line: the bytes wait in the input buffer, and received() is sent once if
    // the receive threshold is at least 1 and reached. A closed port receives nothing: bytes
    // pushed then are dropped and false is returned.
    bool pushBytes(const QByteArray& bytes);
    bool pushText(const QString& text) { return pushBytes(text.toUtf8()); }
    // The port goes away: it is closed and lost(description) is sent at once (the real port
    // sends it from the event loop, so code that reacts must not rely on either).
    void simulateLoss(const QString& description = QStringLiteral("Lost the port: simulated"));
    // Every later setPortOpen(true) throws this error, until called with std::nullopt.
    void failOpenWith(std::optional<platform::AppError> error) { openFailure_ = std::move(error); }

    const QStringList& calls() const { return calls_; }
    const QByteArray& written() const { return written_; }
    void clearRecord();

    void setSettings(const QString& settings) override;
    QString settings() const override { return settings_.text(); }
    void setCommPort(const QString& port) override;
    QString commPort() const override { return commPort_; }
    void setInBufferSize(int bytes) override;
    void setRThreshold(int bytes) override;
    void setPortOpen(bool open) override;
    bool portOpen() const override { return open_; }
    int inBufferCount() const override { return open_ ? static_cast<int>(waiting_.size()) : 0; }
    QString input() override;
    void output(const QByteArray& bytes) override;

private:
    platform::CommSettings settings_;
    QString commPort_ = QStringLiteral("1");
    int rThreshold_ = 0;
    bool open_ = false;
    QByteArray waiting_;
    QByteArray written_;
    QStringList calls_;
    std::optional<platform::AppError> openFailure_;
};

} // namespace testsupport
