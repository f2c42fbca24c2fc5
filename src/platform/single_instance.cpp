#include "platform/single_instance.h"

#include "platform/focus.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace platform {

namespace {

const QByteArray kShowRequest = QByteArrayLiteral("show\n");
const QByteArray kShownReply = QByteArrayLiteral("shown\n");

QString userName() {
    QString name = qEnvironmentVariable("USER");
    if (name.isEmpty())
        name = qEnvironmentVariable("USERNAME");
    return name.isEmpty() ? QStringLiteral("user") : name;
}

QString lockFolder() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return folder;
}

} // namespace

SingleInstance::SingleInstance(const QString& key, QObject* parent)
    : QObject(parent)
    , serverName_(QString::fromLatin1(QCryptographicHash::hash((key + u'|' + userName()).toUtf8(),
                                                               QCryptographicHash::Sha1)
                                          .toHex()
                                          .left(16))
                      .prepend(QStringLiteral("orvane-")))
    , lock_(QDir(lockFolder()).filePath(serverName_ + QStringLiteral(".lock"))) {
    lock_.setStaleLockTime(0); // a lock is stale only when its process is gone
}

SingleInstance::~SingleInstance() {
    if (server_)
        server_->close();
}

bool SingleInstance::isFirst() {
    if (lock_.isLocked())
        return true;
    if (lock_.tryLock(0))
        return true;
    // A lock whose owner died is removed by tryLock itself; one more try covers the race
    // where it vanished between the attempt and now.
    return lock_.removeStaleLockFile() && lock_.tryLock(0);
}

bool SingleInstance::activateFirst(int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(serverName_);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    allowOtherProcessToTakeForeground();
    socket.write(kShowRequest);
    // Nothing may be left to wait for when the request went out at once.
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(timeoutMs))
            return false;
    }
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
    }
    return socket.readLine() == kShownReply;
}

bool SingleInstance::listen() {
    if (server_)
        return server_->isListening();
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    // The lock proves no other copy runs, so a socket file left behind by a crash is stale.
    QLocalServer::removeServer(serverName_);
    connect(server_, &QLocalServer::newConnection, this, &SingleInstance::onConnection);
    return server_->listen(serverName_);
}

void SingleInstance::onConnection() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            if (socket->readLine() == kShowRequest) {
                Q_EMIT activationRequested();
                socket->write(kShownReply);
                socket->flush();
            }
            socket->disconnectFromServer();
        });
    }
}

} // namespace platform
