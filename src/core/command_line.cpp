#include "core/command_line.h"

#include "core/delivery.h"
#include "core/program_folder.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "core/startup.h"
#include "db/db_path.h"
#include "db/maintenance.h"
#include "db/shared_server.h"
#include "import/accounting.h"
#include "import/import_engine.h"
#include "import/list_settings.h"
#include "import/qb_interface.h"
#include "platform/app_error.h"
#include "platform/console.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/single_instance.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMap>
#include <QProcess>

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

namespace core {

namespace {

// A refusal of the command line: the message says what is wrong and what to do.
class Refusal : public std::runtime_error {
public:
    explicit Refusal(const QString& message)
        : std::runtime_error(message.toStdString()) {}
};

void print(const QString& text) {
    platform::writeText(stdout, text + u'\n');
}

void printError(const QString& text) {
    platform::writeText(stderr, QStringLiteral("orvane-translator: ") + text + u'\n');
}

const char* const kUsage =
    "Usage: orvane-translator [COMMAND ARGUMENTS]\n"
    "\n"
    "Without a command the program starts with its window. The commands work headless on the\n"
    "databases of the program's folder (the shared translation database when one is set):\n"
    "\n"
    "  import FILE [--scan FIELD] [--return FIELD] [--description FIELD] [--header] [--units]\n"
    "        Imports an item list into the translation table. The kind follows the file's\n"
    "        extension as the item map window takes it for the accounting system of the\n"
    "        settings: .iif (QuickBooks IIF item export), .txt (tab-delimited), .csv\n"
    "        (comma-separated). For IIF files the field options name fields of the accounting\n"
    "        system (or a custom field by its label in the file, such as UPC); by default the\n"
    "        scan and return fields last used in the item map window and the default\n"
    "        description. Delimited lists take no field options: column 1 is the return value,\n"
    "        column 2 the scan value, column 3 the description; --header says that the first\n"
    "        line holds column names. --units reads scan fields as barcodes with their units of\n"
    "        measure, in the record format set in the item map window (111111,6;222222,12).\n"
    "        A QuickBooks company file (.qbw; on Windows, with QuickBooks running and the\n"
    "        file open) is read from QuickBooks: --scan names the items' custom field (or\n"
    "        ManufacturerPartNumber, BarCodeValue) that holds the scan value, and the\n"
    "        return value is the item's full name.\n"
    "        The last line gives the counts of rows written, removed and in error.\n"
    "  export FILE\n"
    "        Writes the translation table as a tab-delimited list (a line of column names, then\n"
    "        return value, scan value, description and unit; UTF-8) that the import reads back.\n"
    "  lookup CODE\n"
    "        Prints the return value and the unit that a scan of CODE gets in translation mode;\n"
    "        for a code that is not in the table, the code itself and unit 1 (exit status 2).\n"
    "  shared-init URI [--from-local]\n"
    "        Sets up an empty PostgreSQL database (postgresql://[user@]host[:port]/database) as\n"
    "        the shared translation database of several workstations: makes its tables with the\n"
    "        starter return patterns, or with --from-local a copy of this folder's translation\n"
    "        tables; then prints the GRANT statements that give workstation accounts what they\n"
    "        need.\n"
    "  backup FILE\n"
    "        Copies the program's database (dbscan.mdb) to FILE, replacing it when it exists.\n"
    "        It may run while the program runs (a scheduled nightly backup): the copy is a\n"
    "        consistent snapshot.\n"
    "  compact\n"
    "        Compacts the program's database.\n"
    "  repair\n"
    "        Checks the program's database and, when it is damaged, keeps it as\n"
    "        dbscan-damaged.mdb and rebuilds it from every row that can still be read; then\n"
    "        compacts it. compact and repair replace the database file: they refuse to run\n"
    "        while the program runs on this folder.\n"
    "  --help\n"
    "        Shows this text.\n"
    "\n"
    "Exit status: 0 on success, 1 with a message on standard error otherwise (2: lookup of a\n"
    "code that is not in the table).\n";

// The arguments after the command: positional ones in order, "--name value" options and
// "--name" flags.
struct Arguments {
    QStringList positional;
    QMap<QString, QString> options;
    QStringList flags;
};

Arguments parse(const QStringList& arguments, const QStringList& allowedOptions,
                const QStringList& allowedFlags = {}) {
    Arguments parsed;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (!argument.startsWith(QStringLiteral("--"))) {
            parsed.positional << argument;
            continue;
        }
        if (allowedFlags.contains(argument)) {
            parsed.flags << argument;
            continue;
        }
        if (!allowedOptions.contains(argument))
            throw Refusal(QStringLiteral("unknown option %1 (see --help)").arg(argument));
        if (i + 1 >= arguments.size())
            throw Refusal(QStringLiteral("%1 needs a value (see --help)").arg(argument));
        parsed.options.insert(argument, arguments[++i]);
    }
    return parsed;
}

QString onlyArgument(const Arguments& arguments, const QString& what) {
    if (arguments.positional.size() != 1)
        throw Refusal(QStringLiteral("give exactly one %1 (see --help)").arg(what));
    return arguments.positional.front();
}

// The settings of the program's folder and a translation database that can be reached now: the
// command line cannot wait for a shared database to come back.
void loadSettings() {
    SharedState& state = shared();
    state.strAppTitle = kAppTitle;
    state.strDbPath = programFile(QStringLiteral("dbscan.mdb"));
    LoadSettings();
    if (state.IsDBShared && !db::SharedDbReachable(state.SharedDataBase))
        throw Refusal(QStringLiteral("the shared translation database %1 cannot be reached. "
                                     "Check the network share (or the server), or switch "
                                     "\"Use Shared Database\" off in Settings > System.")
                          .arg(state.SharedDataBase));
}

// Progress on a terminal: the caption and how far it has come, on one line.
class TerminalProgress : public import::ImportProgress {
public:
    TerminalProgress()
        : shown_(platform::stderrIsTerminal()) {
        clock_.start();
    }
    ~TerminalProgress() override {
        if (shown_)
            platform::writeText(stderr, QStringLiteral("\n"));
    }
    void caption(const QString& text) override {
        caption_ = text;
        show(last_);
    }
    void range(qint64 maximum) override { maximum_ = std::max<qint64>(maximum, 1); }
    void advance(qint64 value) override {
        last_ = value;
        if (clock_.elapsed() >= 200) {
            clock_.restart();
            show(value);
        }
    }

private:
    void show(qint64 value) {
        if (!shown_)
            return;
        platform::writeText(stderr,
                            QStringLiteral("\r%1 %2%")
                                .arg(caption_, -32)
                                .arg(std::min<qint64>(value, maximum_) * 100 / maximum_, 3));
    }

