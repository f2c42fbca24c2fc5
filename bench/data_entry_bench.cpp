// The data entry window on a 1,000,000-row translation table: opening it until the first rows
// are painted (with the resident memory of the process afterwards), jumping to the end of the
// table, and jumping to random places in it.
//
//   data_entry_bench                          runs the benchmarks
//   data_entry_bench --screenshot=FILE.png    renders the window on a few hundred catalogue
//                                             rows into FILE.png instead
#include "bench_support.h"
#include "core/program_folder.h"
#include "db/frm_data_entry.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QTableView>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

namespace {

constexpr long long kRows = 1'000'000;

QTableView* gridOf(db::frmDataEntry& window) {
    return window.findChild<QTableView*>(QStringLiteral("MSFlexGrid1"));
}

// Shows the window and paints it, so that the visible rows are read from the file.
void paint(QWidget& window) {
    QCoreApplication::processEvents();
    benchmark::DoNotOptimize(window.grab());
}

void OpenWindow(benchmark::State& state) {
    for (auto _ : state) {
        db::frmDataEntry window;
        window.load();
        window.show();
        paint(window);
        state.PauseTiming();
        state.counters["rss_MB"] = bench::statusMegabytes("VmRSS:");
        state.counters["peak_rss_MB"] = bench::statusMegabytes("VmHWM:");
        state.counters["rows"] = gridOf(window)->model()->rowCount();
        state.ResumeTiming();
    }
}

void ScrollToEnd(benchmark::State& state) {
    db::frmDataEntry window;
    window.load();
    window.show();
    paint(window);
    QTableView* grid = gridOf(window);
    for (auto _ : state) {
        state.PauseTiming();
        grid->scrollToTop();
        paint(window);
        state.ResumeTiming();
        grid->scrollToBottom();
        paint(window);
    }
    state.counters["last_row_read"] =
        grid->model()->index(grid->model()->rowCount() - 1, 0).data().toString().size() > 0;
}

void JumpAround(benchmark::State& state) {
    db::frmDataEntry window;
    window.load();
    window.show();
    paint(window);
    QScrollBar* bar = gridOf(window)->verticalScrollBar();
    QRandomGenerator random(42);
    for (auto _ : state) {
        bar->setValue(static_cast<int>(random.bounded(bar->maximum() + 1)));
        paint(window);
    }
}

BENCHMARK(OpenWindow)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(ScrollToEnd)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);
BENCHMARK(JumpAround)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(200);

// --- screenshot ------------------------------------------------------------------------------

// A hardware store's catalogue: UPC-A scan codes, item numbers as return values, descriptions
// and units, some of them entered by hand.
void fillCatalogue(const QString& databaseFile) {
    static const char* const kItems[][2] = {{"Claw hammer", "16 oz fiberglass handle"},
                                            {"Framing hammer", "22 oz steel"},
                                            {"Screwdriver", "Phillips #2 x 4 in"},
                                            {"Screwdriver", "slotted 1/4 x 6 in"},
                                            {"Adjustable wrench", "10 in chrome"},
                                            {"Combination wrench", "metric 13 mm"},
                                            {"Slip joint pliers", "8 in"},
                                            {"Needle nose pliers", "6 in"},
                                            {"Drill bit", "HSS 1/4 in"},
                                            {"Drill bit", "masonry 3/8 in"},
                                            {"Circular saw blade", "7-1/4 in 24T"},
                                            {"Hacksaw blade", "12 in 24 TPI"},
                                            {"Common nails", "16d box of 100"},
                                            {"Finish nails", "8d box of 100"},
                                            {"Wood screws", "#8 x 1-1/4 in box of 50"},
                                            {"Drywall screws", "1-5/8 in box of 100"},
                                            {"Hex bolt", "3/8-16 x 2 in zinc"},
                                            {"Flat washer", "3/8 in zinc"},
                                            {"Tape measure", "25 ft"},
                                            {"Torpedo level", "9 in magnetic"},
                                            {"Wood glue", "8 oz"},
                                            {"Sandpaper", "120 grit pack of 5"},
                                            {"Paint brush", "2 in angled sash"},
                                            {"Paint roller", "9 in 3/8 nap"},
                                            {"Utility knife", "retractable"},
                                            {"Utility blades", "pack of 10"},
                                            {"Extension cord", "25 ft 14/3"},
                                            {"Work gloves", "leather large"},
                                            {"Safety glasses", "clear anti-fog"},
                                            {"Duct tape", "1.88 in x 60 yd"}};
    static const int kUnits[] = {1, 1, 1, 6, 12, 24, 100};
    sqlite3* db = nullptr;
    sqlite3_open(databaseFile.toUtf8().constData(), &db);
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO tblCodelink VALUES (?, ?, ?, ?)", -1, &insert, nullptr);
    QRandomGenerator random(2026);
    for (int i = 0; i < 320; ++i) {
        const auto& item = kItems[i % std::size(kItems)];
        std::string upc = "0" + std::to_string(4100000000LL + random.bounded(9999999));
        int sum = 0;
        for (size_t d = 0; d < upc.size(); ++d)
            sum += (upc[d] - '0') * (d % 2 == 0 ? 3 : 1);
        upc += std::to_string((10 - sum % 10) % 10);
        const std::string itemNumber = "HW-" + std::to_string(1000 + i * 7);
        const std::string description = std::string(item[0]) + ", " + item[1] +
                                        (i >= 30 ? " (" + std::to_string(i / 30) + ")" : "");
        sqlite3_bind_text(insert, 1, upc.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, itemNumber.c_str(), -1, SQLITE_TRANSIENT);
        if (i % 23 == 5)
            sqlite3_bind_null(insert, 3); // typed by hand: no description
        else
            sqlite3_bind_text(insert, 3, description.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int(insert, 4, kUnits[random.bounded(static_cast<int>(std::size(kUnits)))]);
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
}

int screenshot(const QString& target) {
    QTemporaryDir folder;
    bench::makeProgramFolder(folder.path(), 0);
    fillCatalogue(QDir(folder.path()).filePath(QStringLiteral("dbscan.mdb")));
    core::setProgramFolder(folder.path());
    db::frmDataEntry window;
    window.load();
    window.show();
    QTableView* grid = gridOf(window);
    const QModelIndex picked = grid->model()->index(3, 0);
    grid->selectionModel()->setCurrentIndex(picked, QItemSelectionModel::ClearAndSelect |
                                                        QItemSelectionModel::Rows);
    emit grid->clicked(picked); // as a click on the row: its pair goes into the boxes
    QCoreApplication::processEvents();
    const bool saved = window.grab().save(target);
    core::setProgramFolder(QString());
    std::fprintf(saved ? stdout : stderr, "%s %s\n", saved ? "wrote" : "could not write",
                 qPrintable(target));
    return saved ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QString screenshotFlag = QStringLiteral("--screenshot=");
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (argument.startsWith(screenshotFlag))
            return screenshot(argument.mid(screenshotFlag.size()));
    }

    QTemporaryDir folder;
    std::fprintf(stderr, "making a program folder with %lld rows...\n", kRows);
    bench::makeProgramFolder(folder.path(), kRows);
    core::setProgramFolder(folder.path());

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    core::setProgramFolder(QString());
    return 0;
}
