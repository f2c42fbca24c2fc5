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
        QDir("/usr/lib/postgresql").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (auto it = versions.crbegin(); it != versions.crend(); ++it) {
        const QString bin = "/usr/lib/postgresql/" + *it + "/bin";
        if (QFile::exists(bin + "/initdb"))
            return bin;
    }
    throw std::runtime_error("PostgreSQL is not installed (no /usr/lib/postgresql/*/bin/initdb): "
                             "scripts/deps installs it");
}

} // namespace

PgServer::PgServer()
    : dir_("/tmp/orvane-pg-XXXXXX")
    , bin_(serverBinaries())
    , port_(50000 + int(QCoreApplication::applicationPid() % 10000)) {
    if (!dir_.isValid())
        throw std::runtime_error("cannot make a folder for the test server");
    if (geteuid() == 0)
        run("chown", {"postgres:postgres", dir_.path()});
    run(bin_ + "/initdb",
        {"-D", dir_.path() + "/data", "-U", "postgres", "--auth=trust", "-E", "UTF8", "--no-sync"});
    start();
    createDatabase("orvane");
}

PgServer::~PgServer() {
    try {
        stop();
    } catch (...) {
        // The folder goes with the object; a server that cannot stop dies with its files.
    }
}

QString PgServer::uri(const QString& database) const {
    return QString("postgresql:///%1?host=%2&port=%3&user=postgres")
        .arg(database, dir_.path())
        .arg(port_);
}

void PgServer::sql(const QString& database, const QString& statements) const {
    run("psql", {"-X", "-q", "-v", "ON_ERROR_STOP=1", "-h", dir_.path(), "-p",
                 QString::number(port_), "-U", "postgres", "-d", database, "-c", statements});
}

void PgServer::start() {
    run(bin_ + "/pg_ctl",
        {"-D", dir_.path() + "/data", "-l", dir_.path() + "/log", "-w", "-o",
         QString("-k %1 -p %2 -c listen_addresses= -c fsync=off").arg(dir_.path()).arg(port_),
         "start"});
}

void PgServer::stop() {
    run(bin_ + "/pg_ctl", {"-D", dir_.path() + "/data", "-m", "fast", "-w", "stop"});
}

// Runs a program; the server's own programs run as the user "postgres" when the tests run as
// root (the server refuses root).
void PgServer::run(const QString& program, const QStringList& arguments) const {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    if (geteuid() == 0 && program.startsWith(bin_))
        process.start("runuser", QStringList{"-u", "postgres", "--", program} + arguments);
    else
        process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        throw std::runtime_error("the test server's " + program.toStdString() +
                                 " failed: " + process.readAll().toStdString());
}

} // namespace testsupport
