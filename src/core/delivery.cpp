#include "core/delivery.h"

#include "core/shared_state.h"
#include "core/tokens.h"
#include "platform/comm_control.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/send_keys.h"

namespace core {

namespace {
constexpr char kAck = 0x06;
} // namespace

QVariant LookUpScan(platform::Table& codelink, const QString& scan, double& unit) {
    codelink.seek(scan);
    if (codelink.noMatch()) {
        unit = 1.0;
        return scan;
    }
    unit = platform::toDouble(codelink.value(QStringLiteral("Unit")));
    return codelink.value(QStringLiteral("ReturnValue"));
}

QVariant ReturnValue(platform::Table& codelink, QString& strScan, double& unit) {
    if (shared().RetAsScan) {
        unit = 1.0;
        return strScan;
    }
    return LookUpScan(codelink, strScan, unit);
}

QString FillTemplate(const QString& appendTemplate, const QString& value, double unit) {
    QString output =
        ReplaceAll(appendTemplate, QStringLiteral("{RetVal}"), EscapeSendKeys(value), kCompareText);
    return ReplaceAll(output, QStringLiteral("{UoM}"), EscapeSendKeys(platform::numberToText(unit)),
                      kCompareText);
}

void DeliverScan(const QString& scan, platform::Table& codelink, platform::CommControl& port) {
    QString strScan = scan;
    double unit = 0;
    const QString value = platform::toText(ReturnValue(codelink, strScan, unit));
    platform::SendKeys(FillTemplate(shared().append, value, unit));
    // A scanner that went away cannot be acknowledged; its last scan is typed all the same.
    if (shared().ACK && port.portOpen())
        port.output(QByteArray(1, kAck));
}

} // namespace core
