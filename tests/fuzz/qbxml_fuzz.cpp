// Fuzz target for the qbXML readers: whatever QuickBooks (or a damaged transport) sends, reading
// it gives records or throws the program's own error, never anything else; and a record's fields
// hold only what the response held.
#include "import/qbxml.h"
#include "platform/app_error.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString response =
        QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    try {
        import::qbxml::ItemReader reader(response);
        import::qbxml::Item item;
        int items = 0;
        while (reader.next(item)) {
            if (item.kind.isEmpty() || ++items > int(size))
                std::abort();
            for (const QString& value : item.fields)
                if (value.size() > response.size())
                    std::abort();
        }
    } catch (const platform::AppError&) {
    }
    try {
        import::qbxml::Status status;
        import::qbxml::ItemCustomFieldNames(response, status);
        import::qbxml::HighestSupportedVersion(response);
    } catch (const platform::AppError&) {
    }
    return 0;
}

const std::vector<QByteArray>& FuzzPieces() {
    static const std::vector<QByteArray> pieces{
        "<?xml version=\"1.0\" ?>",
        "<QBXML><QBXMLMsgsRs>",
        "<ItemQueryRs statusCode=\"0\" iteratorRemainingCount=\"2\" iteratorID=\"{x}\">",
        "<ItemInventoryRet>",
        "</ItemInventoryRet>",
        "<ItemServiceRet><SalesAndPurchase><PurchaseDesc>p</PurchaseDesc></SalesAndPurchase>",
        "</ItemServiceRet>",
        "<FullName>A:B</FullName>",
        "<Name>B</Name>",
        "<DataExtRet><DataExtName>UPC</DataExtName><DataExtValue>1</DataExtValue></DataExtRet>",
        "<DataExtRet>",
        "</DataExtRet>",
        "</ItemQueryRs></QBXMLMsgsRs></QBXML>",
        "<DataExtDefQueryRs statusCode=\"0\"><DataExtDefRet><DataExtName>C</DataExtName>",
        "<AssignToObject>Item</AssignToObject></DataExtDefRet>",
        "<SupportedQBXMLVersion>13.0</SupportedQBXMLVersion>",
        "&amp;",
        "&bogus;",
        "<![CDATA[x]]>",
        "\xff",
        "<",
        ">",
        "\"",
    };
    return pieces;
}
