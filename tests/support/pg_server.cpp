#include "support/pg_server.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>

#include <stdexcept>
#include <unistd.h>

namespace testsupport {

namespace {

// The server's programs of the newest PostgreSQL installed.
QString serverBinaries() {
    const QStringList versions =
        QDir(QStringLiteral("/usr/lib/postgresql")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (auto it = versions.crbegin(); it != versions.crend(); ++it) {
        const QString bin = QStringLiteral("/usr/lib/postgresql/%1/bin").arg(*it);
        if (QFile::exists(bin + QStringLiteral("/initdb")))
            return bin;
    }
    throw std::runtime_error("PostgreSQL is not installed (no /usr/lib/postgresql/*/bin/initdb): "
                             "scripts/deps installs it");
}

} // namespace

PgServer::PgServer()
    : dir_(QStringLiteral("/tmp/orvane-pg-XXXXXX"))
    , bin_(serverBinaries())
    , port_(50000 + int(QCoreApplication::applicationPid() % 10000)) {
    if (!dir_.isValid())
        throw std::runtime_error("cannot make a folder for the test server");
    if (geteuid() == 0)
        run(QStringLiteral("chown"), {QStringLiteral("postgres:postgres"), dir_.path()});
    run(bin_ + QStringLiteral("/initdb"),
        {QStringLiteral("-D"), dir_.path() + QStringLiteral("/data"), QStringLiteral("-U"),
         QStringLiteral("postgres"), QStringLiteral("--auth=trust"), QStringLiteral("-E"),
         QStringLiteral("UTF8"), QStringLiteral("--no-sync")});
    start();
    createDatabase(QStringLiteral("orvane"));
}

PgServer::~PgServer() {
    try {
        stop();
    } catch (...) {
        // The folder goes with the object; a server that cannot stop dies with its files.
    }
}

QString PgServer::uri(const QString& database) const {
    return QStringLiteral("postgresql:///%1?host=%2&port=%3&user=postgres")
        .arg(database, dir_.path())
        .arg(port_);
}

void PgServer::createDatabase(const QString& name) const {
    sql(QStringLiteral("postgres"), QStringLiteral("CREATE DATABASE %1").arg(name));
}

void PgServer::sql(const QString& database, const QString& statements) const {
    run(QStringLiteral("psql"),
        {QStringLiteral("-X"), QStringLiteral("-q"), QStringLiteral("-v"),
         QStringLiteral("ON_ERROR_STOP=1"), QStringLiteral("-h"), dir_.path(), QStringLiteral("-p"),
         QString::number(port_), QStringLiteral("-U"), QStringLiteral("postgres"),
         QStringLiteral("-d"), database, QStringLiteral("-c"), statements});
}

void PgServer::start() {
    run(bin_ + QStringLiteral("/pg_ctl"),
        {QStringLiteral("-D"), dir_.path() + QStringLiteral("/data"), QStringLiteral("-l"),
         dir_.path() + QStringLiteral("/log"), QStringLiteral("-w"), QStringLiteral("-o"),
         QStringLiteral("-k %1 -p %2 -c listen_addresses= -c fsync=off")
             .arg(dir_.path())
             .arg(port_),
         QStringLiteral("start")});
}

void PgServer::stop() {
    run(bin_ + QStringLiteral("/pg_ctl"),
        {QStringLiteral("-D"), dir_.path() + QStringLiteral("/data"), QStringLiteral("-m"),
         QStringLiteral("fast"), QStringLiteral("-w"), QStringLiteral("stop")});
}

// Runs a program, as the user "postgres" when the tests run as root (the server refuses root).
QString PgServer::run(const QString& program, const QStringList& arguments) const {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    const bool asServerUser =
        geteuid() == 0 && program != QStringLiteral("chown") && program != QStringLiteral("psql");
    if (asServerUser)
        process.start(QStringLiteral("runuser"),
                      QStringList{QStringLiteral("-u"), QStringLiteral("postgres"),
                                  QStringLiteral("--"), program} +
                          arguments);
    else
        process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        throw std::runtime_error("the test server's " + program.toStdString() +
                                 " failed: " + process.readAll().toStdString());
    return QString::fromLocal8Bit(process.readAll());
}

} // namespace testsupport