    bool shown_;
    QElapsedTimer clock_;
    QString caption_;
    qint64 maximum_ = 1;
    qint64 last_ = 0;
};

// The IIF import's fields: the options given, else the choices last used in the item map window
// and the default description. The import refuses a field the accounting system does not have.
// (The return type trails: a line that begins with "import" reads as a module import to tools.)
auto iifFields(const QString& file, const Arguments& arguments,
               const std::optional<import::UnitFormat>& units) -> import::IifImport {
    const QString accounting = shared().Accounting;
    const StoredSettings stored = ReadStoredSettings().value_or(StoredSettings());
    return {
        file,
        accounting,
        arguments.options.value(QStringLiteral("--scan"), stored.CustomScan.trimmed()),
        arguments.options.value(QStringLiteral("--return"), stored.CustomReturn.trimmed()),
        arguments.options.value(
            QStringLiteral("--description"),
            import::ReadFieldChoices(accounting, QStringLiteral("cmbItemDescrip")).defaultField),
        units};
}

// A QuickBooks company file, read from the running QuickBooks by the item map window's own
// routine: the scan value is the field --scan names (one of the items' custom fields, or their
// part number or barcode), else the one last chosen in the item map window; the return value is
// each item's full name. Where QuickBooks cannot be reached, the reason goes to standard error
// and nothing is changed.
int companyFileImport(const QString& file, const Arguments& arguments) {
    if (!arguments.flags.isEmpty() || arguments.options.contains(QStringLiteral("--return")) ||
        arguments.options.contains(QStringLiteral("--description")))
        throw Refusal(QStringLiteral("a company file takes --scan only: QuickBooks gives each "
                                     "item's full name as the return value and its own "
                                     "description"));
    const QString scanField = arguments.options.value(
        QStringLiteral("--scan"),
        ReadStoredSettings().value_or(StoredSettings()).CustomScan.trimmed());
    if (scanField.isEmpty())
        throw Refusal(QStringLiteral("name the field that holds the scan value with --scan FIELD "
                                     "(a custom field of the items, ManufacturerPartNumber or "
                                     "BarCodeValue)"));
    const QString accounting = shared().Accounting;
    TerminalProgress progress;
    import::ImportResult result;
    // QuickBooks takes the file's name as Windows writes it.
    const QString companyFile = QDir::toNativeSeparators(QFileInfo(file).absoluteFilePath());
    if (!import::ReadItems(true, scanField, companyFile, import::ReadAccountingFlags(accounting),
                           accounting, progress, &result))
        return 1;
    print(file + QStringLiteral(": ") + import::ImportSummary(result));
    return 0;
}

int importCommand(const QStringList& rawArguments) {
    const Arguments arguments = parse(
        rawArguments,
        {QStringLiteral("--scan"), QStringLiteral("--return"), QStringLiteral("--description")},
        {QStringLiteral("--header"), QStringLiteral("--units")});
    const QString file = onlyArgument(arguments, QStringLiteral("item file"));
    if (!QFileInfo(file).isFile())
        throw Refusal(QStringLiteral("there is no file %1").arg(file));
    loadSettings();
    const QString accounting = shared().Accounting;
    const int kind = import::SourceKindOf(file, import::ReadAccountingFlags(accounting));
    if (kind == import::kNotValid)
        throw Refusal(
            QStringLiteral("%1 is not an item list that %2 imports: give a company file (.qbw), "
                           "an IIF export (.iif), a tab-delimited list (.txt) or a "
                           "comma-separated list (.csv) of the kinds enabled for %2")
                .arg(file, accounting));
    if (kind == import::kCompanyFile)
        return companyFileImport(file, arguments);
    std::optional<import::UnitFormat> units;
    if (arguments.flags.contains(QStringLiteral("--units")))
        units = import::UnitFormatOf(import::ReadListSettings());
    TerminalProgress progress;
    import::ImportResult result;
    if (kind == import::kIif) {
        if (arguments.flags.contains(QStringLiteral("--header")))
            throw Refusal(QStringLiteral("--header applies to delimited lists only: an IIF "
                                         "export marks its heading lines itself"));
        if (!import::IsIifItemExport(file, accounting))
            throw Refusal(QStringLiteral("%1: Not a product export file of type IIF (its third "
                                         "line does not begin with !CUSTITEMDICT)")
                              .arg(file));
        result = import::ImportIifFile(iifFields(file, arguments, units), progress);
    } else {
        if (!arguments.options.isEmpty())
            throw Refusal(QStringLiteral("field options apply to IIF files only: a delimited list "
                                         "has fixed columns"));
        result = import::ImportDelimitedFile(
            file, kind == import::kTabDelimited ? u'\t' : u',', progress,
            {arguments.flags.contains(QStringLiteral("--header")), units});
    }
    print(file + QStringLiteral(": ") + import::ImportSummary(result));
    return 0;
}

void useLocalDatabase() {
    SharedState& state = shared();
    state.strAppTitle = kAppTitle;
    state.strDbPath = programFile(QStringLiteral("dbscan.mdb"));
}

// Compaction and repair replace the file that the window copy of this program folder keeps open:
// they run only while it does not, and keep it from starting meanwhile (they hold its folder
// lock).
std::unique_ptr<platform::SingleInstance> windowCopyStopped() {
    auto folderLock = std::make_unique<platform::SingleInstance>(ProgramFolderLockKey());
    if (!folderLock->isFirst())
        throw Refusal(QStringLiteral("Orvane Translator is running on %1: close it (File > Exit, "
                                     "or Exit in its tray menu) and run the command again.")
                          .arg(programFolder()));
    useLocalDatabase();
    return folderLock;
}

// A backup reads a consistent snapshot through the engine, so it needs nothing stopped.
int backupCommand(const QStringList& rawArguments) {
    const QString file = onlyArgument(parse(rawArguments, {}), QStringLiteral("backup file"));
    useLocalDatabase();
    db::BackupDatabaseTo(file);
    print(QStringLiteral("Finished backing up database to ") + QFileInfo(file).absoluteFilePath());
    return 0;
}

int compactCommand(const QStringList& rawArguments) {
    parse(rawArguments, {});
    const auto lock = windowCopyStopped();
    db::CompactLocalDatabase();
    print(QStringLiteral("Finished compacting database!"));
    return 0;
}

int repairCommand(const QStringList& rawArguments) {
    parse(rawArguments, {});
    const auto lock = windowCopyStopped();
    const db::RepairReport report = db::RepairLocalDatabase();
    if (report.rebuilt)
        print(QStringLiteral("The database was damaged and has been rebuilt from the rows that "
                             "could still be read: %1 rows in %2 tables. The damaged file was "
                             "kept as %3.")
                  .arg(report.rows)
                  .arg(report.tables)
                  .arg(report.damagedCopy));
    print(QStringLiteral("Finished repairing and compacting database!"));
    return 0;
}

int sharedInitCommand(const QStringList& rawArguments) {
    QStringList arguments = rawArguments;
    const bool fromLocal = arguments.removeAll(QStringLiteral("--from-local")) > 0;
    const QString uri = onlyArgument(parse(arguments, {}), QStringLiteral("server URI"));
    const QString grants = db::InitSharedServer(uri, fromLocal);
    print(QStringLiteral("The shared tables are ready on %1.\n\n"
                         "Let the workstations' database account (here: orvane_workstation) use "
                         "them, and nothing more:\n\n%2\n"
                         "Then set \"Use Shared Database\" in Settings > System of each "
                         "workstation to the server's URI.")
              .arg(platform::displayLocation(uri), grants));
    return 0;
}

int exportCommand(const QStringList& rawArguments) {
    const QString file = onlyArgument(parse(rawArguments, {}), QStringLiteral("file to write"));
    loadSettings();
    const qint64 pairs = import::ExportCodelink(file);
    print(QStringLiteral("%1: %2 pairs written").arg(file).arg(pairs));
    return 0;
}

int lookupCommand(const QStringList& rawArguments) {
    const QString code = onlyArgument(parse(rawArguments, {}), QStringLiteral("code"));
    loadSettings();
    platform::Database db = platform::Database::open(db::GetDbPath());
    platform::Table codelink = db.openTable(QStringLiteral("tblCodelink"));
    codelink.setIndex(QStringLiteral("PrimaryKey"));
    double unit = 1;
    const QString value = platform::toText(LookUpScan(codelink, code, unit));
    print(value + u'\t' + platform::numberToText(unit));
    if (!codelink.noMatch())
        return 0;
    printError(QStringLiteral("%1 is not in the translation table: a scan of it is typed as it "
                              "was scanned")
                   .arg(code));
    return 2;
}

const QMap<QString, std::function<int(const QStringList&)>>& commands() {
    static const QMap<QString, std::function<int(const QStringList&)>> table{
        {QStringLiteral("import"), importCommand},
        {QStringLiteral("export"), exportCommand},
        {QStringLiteral("lookup"), lookupCommand},
        {QStringLiteral("backup"), backupCommand},
        {QStringLiteral("compact"), compactCommand},
        {QStringLiteral("repair"), repairCommand},
        {QStringLiteral("shared-init"), sharedInitCommand},
    };
    return table;
}

bool isHelp(const QString& argument) {
    return argument == QStringLiteral("--help") || argument == QStringLiteral("-h") ||
           argument == QStringLiteral("help");
}

} // namespace

