#include "platform/json_conversion.h"

#include <QJsonArray>
#include <QJsonObject>

namespace Shared
{

QJsonDocument ConvertVariantToJsonDocument(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QJsonDocument:
        return value.toJsonDocument();
    case QMetaType::QJsonObject:
        return QJsonDocument(value.toJsonObject());
    case QMetaType::QJsonArray:
        return QJsonDocument(value.toJsonArray());
    case QMetaType::QVariantMap:
        return QJsonDocument(QJsonObject::fromVariantMap(value.toMap()));
    case QMetaType::QVariantHash:
        return QJsonDocument(QJsonObject::fromVariantHash(value.toHash()));
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return QJsonDocument(QJsonArray::fromVariantList(value.toList()));
    case QMetaType::QString:
        return QJsonDocument::fromJson(value.toString().toUtf8());
    case QMetaType::QByteArray:
        return QJsonDocument::fromJson(value.toByteArray());
    default:
        return {};
    }
}

} // namespace Shared
