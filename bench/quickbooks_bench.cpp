// quickbooks_bench [ITEMS]
//
// Reads a generated company file of 100,000 items (by default) through the QuickBooks interface,
// as QuickBooks would send it: chunks of the item query's iterator, each a qbXML response made
// when it is asked for. The items are written into an empty tblCodelink. Prints the time and this
// process's peak resident memory (target: under 100 MB whatever the item count).
#include "bench_support.h"
#include "core/program_folder.h"
#include "core/settings.h"
#include "import/qb_interface.h"
#include "platform/qb_request_processor.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cstdio>

namespace {

// QuickBooks with a company file of `items` inventory items, each with a UPC custom field.
class GeneratedCompany final : public platform::QbRequestProcessor {
public:
    explicit GeneratedCompany(long long items)
        : items_(items) {}
    void beginSession(const QString&) override {}
    void endSession() override {}
    QString processRequest(const QString& request) override {
        static const QRegularExpression maxReturned(QStringLiteral("<MaxReturned>(\\d+)<"));
        const long long chunk = maxReturned.match(request).captured(1).toLongLong();
        const long long count = std::min(chunk, items_ - next_);
        QString response =
            QStringLiteral("<?xml version=\"1.0\" ?><QBXML><QBXMLMsgsRs><ItemQueryRs "
                           "requestID=\"1\" statusCode=\"0\" statusSeverity=\"Info\" "
                           "statusMessage=\"Status OK\" iteratorRemainingCount=\"%1\" "
                           "iteratorID=\"{00000000-0000-4000-8000-000000000001}\">")
                .arg(items_ - next_ - count);
        for (long long i = next_; i < next_ + count; ++i) {
            const QString code = QString::fromStdString(bench::scanCode(i));
            response += QStringLiteral(
                            "<ItemInventoryRet><ListID>8000%1-1700000000</ListID><Name>ITEM-%1"
                            "</Name><FullName>Stock:ITEM-%1</FullName><IsActive>true</IsActive>"
                            "<SalesDesc>Widget %2 size %3 blue</SalesDesc><SalesPrice>1.25"
                            "</SalesPrice><PurchaseDesc>Widget</PurchaseDesc><DataExtRet>"
                            "<OwnerID>0</OwnerID><DataExtName>UPC</DataExtName><DataExtType>"
                            "STR255TYPE</DataExtType><DataExtValue>%4</DataExtValue></DataExtRet>"
                            "</ItemInventoryRet>")
                            .arg(i)
                            .arg(i % 977)
                            .arg(i % 13)
                            .arg(code);
        }
        next_ += count;
        return response + QStringLiteral("</ItemQueryRs></QBXMLMsgsRs></QBXML>");
    }

private:
    long long items_;
    long long next_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const long long items = argc > 1 ? std::atoll(argv[1]) : 100'000;
    QTemporaryDir dir;
    bench::makeProgramFolder(dir.path(), 0);
    core::setProgramFolder(dir.path());
    core::LoadSettings();
    platform::setQbRequestProcessorFactory(
        [items] { return std::make_unique<GeneratedCompany>(items); });

    import::AccountingFlags flags;
    flags.UseQBSDK = true;
    import::NoProgress progress;
    QElapsedTimer clock;
    clock.start();
    const bool read =
        import::ReadItems(true, QStringLiteral("UPC"), QStringLiteral("Shop.qbw"), flags,
                          QStringLiteral("QuickBooks 2007 and earlier"), progress);
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    std::printf("%lld items read from QuickBooks and written to tblCodelink: %s in %.2f s "
                "(%.0f items/s); peak resident memory %.1f MB (target under 100 MB)\n",
                items, read ? "done" : "FAILED", seconds, double(items) / seconds,
                bench::statusMegabytes("VmHWM:"));
    return read ? 0 : 1;
}
