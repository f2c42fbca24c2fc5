#pragma once

#include <QString>
#include <QTemporaryDir>

namespace testsupport {

// A private PostgreSQL server for the tests: a cluster made by initdb in a temporary folder and
// run by pg_ctl on a Unix socket in that folder (no TCP port), as the unprivileged user
// "postgres" when the tests run as root. It is stopped with the object, also when a test fails.
// When no server can be started, the constructor throws: shared-server tests fail, never skip.
class PgServer {
public:
    PgServer();
    ~PgServer();
    PgServer(const PgServer&) = delete;
    PgServer& operator=(const PgServer&) = delete;

    // The URI of a database of the server, as a workstation's setting names it.
    QString uri(const QString& database) const;
    // Makes an empty database.
    void createDatabase(const QString& name) const { sql("postgres", "CREATE DATABASE " + name); }
    // Runs SQL (several statements) in a database through psql, as the administrator.
    void sql(const QString& database, const QString& statements) const;

    // The server goes away (as a crashed server or a cut network does) and comes back.
    void stop();
    void start();

private:
    void run(const QString& program, const QStringList& arguments) const;

    QTemporaryDir dir_;
    QString bin_;
    int port_ = 0;
};

} // namespace testsupport
