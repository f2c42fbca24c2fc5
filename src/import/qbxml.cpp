#include "import/qbxml.h"

#include "platform/app_error.h"

#include <QRegularExpression>
#include <QXmlStreamWriter>

#include <functional>

namespace import::qbxml {

namespace {

// The envelope of every request: <?xml?>, <?qbxml version?>, QBXML, QBXMLMsgsRq.
QString request(const Version& version, const std::function<void(QXmlStreamWriter&)>& body) {
    QString text;
    QXmlStreamWriter xml(&text);
    xml.setAutoFormatting(true);
    xml.writeStartDocument(QStringLiteral("1.0"));
    xml.writeProcessingInstruction(QStringLiteral("qbxml"),
                                   QStringLiteral("version=\"%1\"").arg(version.text()));
    xml.writeStartElement(QStringLiteral("QBXML"));
    xml.writeStartElement(QStringLiteral("QBXMLMsgsRq"));
    xml.writeAttribute(QStringLiteral("onError"), QStringLiteral("stopOnError"));
    body(xml);
    xml.writeEndDocument();
    return text;
}

Status statusOf(const QXmlStreamAttributes& attributes) {
    Status status;
    status.code = attributes.value(QStringLiteral("statusCode")).toInt();
    status.severity = attributes.value(QStringLiteral("statusSeverity")).toString();
    status.message = attributes.value(QStringLiteral("statusMessage")).toString();
    status.remaining = attributes.value(QStringLiteral("iteratorRemainingCount")).toInt();
    status.iteratorId = attributes.value(QStringLiteral("iteratorID")).toString();
    return status;
}

[[noreturn]] void unreadable(const QXmlStreamReader& xml) {
    const QString why = xml.hasError() ? xml.errorString()
                                       : QStringLiteral("the response ends before it is complete");
    throw platform::AppError(platform::err::QuickBooksFailed,
                             QStringLiteral("QuickBooks sent a response that cannot be read (line "
                                            "%1, column %2: %3).")
                                 .arg(xml.lineNumber())
                                 .arg(xml.columnNumber())
                                 .arg(why));
}

// Moves to the next start element named name; false at the end of the document.
bool findStart(QXmlStreamReader& xml, QStringView name) {
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == name)
            return true;
    }
    if (xml.hasError())
        unreadable(xml);
    return false;
}

} // namespace

QString Version::text() const {
    const QString prefix = country.compare(QStringLiteral("US"), Qt::CaseInsensitive) == 0
                               ? QString()
                               : country.toUpper();
    return prefix + QStringLiteral("%1.0").arg(major);
}

QString HostQueryRequest(const Version& version) {
    return request(version, [](QXmlStreamWriter& xml) {
        xml.writeEmptyElement(QStringLiteral("HostQueryRq"));
        xml.writeAttribute(QStringLiteral("requestID"), QStringLiteral("1"));
    });
}

QString DataExtDefQueryRequest(const Version& version) {
    return request(version, [](QXmlStreamWriter& xml) {
        xml.writeStartElement(QStringLiteral("DataExtDefQueryRq"));
        xml.writeAttribute(QStringLiteral("requestID"), QStringLiteral("1"));
        xml.writeTextElement(QStringLiteral("OwnerID"), QStringLiteral("0"));
        xml.writeEndElement();
    });
}

QString ItemQueryRequest(const Version& version, int maxReturned, const QString& iteratorId) {
    return request(version, [&](QXmlStreamWriter& xml) {
        xml.writeStartElement(QStringLiteral("ItemQueryRq"));
        xml.writeAttribute(QStringLiteral("requestID"), QStringLiteral("1"));
        if (iteratorId.isEmpty()) {
            xml.writeAttribute(QStringLiteral("iterator"), QStringLiteral("Start"));
        } else {
            xml.writeAttribute(QStringLiteral("iterator"), QStringLiteral("Continue"));
            xml.writeAttribute(QStringLiteral("iteratorID"), iteratorId);
        }
        xml.writeTextElement(QStringLiteral("MaxReturned"), QString::number(maxReturned));
        xml.writeTextElement(QStringLiteral("OwnerID"), QStringLiteral("0"));
        xml.writeEndElement();
    });
}

int HighestSupportedVersion(const QString& response) {
    static const QRegularExpression number(QStringLiteral("(\\d+)\\.\\d+$"));
    QXmlStreamReader xml(response);
    int highest = 0;
    while (findStart(xml, u"SupportedQBXMLVersion")) {
        const QRegularExpressionMatch match = number.match(xml.readElementText().trimmed());
        if (match.hasMatch())
            highest = std::max(highest, match.captured(1).toInt());
    }
    return highest;
}

QStringList ItemCustomFieldNames(const QString& response, Status& status) {
    QXmlStreamReader xml(response);
    if (!findStart(xml, u"DataExtDefQueryRs"))
        unreadable(xml);
    status = statusOf(xml.attributes());
    QStringList names;
    while (findStart(xml, u"DataExtDefRet")) {
        QString name;
        bool forItems = false;
        while (xml.readNextStartElement()) {
            if (xml.name() == u"DataExtName")
                name = xml.readElementText();
            else if (xml.name() == u"AssignToObject")
                forItems = forItems || xml.readElementText() == u"Item";
            else
                xml.skipCurrentElement();
        }
        if (xml.hasError())
            unreadable(xml);
        if (forItems && !names.contains(name))
            names << name;
    }
    return names;
}

ItemReader::ItemReader(const QString& response)
    : xml_(response) {
    if (!findStart(xml_, u"ItemQueryRs"))
        fail();
    status_ = statusOf(xml_.attributes());
    inResponse_ = true;
}

bool ItemReader::next(Item& item) {
    if (!inResponse_)
        return false;
    // The records are the child elements of ItemQueryRs.
    if (!xml_.readNextStartElement()) {
        if (xml_.hasError())
            fail();
        inResponse_ = false;
        return false;
    }
    item = Item();
    item.kind = xml_.name().toString();
    readItem(item);
    return true;
}

// Reads the record the reader stands on, through its end element.
void ItemReader::readItem(Item& item) {
    QStringList path;
    QString text;
    bool leaf = false; // the element being read has no child elements (so far)
    QPair<QString, QString> customField;
    while (!xml_.atEnd()) {
        switch (xml_.readNext()) {
        case QXmlStreamReader::StartElement:
            path << xml_.name().toString();
            text.clear();
            leaf = true;
            if (path.size() == 1 && path.front() == u"DataExtRet") {
                item.hasCustomFields = true;
                customField = {};
            }
            break;
        case QXmlStreamReader::Characters:
            text += xml_.text();
            break;
        case QXmlStreamReader::EndElement:
            if (path.isEmpty())
                return; // the record's own end
            if (path.front() == u"DataExtRet") {
                if (path.size() == 2 && path.back() == u"DataExtName")
                    customField.first = text;
                else if (path.size() == 2 && path.back() == u"DataExtValue")
                    customField.second = text;
                else if (path.size() == 1)
                    item.customFields << customField;
            } else if (leaf) {
                item.fields.insert(path.join(u'/'), text);
            }
            path.removeLast();
            text.clear();
            leaf = false; // the element around it has a child element
            break;
        default:
            break;
        }
    }
    fail(); // the response ended inside a record
}

void ItemReader::fail() const {
    unreadable(xml_);
}

} // namespace import::qbxml
