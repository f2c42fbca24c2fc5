#pragma once

#include <QLockFile>
#include <QObject>
#include <QString>

#include <memory>

class QLocalServer;

namespace platform {

// One copy of the program per user. The first copy holds a lock file (the "previous instance"
// flag) for its whole life and, once its main window is ready, answers on a local socket. A
// second copy finds the lock taken, asks the first to show its main window, and ends; it ends as
// well when the first copy does not answer (it may still be starting up). A lock left behind by a
// copy that crashed is taken over.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // key names the program; the lock and socket names add the user, so each user has their own.
    explicit SingleInstance(const QString& key, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this is the only copy (the lock is now held by this process).
    bool isFirst();

    // In a second copy: asks the first copy to show its main window. True when it answered
    // within timeoutMs.
    bool activateFirst(int timeoutMs = 1000);

    // In the first copy: starts answering second copies; activationRequested() follows each.
    bool listen();

Q_SIGNALS:
    void activationRequested();

private:
    void onConnection();

    QString serverName_;
    QLockFile lock_;
    QLocalServer* server_ = nullptr;
};

} // namespace platform
