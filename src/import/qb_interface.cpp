#include "import/qb_interface.h"

#include "core/program_folder.h"
#include "db/db_path.h"
#include "import/table_writers.h"
#include "platform/app_error.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/jet_sql.h"
#include "platform/qb_request_processor.h"
#include "shell/frm_message.h"

#include <QApplication>

#include <algorithm>
#include <array>
#include <optional>

namespace import {

namespace {

constexpr int kItemsPerRequest = 500;
constexpr int kDescriptionLimit = 250;
constexpr int kFirstVersionWithPartNumbers = 7;
constexpr int kFirstVersionWithBarcodes = 12;
const QString kTitle = QStringLiteral("Message from QuickBooks");

// Whether each of the seven kinds is left out of the import, as last read from tblExclude.
std::array<bool, 7>& excluded() {
    static std::array<bool, 7> flags{};
    return flags;
}

// The descriptions an item may have, in the order the first non-empty one is taken.
constexpr std::array<const char*, 7> kDescriptions{"Desc",
                                                   "SalesDesc",
                                                   "PurchaseDesc",
                                                   "SalesAndPurchase/SalesDesc",
                                                   "SalesAndPurchase/PurchaseDesc",
                                                   "SalesOrPurchase/Desc",
                                                   "ItemDesc"};

// A session on the company file, ended when the object goes. The qbXML version follows the
// accounting system's SDK variant.
class Session {
public:
    Session(const QString& companyFile, const AccountingFlags& flags)
        : processor_(platform::createQbRequestProcessor()) {
        processor_->beginSession(companyFile);
        version_.country = flags.Country;
        if (flags.UseQBSDK7) {
            const int highest =
                qbxml::HighestSupportedVersion(send(qbxml::HostQueryRequest({1, flags.Country})));
            version_.major = std::max(highest, kFirstVersionWithPartNumbers);
        }
    }
    ~Session() { processor_->endSession(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    QString send(const QString& request) { return processor_->processRequest(request); }
    const qbxml::Version& version() const { return version_; }

private:
    std::unique_ptr<platform::QbRequestProcessor> processor_;
    qbxml::Version version_;
};

// A progress note for as long as the object lives; the command line has no windows to show it.
class Note {
public:
    explicit Note(const QString& text) {
        if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
            return;
        window_.emplace();
        window_->SetMessageText(text);
        window_->show();
        window_->repaint();
    }

private:
    std::optional<shell::frmMessage> window_;
};

void tellStatus(const qbxml::Status& status) {
    platform::msgBox(QStringLiteral("Error occured.  Status Code = %1, Status Message = %2, Status "
                                    "Severity = %3")
                         .arg(status.code)
                         .arg(status.message, status.severity),
                     platform::Buttons::Ok, platform::Icon::Exclamation, kTitle);
}

void tellFailure(const platform::AppError& error) {
    platform::msgBox(error.description(), platform::Buttons::Ok, platform::Icon::Critical, kTitle);
}

int kindIndex(const QString& element) {
    const auto& kinds = ItemKinds();
    for (size_t i = 0; i < kinds.size(); ++i) {
        if (element == QLatin1String(kinds[i].element))
            return int(i);
    }
    return -1;
}

QString firstDescription(const qbxml::Item& item) {
    for (const char* path : kDescriptions) {
        const QString description = item.field(QString::fromLatin1(path));
        if (!description.isEmpty())
            return description.size() > kDescriptionLimit ? description.left(kDescriptionLimit)
                                                          : description;
    }
    return QStringLiteral(" ");
}

QString customField(const qbxml::Item& item, const QString& name) {
    if (!item.hasCustomFields)
        return kNoSuchField;
    for (const auto& [fieldName, value] : item.customFields) {
        if (fieldName == name)
            return value;
    }
    return kNoSuchField;
}

// Where the items go: tblCodelink with its error rows, or tblPreview.
class ItemTarget {
public:
    ItemTarget(bool updateMode, ImportProgress& progress, ImportResult& result)
        : update_(updateMode)
        , result_(result)
        , db_(platform::Database::open(updateMode ? db::GetDbPath()
                                                  : core::programFile(QStringLiteral("dbScan")))) {
        if (update_) {
            progress.caption(QStringLiteral("Processing Item List"));
            db_.execute(QStringLiteral("Delete From tblImportErrors"));
            writer_ = std::make_unique<CodelinkWriter>(db_, QStringLiteral("item"));
            result_.errorTable =
                QStringLiteral("tblImportErrors of ") + platform::displayLocation(db_.path());
        } else {
            db_.execute(QStringLiteral("Delete From tblPreview"));
            progress.caption(QStringLiteral("Preparing Preview"));
            preview_ = db_.prepare(QStringLiteral(
                "INSERT INTO tblPreview (PrevScan, PrevReturn, Unit) VALUES (?1, ?2, ?3)"));
        }
        batches_ = std::make_unique<Batches>(db_, [this] {
            if (writer_)
                writer_->flush();
        });
    }

    void put(const qbxml::Item& item, const QString& scanField) {
        ++result_.lines;
        const QString fullName = GetItemValue(item, QStringLiteral("FullName"));
        if (fullName == kNoSuchField) {
            ++result_.skipped; // an excluded kind
            return;
        }
        QString scan = GetItemValue(item, scanField);
        if (scan.trimmed().isEmpty())
            scan = kBlankField;
        const bool importable =
            scan.toLower() != QStringLiteral("##error##") && scan != kBlankField;
        if (!update_) {
            preview_->bindText(1, scan);
            preview_->bindText(2, fullName);
            if (importable)
                preview_->bindNumber(3, 1);
            else
                preview_->bindNull(3); // shown as an item that cannot be imported
            preview_->run();
        } else if (importable) {
            writer_->put(scan, fullName, GetItemValue(item, QStringLiteral("desc")), 1,
                         result_.lines);
        } else {
            writer_->error(QStringLiteral("Custom Field is not Found"), QStringLiteral(" "),
                           fullName);
            ++result_.errors;
        }
        batches_->rowDone();
    }
    void finish() {
        if (writer_)
            writer_->finish();
        batches_->finish();
        if (writer_) {
            result_.added = writer_->added();
            result_.replaced = writer_->replaced();
            result_.errors += writer_->duplicates();
        }
    }

private:
    bool update_;
    ImportResult& result_; // lines: the items read, counted from 1 as QuickBooks lists them
    platform::Database db_;
    std::unique_ptr<CodelinkWriter> writer_;
    std::unique_ptr<platform::Statement> preview_;
    std::unique_ptr<Batches> batches_;
};

} // namespace

const std::array<ItemKind, 7>& ItemKinds() {
    static const std::array<ItemKind, 7> kinds{{{"ItemInventoryRet", "INVENTORY"},
                                                {"ItemNonInventoryRet", "PART"},
                                                {"ItemOtherChargeRet", "OTHC"},
                                                {"ItemServiceRet", "SERV"},
                                                {"ItemDiscountRet", "DISC"},
                                                {"ItemGroupRet", "GROUP"},
                                                {"ItemInventoryAssemblyRet", "ASSEM"}}};
    return kinds;
}

void LoadExclusions(const QString& accounting) {
    platform::Database accsys =
        platform::Database::open(core::programFile(QStringLiteral("accsys.mdb")));
    platform::Recordset rows = accsys.openRecordset(
        QStringLiteral("SELECT tblExclude.Code, tblExclude.Exclude, tblExclude.Accounting, "
                       "tblExclude.Type From tblExclude WHERE (((tblExclude.Accounting)='") +
        platform::SqlQuote(accounting) + QStringLiteral("') AND ((tblExclude.Type)='Products'));"));
    const auto& kinds = ItemKinds();
    for (; !rows.eof(); rows.moveNext()) {
        const QString code = platform::toText(rows.value(0));
        for (size_t i = 0; i < kinds.size(); ++i) {
            if (code.compare(QLatin1String(kinds[i].code), Qt::CaseInsensitive) == 0) {
                excluded()[i] = platform::toBool(rows.value(1));
                break;
            }
        }
    }
}

QString GetItemValue(const qbxml::Item& item, const QString& fieldName) {
    const int kind = kindIndex(item.kind);
    if (kind < 0 || excluded()[size_t(kind)])
        return kNoSuchField;
    const QString name = fieldName.toLower();
    if (name == QStringLiteral("product code"))
        return item.field(QStringLiteral("Name"));
    if (name == QStringLiteral("fullname")) {
        QString fullName = item.field(QStringLiteral("FullName"));
        if (fullName.isEmpty())
            fullName = item.field(QStringLiteral("Name"));
        return fullName.isEmpty() ? kNoSuchField : fullName;
    }
    if (name == QStringLiteral("desc"))
        return firstDescription(item);
    if (name == QStringLiteral("manufacturerpartnumber"))
        return item.field(QStringLiteral("ManufacturerPartNumber"));
    if (name == QStringLiteral("barcodevalue"))
        return item.field(QStringLiteral("BarCodeValue"));
    return customField(item, fieldName);
}

QStringList GetCustomFieldNames(const QString& companyFile, const AccountingFlags& flags) {
    const Note note(QStringLiteral("Connecting to QuickBooks\nGetting Custom Field Names"));
    QStringList names;
    try {
        Session session(companyFile, flags);
        if (flags.UseQBSDK7) {
            names << QStringLiteral("ManufacturerPartNumber");
            if (session.version().major >= kFirstVersionWithBarcodes)
                names << QStringLiteral("BarCodeValue");
        }
        qbxml::Status status;
        const QStringList defined = qbxml::ItemCustomFieldNames(
            session.send(qbxml::DataExtDefQueryRequest(session.version())), status);
        if (status.code == 0)
            names << defined;
        else if (status.code != 1)
            tellStatus(status);
    } catch (const platform::AppError& error) {
        tellFailure(error);
    }
    return names;
}

bool ReadItems(bool updateMode, const QString& scanField, const QString& companyFile,
               const AccountingFlags& flags, const QString& accounting, ImportProgress& progress,
               ImportResult* result) {
    ImportResult counts;
    ImportResult& into = result ? *result : counts;
    const Note note(QStringLiteral("Getting Items From QuickBooks"));
    progress.caption(QStringLiteral("Getting Items From QuickBooks"));
    try {
        LoadExclusions(accounting);
        Session session(companyFile, flags);
        auto reader = std::make_unique<qbxml::ItemReader>(
            session.send(qbxml::ItemQueryRequest(session.version(), kItemsPerRequest, QString())));
        if (reader->status().code == 1) {
            platform::msgBox(QStringLiteral("No invoice is found"), platform::Buttons::Ok,
                             platform::Icon::Information, kTitle);
            return false;
        }
        if (reader->status().code != 0) {
            tellStatus(reader->status());
            return false;
        }
        ItemTarget target(updateMode, progress, into);
        qint64 done = 0;
        // The first chunk's count with what remains gives the bar its length.
        progress.range(std::max(reader->status().remaining + kItemsPerRequest, 1));
        for (;;) {
            qbxml::Item item;
            while (!progress.stopRequested() && reader->next(item)) {
                target.put(item, scanField);
                progress.advance(++done);
            }
            if (reader->status().remaining <= 0 || progress.stopRequested())
                break;
            const QString iterator = reader->status().iteratorId;
            reader = std::make_unique<qbxml::ItemReader>(session.send(
                qbxml::ItemQueryRequest(session.version(), kItemsPerRequest, iterator)));
            if (reader->status().code != 0) {
                target.finish();
                tellStatus(reader->status());
                return false;
            }
            progress.range(done + reader->status().remaining + kItemsPerRequest);
        }
        into.stopped = progress.stopRequested();
        target.finish();
        progress.range(done);
        progress.advance(done); // the bar ends full
    } catch (const platform::AppError& error) {
        tellFailure(error);
        return false;
    }
    return true;
}

} // namespace import
