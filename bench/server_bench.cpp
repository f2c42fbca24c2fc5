// server_bench [ROWS]
//
// The shared translation table on a PostgreSQL server (a private one on a Unix socket) against
// the same table in the program's own file, in the same run:
//  - per-scan lookup on a 1,000,000-row table, as scanning does it (an equality seek on the
//    table's key): median and 99th percentile (target: 99th percentile under 1 ms);
//  - the data entry window's listing of that table: filling the grid model, and reading the
//    page of a random row as the view does when the user jumps there;
//  - a 100,000-line comma-separated import (target: at most 3 times as long on the server).
#include "bench_support.h"
#include "core/program_folder.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "db/codelink_model.h"
#include "db/shared_server.h"
#include "import/import_engine.h"
#include "platform/database.h"
#include "support/pg_server.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

struct Lookups {
    double median = 0;
    double p99 = 0;
};

Lookups timeLookups(const QString& location, long long rows) {
    platform::Database db = platform::Database::open(location);
    platform::Table codelink = db.openTable(QStringLiteral("tblCodelink"));
    codelink.setIndex(QStringLiteral("PrimaryKey"));
    std::vector<double> micros;
    for (int i = 0; i < 20'000; ++i) {
        const QString key = i % 10 == 9
                                ? QStringLiteral("UNKNOWN%1").arg(i)
                                : QString::fromStdString(bench::scanCode(i * 4999LL % rows));
        QElapsedTimer clock;
        clock.start();
        codelink.seek(key);
        if (!codelink.noMatch())
            codelink.value(QStringLiteral("ReturnValue"));
        micros.push_back(double(clock.nsecsElapsed()) / 1000.0);
    }
    std::sort(micros.begin(), micros.end());
    return {micros[micros.size() / 2], micros[micros.size() * 99 / 100]};
}

struct Listing {
    double fillSeconds = 0;
    double pageMedianMs = 0;
};

Listing timeListing(const QString& location) {
    db::CodelinkModel grid;
    QElapsedTimer clock;
    clock.start();
    const int rows = grid.fill(location, db::CodelinkModel::Layout::AllFields);
    Listing listing{double(clock.nsecsElapsed()) / 1e9, 0};
    std::vector<double> millis;
    for (int i = 0; i < 200; ++i) {
        clock.restart();
        grid.text(1 + int(i * 7919LL % rows), 1);
        millis.push_back(double(clock.nsecsElapsed()) / 1e6);
    }
    std::sort(millis.begin(), millis.end());
    listing.pageMedianMs = millis[millis.size() / 2];
    return listing;
}

double timeImport(const QString& csv) {
    import::NoProgress progress;
    QElapsedTimer clock;
    clock.start();
    import::ImportDelimitedFile(csv, u',', progress);
    return double(clock.nsecsElapsed()) / 1e9;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const long long rows = argc > 1 ? std::atoll(argv[1]) : 1'000'000;
    QTemporaryDir dir;
    std::printf("Filling both tables with %lld rows...\n", rows);
    bench::makeProgramFolder(dir.path(), rows);
    core::setProgramFolder(dir.path());
    core::LoadSettings();
    testsupport::PgServer server;
    const QString uri = server.uri(QStringLiteral("orvane"));
    db::InitSharedServer(uri, true);
    // The server settles after the bulk copy, as it would long before a store's next import:
    // the measurements below are not to share the machine with its vacuum and checkpoint.
    server.sql(QStringLiteral("orvane"), QStringLiteral("VACUUM ANALYZE"));
    server.sql(QStringLiteral("orvane"), QStringLiteral("CHECKPOINT"));

    const Lookups file = timeLookups(dir.filePath(QStringLiteral("dbscan.mdb")), rows);
    const Lookups shared = timeLookups(uri, rows);
    std::printf("lookup on %lld rows: file median %.1f us, 99th percentile %.1f us; server median "
                "%.1f us, 99th percentile %.1f us (target under 1000 us)\n",
                rows, file.median, file.p99, shared.median, shared.p99);

    const Listing fileList = timeListing(dir.filePath(QStringLiteral("dbscan.mdb")));
    const Listing serverList = timeListing(uri);
    std::printf("data entry listing: file fill %.2f s, page %.2f ms; server fill %.2f s, page "
                "%.2f ms\n",
                fileList.fillSeconds, fileList.pageMedianMs, serverList.fillSeconds,
                serverList.pageMedianMs);

    const QString csv = dir.filePath(QStringLiteral("items.csv"));
    QFile list(csv);
    list.open(QIODevice::WriteOnly);
    for (int i = 0; i < 100'000; ++i)
        list.write("NEW-" + QByteArray::number(i) + ",N" + QByteArray::number(i) + ",Widget\r\n");
    list.close();
    core::shared().IsDBShared = false;
    const double fileSeconds = timeImport(csv);
    core::shared().IsDBShared = true;
    core::shared().SharedDataBase = uri;
    const double serverSeconds = timeImport(csv);
    std::printf("100,000-line import: file %.2f s, server %.2f s, ratio %.2f (target at most 3)\n",
                fileSeconds, serverSeconds, serverSeconds / fileSeconds);
    return 0;
}
