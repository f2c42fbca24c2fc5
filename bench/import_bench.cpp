// import_bench [LINES]
//
// Imports a generated 1,000,000-line comma-separated list and a 1,000,000-item IIF export into an
// empty translation table through the program's import engine, and, in the same run, the same
// list through sqlite3's own ".import" into a table with the same unique, case-blind scan key.
// Prints the times, their ratios (target for the list: at most 1.3) and this process's peak
// resident memory (target: under 100 MB whatever the file's size).
#include "bench_support.h"
#include "core/program_folder.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "import/import_engine.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <vector>

namespace {

constexpr int kRounds = 3;

void writeFile(const QString& path, long long lines,
               const std::function<QByteArray(long long)>& line, const QByteArray& header = {}) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw std::runtime_error("cannot write " + path.toStdString());
    file.write(header);
    QByteArray chunk;
    for (long long i = 0; i < lines; ++i) {
        chunk += line(i);
        if (chunk.size() > (1 << 20)) {
            file.write(chunk);
            chunk.clear();
        }
    }
    file.write(chunk);
}

QByteArray csvLine(long long i) {
    return "ITEM-" + QByteArray::number(i) + ',' + QByteArray::fromStdString(bench::scanCode(i)) +
           ",Widget " + QByteArray::number(i % 977) + " size " + QByteArray::number(i % 13) +
           "\r\n";
}

QByteArray iifLine(long long i) {
    return "INVITEM\tITEM-" + QByteArray::number(i) + "\t" + QByteArray::number(i) +
           "\t0\tINVENTORY\tWidget " + QByteArray::number(i % 977) +
           "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t" + QByteArray::fromStdString(bench::scanCode(i)) +
           "\r\n";
}

double seconds(const std::function<void()>& work) {
    QElapsedTimer clock;
    clock.start();
    work();
    return double(clock.nsecsElapsed()) / 1e9;
}

void emptyCodelink(const QString& folder) {
    QProcess sqlite;
    sqlite.start("sqlite3", {folder + "/dbscan.mdb", "DELETE FROM tblCodelink; VACUUM;"});
    sqlite.waitForFinished(-1);
}

// sqlite3's own CSV import into a table keyed as tblCodelink is.
double sqliteImport(const QString& folder, const QString& csv) {
    const QString file = folder + "/reference.db";
    QFile::remove(file);
    QProcess create;
    create.start("sqlite3", {file, "CREATE TABLE items (ReturnValue TEXT, ScanValue TEXT COLLATE "
                                   "NOCASE NOT NULL PRIMARY KEY, Descrip TEXT);"});
    create.waitForFinished(-1);
    return seconds([&] {
        QProcess import;
        import.start("sqlite3", {file, "-cmd", ".mode csv", ".import '" + csv + "' items"});
        import.waitForFinished(-1);
        if (import.exitCode() != 0)
            throw std::runtime_error("sqlite3 .import failed: " +
                                     import.readAllStandardError().toStdString());
    });
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const long long lines = argc > 1 ? std::atoll(argv[1]) : 1'000'000;
    QTemporaryDir dir;
    bench::makeProgramFolder(dir.path(), 0);
    core::setProgramFolder(dir.path());
    core::LoadSettings();

    const QString csv = dir.filePath("items.csv");
    const QString iif = dir.filePath("items.iif");
    writeFile(csv, lines, csvLine);
    writeFile(iif, lines, iifLine,
              "!HDR\tPROD\r\nHDR\tQuickBooks\r\n!CUSTITEMDICT\r\n!INVITEM\r\n");

    // Both sides vary with the other work on the machine: the list and sqlite3 take turns, three
    // rounds, and the median ratio counts.
    import::NoProgress progress;
    import::ImportResult result;
    std::vector<double> ratios;
    for (int round = 1; round <= kRounds; ++round) {
        emptyCodelink(dir.path());
        const double reference = sqliteImport(dir.path(), csv);
        const double delimited =
            seconds([&] { result = import::ImportDelimitedFile(csv, u',', progress); });
        ratios.push_back(delimited / reference);
        std::printf("round %d: comma-separated list, %lld lines: %.2f s (%lld rows written); "
                    "sqlite3 .import %.2f s; ratio %.2f\n",
                    round, lines, delimited, result.written(), reference, ratios.back());
    }
    std::sort(ratios.begin(), ratios.end());
    const double reference = sqliteImport(dir.path(), csv);
    std::printf("median ratio %.2f (target at most 1.3)\n", ratios[ratios.size() / 2]);

    emptyCodelink(dir.path());
    const double iifSeconds = seconds([&] {
        result = import::ImportIifFile(
            {iif, "QuickBooks", "Custom Field 1", "Item Name", "Description", {}}, progress);
    });
    std::printf("IIF export, %lld items: %.2f s (%lld rows written); ratio to sqlite3 .import of "
                "the list (%.2f s, just before) %.2f\n",
                lines, iifSeconds, result.written(), reference, iifSeconds / reference);
    std::printf("peak resident memory: %.1f MB (target under 100 MB)\n",
                bench::statusMegabytes("VmHWM:"));
    return 0;
}