bool IsCommandLine(int argc, char** argv) {
    if (argc < 2)
        return false;
    // Options (Qt's own, such as -platform) start the window; any word is taken as a command, so
    // that a mistyped one is refused rather than starting the window on a headless machine.
    return !QString::fromLocal8Bit(argv[1]).startsWith(u'-') ||
           isHelp(QString::fromLocal8Bit(argv[1]));
}

int RunCommandLine(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Orvane Translator"));
    QCoreApplication::setOrganizationName(QStringLiteral("Orvane Translator"));
    platform::ConsoleDialogs console;
    platform::setDialogs(&console);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString command = arguments.takeFirst();
    if (isHelp(command)) {
        platform::writeText(stdout, QString::fromUtf8(kUsage));
        return 0;
    }
    if (!commands().contains(command)) {
        printError(QStringLiteral("unknown command \"%1\"; orvane-translator --help lists the "
                                  "commands")
                       .arg(command));
        return 1;
    }
    try {
        return commands().value(command)(arguments);
    } catch (const Refusal& refusal) {
        printError(QString::fromStdString(refusal.what()));
    } catch (const platform::AppError& error) {
        printError(error.description());
    } catch (const std::exception& error) {
        printError(QString::fromLocal8Bit(error.what()));
    }
    return 1;
}

int StartWindowProgram(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString program = programFile(QStringLiteral("orvane-translator.exe"));
    if (QProcess::startDetached(program, QCoreApplication::arguments().mid(1)))
        return 0;
    printError(QStringLiteral("%1 cannot be started: put it back into the program folder (from "
                              "the installation package)")
                   .arg(QDir::toNativeSeparators(program)));
    return 1;
}

} // namespace core
