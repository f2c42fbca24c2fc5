#include "import/list_settings.h"

#include <QSettings>

namespace import {

namespace {

QSettings userSettings() {
    return QSettings(QStringLiteral("Orvane Translator"), QStringLiteral("Orvane Translator"));
}

QString key(const char* name) {
    return QStringLiteral("Settings/") + QString::fromLatin1(name);
}

QChar firstOf(const QString& text, QChar fallback) {
    return text.isEmpty() ? fallback : text.front();
}

} // namespace

ListSettings ReadListSettings() {
    const QSettings settings = userSettings();
    ListSettings read;
    read.afterBarcode = settings.value(key("UMDel0"), read.afterBarcode).toString();
    read.afterUnit = settings.value(key("UMDel1"), read.afterUnit).toString();
    read.units = settings.value(key("UMDel"), false).toBool();
    read.header = settings.value(key("FirstLineNames"), false).toBool();
    return read;
}

void SaveListSettings(const ListSettings& settings) {
    QSettings stored = userSettings();
    stored.setValue(key("UMDel0"), settings.afterBarcode);
    stored.setValue(key("UMDel1"), settings.afterUnit);
    stored.setValue(key("UMDel"), settings.units);
    stored.setValue(key("FirstLineNames"), settings.header);
}

UnitFormat UnitFormatOf(const ListSettings& settings) {
    return {firstOf(settings.afterBarcode, u','), firstOf(settings.afterUnit, u';')};
}

} // namespace import
