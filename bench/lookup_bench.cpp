// The translation lookup (equality seek on ScanValue in a 1,000,000-row tblCodelink) through the
// program's database layer, beside the same lookup through the raw SQLite C API, and the token
// conversion of typical patterns.
#include "bench_support.h"
#include "core/tokens.h"
#include "platform/database.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <memory>
#include <sqlite3.h>
#include <vector>

namespace {

constexpr long long kRows = 1'000'000;
QString g_dbFile;
std::vector<std::string> g_keys;

void prepareKeys() {
    // Nine of ten lookups hit a row, one misses, as unknown codes pass through in real use.
    for (long long i = 0; i < 10'000; ++i)
        g_keys.push_back(i % 10 == 9 ? "X" + std::to_string(i) : bench::scanCode(i * 97 % kRows));
}

void EngineSeek(benchmark::State& state) {
    platform::Database db = platform::Database::open(g_dbFile);
    platform::Table table = db.openTable("tblCodelink");
    table.setIndex("PrimaryKey");
    std::vector<QString> keys;
    for (const std::string& key : g_keys)
        keys.push_back(QString::fromStdString(key));
    size_t next = 0;
    for (auto _ : state) {
        table.seek(keys[next++ % keys.size()]);
        if (!table.noMatch()) {
            benchmark::DoNotOptimize(table.value("ReturnValue"));
            benchmark::DoNotOptimize(table.value("Unit"));
        }
    }
}

void RawSeek(benchmark::State& state) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(g_dbFile.toUtf8().constData(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_stmt* seek = nullptr;
    sqlite3_prepare_v2(db, "SELECT ReturnValue, Unit FROM tblCodelink WHERE ScanValue = ?", -1,
                       &seek, nullptr);
    size_t next = 0;
    for (auto _ : state) {
        const std::string& key = g_keys[next++ % g_keys.size()];
        sqlite3_bind_text(seek, 1, key.c_str(), static_cast<int>(key.size()), SQLITE_STATIC);
        if (sqlite3_step(seek) == SQLITE_ROW) {
            benchmark::DoNotOptimize(sqlite3_column_text(seek, 0));
            benchmark::DoNotOptimize(sqlite3_column_double(seek, 1));
        }
        sqlite3_reset(seek);
    }
    sqlite3_finalize(seek);
    sqlite3_close(db);
}

void StoredToSendKeys(benchmark::State& state) {
    const QString patterns[] = {"<RetVal><RET>", "<RetVal><TAB><UoM><RET>",
                                "<CTRL>s<RetVal><TAB><TAB><F2>", "<SHIFT><(>ab<)>x<<y<RET>"};
    size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(core::StoredToSendKeys(patterns[next++ % 4]));
}

BENCHMARK(EngineSeek)->Unit(benchmark::kMicrosecond)->MinTime(1.0);
BENCHMARK(RawSeek)->Unit(benchmark::kMicrosecond)->MinTime(1.0);
BENCHMARK(StoredToSendKeys)->Unit(benchmark::kMicrosecond);

// Prints the runs as usual and keeps their times for the ratio line.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            perIteration[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
    std::map<std::string, double> perIteration;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    std::printf("Filling tblCodelink with %lld rows...\n", kRows);
    bench::makeProgramFolder(dir.path(), kRows);
    g_dbFile = dir.filePath("dbscan.mdb");
    prepareKeys();

    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double engine = reporter.perIteration["EngineSeek/min_time:1.000"];
    const double raw = reporter.perIteration["RawSeek/min_time:1.000"];
    if (engine > 0 && raw > 0)
        std::printf("\nLookup through the database layer: %.2f us, raw SQLite: %.2f us, "
                    "ratio %.2f (target: at most 1.5)\n",
                    engine, raw, engine / raw);
    return 0;
}
